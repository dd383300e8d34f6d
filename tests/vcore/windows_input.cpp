// Keys and touches: from the devices' records to the window that is meant.
#include "gui_fixture.h"

#include "../../vcore/src/input.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <tp_globals.h>
#include <unistd.h>

namespace {
using vcore::InputEvent;
using vcore::InputParser;

struct Record {
    uint16_t type, code;
    int32_t value;
};
std::vector<std::byte> bytes_of(const std::vector<Record> &records) {
    std::vector<std::byte> out;
    for (const Record &r : records) {
        const input_event event{.time = {}, .type = r.type, .code = r.code, .value = r.value};
        const auto *raw = reinterpret_cast<const std::byte *>(&event);
        out.insert(out.end(), raw, raw + sizeof event);
    }
    return out;
}
constexpr Record SYN{EV_SYN, SYN_REPORT, 0}, DOWN{EV_KEY, BTN_TOUCH, 1}, UP{EV_KEY, BTN_TOUCH, 0};

// Events as text: k<code>+ and k<code>- keys, d, m, u touches with x,y.
struct Parsed {
    std::string text;
    InputParser parser;
    explicit Parsed(bool kernel = false, InputParser::Range x = {}, InputParser::Range y = {})
        : parser("test", kernel, x, y, [this](const InputEvent &e) { add(e); }) {}
    void add(const InputEvent &e) {
        using Kind = InputEvent::Kind;
        if (e.kind == Kind::key_down || e.kind == Kind::key_up)
            text += "k" + std::to_string(e.code) + (e.kind == Kind::key_down ? "+ " : "- ");
        else
            text += (e.kind == Kind::touch_down ? "d" : e.kind == Kind::touch_move ? "m" : "u") + std::to_string(e.x) + "," +
                    std::to_string(e.y) + " ";
    }
    std::string feed(const std::vector<Record> &records) {
        text.clear();
        parser.feed(bytes_of(records), 0);
        return text;
    }
};

class Input : public GuiTest {
protected:
    static constexpr const char *TOUCH = "/dev/input/event0", *KEYS = "/dev/input/event1";
    int touch_ = -1, keys_ = -1;

    void SetUp() override {
        GuiTest::SetUp();
        if (access("/dev/input", W_OK) != 0) GTEST_SKIP() << "needs the box";
        for (const char *path : {TOUCH, KEYS}) {
            unlink(path);
            ASSERT_EQ(mkfifo(path, 0600), 0);
        }
        ASSERT_EQ(InitGUIIAL(), 0);
        touch_ = ::open(TOUCH, O_WRONLY | O_CLOEXEC);
        keys_ = ::open(KEYS, O_WRONLY | O_CLOEXEC);
    }
    void TearDown() override {
        for (const int fd : {touch_, keys_})
            if (fd >= 0) close(fd);
        unlink(TOUCH);
        unlink(KEYS);
        GuiTest::TearDown();
    }
    static void write_to(int fd, const std::vector<Record> &records) {
        const auto bytes = bytes_of(records);
        ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void finger(int x, int y, Record button = SYN) {
        write_to(touch_, {{EV_ABS, ABS_MT_POSITION_X, x}, {EV_ABS, ABS_MT_POSITION_Y, y}, button, SYN});
    }
    void key(uint16_t code) { write_to(keys_, {{EV_KEY, code, 1}, SYN, {EV_KEY, code, 0}, SYN}); }
    // Message, code or point of everything the window got from a device.
    static std::string heard(HWND w) {
        std::string out;
        for (const Told &t : of(w, {MSG_KEYDOWN, MSG_KEYUP})) out += (t.message == MSG_KEYDOWN ? "+" : "-") + std::to_string(t.wParam) + " ";
        for (const Told &t : of(w, {MSG_LBUTTONDOWN, MSG_MOUSEMOVE, MSG_LBUTTONUP}))
            out += (t.message == MSG_LBUTTONDOWN ? "d" : t.message == MSG_MOUSEMOVE ? "m" : "u") + std::to_string(LOSWORD(t.lParam)) + "," +
                   std::to_string(HISWORD(t.lParam)) + " ";
        return out;
    }
};

TEST_F(GuiTest, TouchProtocolsAllComeDownToOneFinger) {
    const auto id = [](int n) { return Record{EV_ABS, ABS_MT_TRACKING_ID, n}; };
    const auto x = [](int n) { return Record{EV_ABS, ABS_MT_POSITION_X, n}; };
    const auto y = [](int n) { return Record{EV_ABS, ABS_MT_POSITION_Y, n}; };
    const auto slot = [](int n) { return Record{EV_ABS, ABS_MT_SLOT, n}; };
    const Record contact{EV_SYN, SYN_MT_REPORT, 0}, power{EV_KEY, KEY_POWER, 1};
    const struct {
        const char *what;
        std::vector<Record> records;
        const char *events;
    } rows[] = {
        {"slots with ids", {id(5), x(10), y(20), DOWN, SYN, x(11), SYN, id(-1), UP, SYN}, "d10,20 m11,20 u11,20 "},
        {"second finger", {id(5), x(10), y(20), SYN, slot(1), id(6), x(50), SYN, x(51), SYN, id(-1), SYN, slot(0), id(-1), SYN},
         "d10,20 u10,20 "},
        {"contacts without slots", {x(1), y(2), contact, x(70), contact, DOWN, SYN, x(3), SYN, UP, SYN}, "d1,2 m3,2 u3,2 "},
        {"single touch", {{EV_ABS, ABS_X, 4}, {EV_ABS, ABS_Y, 5}, DOWN, SYN, UP, SYN}, "d4,5 u4,5 "},
        {"both kinds of position", {x(4), y(5), {EV_ABS, ABS_X, 4000}, DOWN, SYN}, "d4,5 "},
        {"outside", {x(-9), y(99999), DOWN, SYN}, "d0,127 "},
        {"pressure only", {x(4), DOWN, SYN, {EV_ABS, ABS_MT_PRESSURE, 9}, SYN}, "d4,0 "},
        {"lost records", {x(4), DOWN, SYN, {EV_SYN, SYN_DROPPED, 0}, power, UP, SYN, UP, SYN}, "d4,0 u4,0 "},
        {"keys, repeat ignored",
         {{EV_KEY, 115, 1}, {EV_KEY, 115, 2}, SYN, {EV_KEY, 115, 0}, {EV_KEY, BTN_TOOL_FINGER, 1}, {EV_KEY, 60, 1}},
         "k103+ k103- k60+ "},
    };
    for (const auto &row : rows) EXPECT_EQ(Parsed().feed(row.records), row.events) << row.what;
    // A device's own range covers the screen.
    Parsed scaled(true, {100, 100 + WIDTH * 10 - 1}, {0, HEIGHT * 2 - 1});
    EXPECT_EQ(scaled.feed({x(100 + WIDTH * 10 - 1), y(HEIGHT), DOWN, SYN}), "d71,64 ");
    Parsed gone;
    gone.feed({DOWN, SYN});
    gone.parser.finish();
    EXPECT_EQ(gone.text, "d0,0 u0,0 ");
}

TEST_F(GuiTest, TornRecordsAndGarbageAreSurvived) {
    const auto press = bytes_of({{EV_KEY, KEY_POWER, 1}, {EV_KEY, KEY_POWER, 0}});
    Parsed split, torn, noisy;
    for (size_t at = 0; at < press.size(); at += 7)
        split.parser.feed(std::span(press).subspan(at, std::min<size_t>(7, press.size() - at)), static_cast<int64_t>(at));
    torn.parser.feed(std::span(press).first(10), 0); // its writer died
    torn.parser.feed(press, 1'000'000'000);
    std::vector<std::byte> noise(1001, std::byte{0xA5});
    noise.insert(noise.end(), press.begin(), press.end());
    noisy.parser.feed(noise, 0);
    for (const Parsed *parsed : {&split, &torn, &noisy}) EXPECT_EQ(parsed->text, "k1+ k1- ");
}

TEST(KeyCodes, ConvertBothWays) {
    const struct { int from, to; } program[] = {{115, 103}, {114, 108}, {116, 1}, {158, 88}, {0x244, 187}, {0x179, 377}, {61, 61}};
    for (const auto &[linux_code, code] : program) EXPECT_EQ(tp_keycode_to_scancode(linux_code), code);
    const struct { int from, to; } kernel[] = {{103, 115}, {1, 116}, {102, 172}, {88, 158}, {60, 0}, {116, 0}};
    for (const auto &[code, linux_code] : kernel) EXPECT_EQ(scancode_convert_keycode(code), linux_code);
}

TEST_F(Input, RecordsReachTheWindowAndNoMoveIsLost) {
    const HWND w = open({10, 20, WIDTH, HEIGHT}, 1);
    tp_gui_pump();
    tp_age_last_input(1000);
    finger(20, 30, DOWN);
    for (int i = 1; i <= 200; ++i) finger(20 + i % 40, 30);
    finger(5, 5, UP); // outside: the window that got the down gets the up
    key(KEY_VOLUMEDOWN);
    told.clear();
    tp_gui_pump();
    const auto touches = of(w, {MSG_LBUTTONDOWN, MSG_MOUSEMOVE, MSG_LBUTTONUP});
    ASSERT_EQ(touches.size(), 202u);
    EXPECT_EQ(touches.front().lParam, MAKELONG(10, 10));
    EXPECT_EQ(touches[1].lParam, MAKELONG(11, 10));
    EXPECT_EQ(touches.back().lParam, MAKELONG(-5, -15));
    EXPECT_EQ(of(w, {MSG_KEYDOWN, MSG_KEYUP}).size(), 2u);
    EXPECT_LE(tp_clock_time() - tp_last_input_time().tv_sec, 1);
}

TEST_F(Input, HooksSeeEverythingFirstAndSwallow) {
    const HWND w = open_full();
    static std::string seen;
    seen.clear();
    const MSGHOOK key_hook = [](void *context, HWND dst, UINT, WPARAM code, LPARAM) {
        seen += std::to_string(code) + (dst == *static_cast<HWND *>(context) ? "! " : "? ");
        return code == 1 ? 1 : 0;
    };
    const MSGHOOK touch_hook = [](void *, HWND, UINT message, WPARAM, LPARAM at) {
        seen += "t" + std::to_string(LOSWORD(at)) + " ";
        return message == MSG_LBUTTONDOWN ? 1 : 0;
    };
    HWND context = w;
    EXPECT_EQ(RegisterKeyMsgHook(&context, key_hook), nullptr);
    EXPECT_EQ(RegisterMouseMsgHook(nullptr, touch_hook), nullptr);
    tp_gui_pump();
    told.clear();
    key(KEY_POWER);
    key(KEY_VOLUMEUP);
    tp_gui_pump();
    finger(30, 30, DOWN);
    finger(30, 30, UP);
    tp_gui_pump();
    EXPECT_EQ(seen, "1! 1! 103! 103! t30 t30 ");
    EXPECT_EQ(heard(w), "+103 -103 "); // an up without its down is nobody's
    EXPECT_EQ(RegisterKeyMsgHook(nullptr, nullptr), key_hook);
    EXPECT_EQ(RegisterMouseMsgHook(nullptr, nullptr), touch_hook);
}

TEST_F(Input, KeysGoToTheFocusThenToTheMainWindow) {
    const HWND w = open_full();
    const HWND c = control(w, 1, {10, 10, 30, 30});
    SetFocus(c);
    handlers[c] = [](HWND, const MSG &m, LRESULT *) { return m.message == MSG_KEYDOWN && m.wParam == 103; };
    told.clear();
    for (const uint16_t code : {KEY_VOLUMEUP, KEY_VOLUMEDOWN}) write_to(keys_, {{EV_KEY, code, 1}, SYN});
    tp_gui_pump();
    EXPECT_EQ(heard(c), "+103 +108 ");
    EXPECT_EQ(heard(w), "+108 ");
    ShowWindow(c, SW_HIDE);
    told.clear();
    tp_gui_inject_key(103, true);
    tp_gui_pump();
    EXPECT_EQ(heard(w), "+103 ");
    EXPECT_EQ(heard(c), "");
}

TEST_F(Input, TouchesGoToTheTopmostUnderThemOrToTheCapture) {
    const HWND below = open_full(), above = open({20, 20, 60, 60}, 2), c = control(above, 1, {5, 5, 15, 15});
    tp_gui_pump();
    told.clear();
    finger(26, 27, DOWN);
    finger(58, 58);
    finger(58, 58, UP);
    tp_gui_pump();
    EXPECT_EQ(heard(c), "d1,2 u33,33 ");
    EXPECT_EQ(heard(above), "m38,38 ");
    EXPECT_EQ(SetCapture(below), HWND_NULL);
    told.clear();
    finger(26, 27, DOWN);
    tp_gui_pump();
    ReleaseCapture();
    // The window under the finger goes while it is down: its up is nobody's.
    DestroyMainWindow(above);
    finger(26, 27, UP);
    finger(1, 1, DOWN);
    tp_gui_pump();
    EXPECT_EQ(heard(below), "d26,27 u26,27 d1,1 ");
    SetCapture(below);
    DestroyMainWindow(below);
    EXPECT_EQ(GetCapture(), HWND_NULL);
    finger(1, 1, UP);
    tp_gui_pump();
}

TEST_F(Input, ADeviceThatGoesIsForgottenNotPolled) {
    const HWND w = open_full();
    TerminateGUI();
    unlink(KEYS);
    EXPECT_FALSE(IsWindow(w));
    ASSERT_EQ(symlink("/dev/null", KEYS), 0); // always readable, and then at its end
    ASSERT_EQ(InitGUI(), 0);
    ASSERT_EQ(InitGUIIAL(), 0);
    const HWND again = open_full();
    SetTimer(again, 1, 5);
    MSG msg;
    int messages = 0;
    while (GetMessage(&msg, again) && msg.message != MSG_TIMER) {
        DispatchMessage(&msg);
        ++messages;
    }
    EXPECT_LE(messages, 2);
    EXPECT_EQ(vcore::input_device_count(), 1u);
    TerminateGUI();
    for (const char *path : {KEYS, TOUCH}) unlink(path);
    ASSERT_EQ(InitGUI(), 0);
    EXPECT_EQ(InitGUIIAL(), -1);
}
} // namespace
