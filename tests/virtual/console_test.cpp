// The page's server from outside: who is let in, what a broken page can do, what is seen and felt. The handset is a state folder.
#include "console/console.h"
#include "console/frame.h"
#include "console/gate.h"

#include "booted.h"
#include "client/client.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <optional>
#include <poll.h>
#include <random>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <tki_lcd.h>

namespace {
namespace fs = std::filesystem;
using namespace vh::console;
using nlohmann::json;
constexpr int WIDTH = 64, HEIGHT = 48, PATIENCE_MS = 10000;

// A panel's file as the program leaves it.
class Panel {
public:
    explicit Panel(const std::string &path) {
        const vh::Fd fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(ftruncate(fd.get(), SIZE), 0);
        pixels_ = static_cast<uint32_t *>(mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0));
        tail_ = reinterpret_cast<tki_panel_tail *>(reinterpret_cast<char *>(pixels_) + SIZE - 4096);
        tail_->width = WIDTH;
        tail_->height = HEIGHT;
        tail_->stride = WIDTH * 4;
        tail_->magic = TKI_PANEL_MAGIC;
    }
    ~Panel() { munmap(pixels_, SIZE); }
    void fill(int left, int top, int right, int bottom, uint32_t colour) {
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x) pixels_[y * WIDTH + x] = colour;
        tail_->damage = {left, top, right, bottom};
        __atomic_fetch_add(&tail_->counter, 1, __ATOMIC_SEQ_CST);
        syscall(SYS_futex, &tail_->counter, 1 /* wake */, 100, nullptr, nullptr, 0);
    }
    uint32_t viewers() const { return __atomic_load_n(&tail_->viewers, __ATOMIC_SEQ_CST); }

private:
    static constexpr off_t SIZE = 2 * WIDTH * HEIGHT * 4 + 4096;
    static_assert(SIZE % 4096 == 0);
    uint32_t *pixels_;
    tki_panel_tail *tail_;
};

class Connection {
public:
    explicit Connection(uint16_t port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_port = htons(port);
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd_.get(), reinterpret_cast<sockaddr *>(&at), sizeof at), 0);
    }
    void put(const std::string &bytes) { EXPECT_EQ(send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size())); }
    // Nothing when the other side is gone, or silent for so long.
    std::string take(size_t count, int within_ms = PATIENCE_MS) {
        while (have_.size() < count) {
            pollfd p{fd_.get(), POLLIN, 0};
            char bytes[65536];
            const ssize_t n = poll(&p, 1, within_ms) == 1 ? recv(fd_.get(), bytes, sizeof bytes, 0) : -1;
            if (n <= 0) return "";
            have_.append(bytes, static_cast<size_t>(n));
        }
        const std::string taken = have_.substr(0, count);
        have_.erase(0, count);
        return taken;
    }
    int status_of(const std::string &request) {
        put(request);
        const std::string head = take(12);
        return head.size() == 12 ? atoi(head.c_str() + 9) : 0;
    }
    void reset() {
        const linger at_once{1, 0}; // as a machine that goes down
        setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        fd_.reset();
    }

    // ---- WebSocket ----
    void frame(int opcode, const std::string &text, bool masked = true) {
        std::string bytes{static_cast<char>(0x80 | opcode)};
        const char mask = static_cast<char>(masked ? 0x80 : 0);
        if (text.size() < 126) bytes += static_cast<char>(mask | static_cast<char>(text.size()));
        else {
            bytes += static_cast<char>(mask | 127);
            for (int i = 7; i >= 0; --i) bytes += static_cast<char>(text.size() >> 8 * i & 0xff);
        }
        if (masked) bytes += std::string(4, '\0');
        put(bytes + text);
    }
    void say(const json &message) { frame(1, message.dump()); }
    // The next message; empty when the connection is at its end.
    std::string message(int within_ms = PATIENCE_MS) {
        const std::string head = take(2, within_ms);
        if (head.empty() || (head[0] & 15) == 8) return "";
        size_t size = head[1] & 127;
        if (size >= 126) {
            const std::string more = take(size == 126 ? 2 : 8);
            size = 0;
            for (const char c : more) size = size << 8 | static_cast<unsigned char>(c);
        }
        return size ? take(size) : "{}";
    }
    // Of that type; others are passed over.
    json hear(const std::string &type) {
        for (;;) {
            const std::string text = message();
            if (text.empty()) return nullptr;
            if (text[0] == '\1') continue;
            if (json told = json::parse(text); told.value("type", "") == type) return told;
        }
    }
    std::string picture(int within_ms = PATIENCE_MS) {
        std::string text;
        do text = message(within_ms);
        while (!text.empty() && text[0] != '\1');
        return text;
    }

private:
    vh::Fd fd_;
    std::string have_;
};

class ConsoleTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path().string() + "/vxo-console.XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        home = pattern;
        setenv("VXO_HANDSET_HOME", home.c_str(), 1);
        for (const char *folder : {"dev", "part", "run/log", "cache/tki"}) fs::create_directories(home + "/one/" + folder);
        fs::create_directories(home + "/not a handset");
        ASSERT_EQ(mkfifo((home + "/one/dev/event0").c_str(), 0600), 0);
        touches.reset(open((home + "/one/dev/event0").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        start();
    }
    void start() {
        Address address = listen_at(0);
        port = address.port;
        token = address.token;
        server.emplace(std::move(address));
        thread = std::thread([this] { server->run(); });
    }
    void TearDown() override {
        server->stop();
        thread.join();
        server.reset();
        unsetenv("VXO_HANDSET_HOME");
        fs::remove_all(home);
    }
    std::string own() const { return "127.0.0.1:" + std::to_string(port); }
    std::string get(const std::string &target, const std::string &more = "") const {
        return "GET " + target + " HTTP/1.1\r\nHost: " + own() + "\r\n" + more + "\r\n";
    }
    std::string upgrade(const std::string &origin, const std::string &protocols) const {
        return get("/socket", "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                              "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n" + origin + "Sec-WebSocket-Protocol: " + protocols + "\r\n");
    }
    int status_of(const std::string &request) const { return Connection(port).status_of(request); }
    Connection page() const {
        Connection connection(port);
        EXPECT_EQ(connection.status_of(upgrade("Origin: http://" + own() + "\r\n", "handset, " + token)), 101);
        std::string head;
        while (!head.ends_with("\r\n\r\n")) head += connection.take(1);
        EXPECT_EQ(connection.hear("handsets").at("names"), json({"one"}));
        return connection;
    }
    // Records of the touch panel, type and code as numbers, until one of that code comes.
    std::vector<std::pair<int, int>> felt(int until_code, int until_value) const {
        std::vector<std::pair<int, int>> all;
        for (;;) {
            pollfd p{touches.get(), POLLIN, 0};
            input_event event{};
            if (poll(&p, 1, PATIENCE_MS) != 1 || read(touches.get(), &event, sizeof event) != sizeof event) return {};
            all.emplace_back(event.code, event.value);
            if (event.code == until_code && event.value == until_value) return all;
        }
    }
    std::string home, token;
    uint16_t port = 0;
    vh::Fd touches;
    std::optional<Server> server;
    std::thread thread;
};

// What a page makes of a message.
struct Drawn {
    Image image;
    size_t rects = 0, words = 0;
};
uint32_t number(const std::string &text, size_t at, int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<uint32_t>(static_cast<unsigned char>(text.at(at + static_cast<size_t>(i)))) << 8 * i;
    return value;
}
void draw(Drawn &drawn, const std::string &message) {
    const int width = static_cast<int>(number(message, 2, 2)), height = static_cast<int>(number(message, 4, 2));
    drawn.image.width = width;
    drawn.image.height = height;
    drawn.image.pixels.resize(static_cast<size_t>(width * height));
    drawn.rects = number(message, 6, 2);
    drawn.words = 0;
    size_t at = 8;
    for (size_t r = 0; r < drawn.rects; ++r) {
        const uint32_t x = number(message, at, 2), y = number(message, at + 2, 2), w = number(message, at + 4, 2), h = number(message, at + 6, 2);
        const size_t words = number(message, at + 8, 4), end = at + 12 + 4 * words;
        drawn.words += words;
        std::vector<uint32_t> pixels;
        for (at += 12; at < end;) {
            uint32_t head = words == w * h ? (w * h) << 1 : number(message, at, 4);
            if (words != w * h) at += 4;
            for (uint32_t i = 0; i < head >> 1; ++i) pixels.push_back(number(message, at + (head & 1 ? 0 : 4 * i), 4));
            at += head & 1 ? 4 : 4 * (head >> 1);
        }
        ASSERT_EQ(pixels.size(), w * h);
        for (uint32_t i = 0; i < w * h; ++i) {
            const uint32_t p = pixels[i]; // R G B 255
            EXPECT_EQ(p >> 24, 255U);
            drawn.image.pixels[(y + i / w) * static_cast<uint32_t>(width) + x + i % w] = (p & 0xff) << 16 | (p & 0xff00) | (p >> 16 & 0xff);
        }
    }
    EXPECT_EQ(at, message.size());
}
} // namespace

TEST(ConsoleFrame, WhatIsDrawnIsWhatWasShown) {
    std::mt19937 chance(7);
    Image shown{97, 61, std::vector<uint32_t>(97 * 61)}, kept = shown;
    Drawn drawn;
    draw(drawn, frame_message(0, kept, std::array{Rect{0, 0, 97, 61}}));
    for (int round = 0; round < 300; ++round) {
        // Flat, striped and noisy rectangles, one pixel to all of it.
        const int left = static_cast<int>(chance() % 97), top = static_cast<int>(chance() % 61), kind = static_cast<int>(chance() % 3);
        const int right = left + 1 + static_cast<int>(chance() % static_cast<unsigned>(97 - left)), bottom = top + 1 + static_cast<int>(chance() % static_cast<unsigned>(61 - top));
        const uint32_t colour = chance() & 0xffffff;
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x)
                shown.pixels[static_cast<size_t>(y * 97 + x)] = kind == 0 ? colour : kind == 1 ? colour * static_cast<uint32_t>(x / 5 % 2) : chance() & 0xffffff;
        std::vector<Rect> damage;
        for (const Rect &rect : take_changes(kept, shown.pixels.data(), 97, {left, top, right, bottom})) add_damage(damage, rect);
        ASSERT_EQ(kept.pixels, shown.pixels);
        const std::string message = frame_message(3, kept, damage);
        ASSERT_EQ(message.substr(0, 2), "\1\3");
        draw(drawn, message);
        ASSERT_EQ(drawn.image.pixels, shown.pixels) << round;
    }
    EXPECT_TRUE(take_changes(kept, shown.pixels.data(), 97, {0, 0, 97, 61}).empty());
    std::fill(kept.pixels.begin(), kept.pixels.end(), 0x102030);
    draw(drawn, frame_message(0, kept, std::array{Rect{0, 0, 97, 61}}));
    EXPECT_EQ(drawn.words, 2U); // one colour is one run
}

TEST_F(ConsoleTest, LetsInOnlyItsOwnPagesWithTheToken) {
    const std::string origin = "Origin: http://" + own() + "\r\n", bearer = "Authorization: Bearer " + token + "\r\n";
    std::string altered = token;
    altered.back() = altered.back() == '0' ? '1' : '0';
    const struct {
        std::string request;
        int status;
    } rows[] = {
        {get("/"), 200},
        {get("/app.js"), 200},
        {"GET / HTTP/1.1\r\nHost: localhost:" + std::to_string(port) + "\r\n\r\n", 200},
        {"GET / HTTP/1.1\r\nHost: elsewhere.example:" + std::to_string(port) + "\r\n\r\n", 403},
        {"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", 403},
        {"GET / HTTP/1.1\r\n\r\n", 403},
        {get("/", "Origin: http://elsewhere.example\r\n"), 403},
        {get("/", "Origin: null\r\n"), 403},
        {"POST / HTTP/1.1\r\nHost: " + own() + "\r\nContent-Length: 0\r\n\r\n", 405},
        {"POST / HTTP/1.1\r\nHost: " + own() + "\r\nContent-Length: 9\r\n\r\nsomething", 400},
        {get("/../../etc/passwd"), 404},
        {get("/%2e%2e/app.js"), 404},
        {get("//app.js"), 404},
        {"\x16\x03\x01\r\n\r\n", 400},
        {get("/" + std::string(9000, 'a')), 431},
        {get("/screenshot/one"), 401},
        {get("/screenshot/one", "Authorization: Bearer " + altered + "\r\n"), 401},
        {get("/screenshot/one", "Authorization: Bearer \r\n"), 401},
        {get("/screenshot/one", bearer), 503}, // it has no panel
        {get("/screenshot/../one", bearer), 404},
        {get("/screenshot/not a handset", bearer), 400},
        {upgrade(origin, "handset, " + token), 101},
        {upgrade(origin, "handset, " + altered), 401},
        {upgrade(origin, "handset"), 401},
        {upgrade(origin, token), 401},
        {upgrade("", "handset, " + token), 403},
        {upgrade("Origin: http://elsewhere.example\r\n", "handset, " + token), 403},
    };
    for (const auto &row : rows) EXPECT_EQ(status_of(row.request), row.status) << row.request.substr(0, 200);
    Connection connection(port);
    connection.put(get("/"));
    std::string answer;
    for (std::string byte; !(byte = connection.take(1)).empty();) answer += byte;
    EXPECT_NE(answer.find("script-src 'self'"), std::string::npos);
    EXPECT_EQ(answer.find("unsafe"), std::string::npos);
    EXPECT_EQ(answer.find(token), std::string::npos);
}

TEST_F(ConsoleTest, ABrokenPageHarmsNobody) {
    Connection whole = page(), broken = page();
    for (const char *text : {"", "x", "[]", "{\"op\":7}", "{\"op\":\"request\"}", "{\"op\":\"touch\",\"handset\":\"one\"}", "{\"op\":\"pc\",\"handset\":\"two\"}",
                             "{\"op\":\"screen\",\"view\":1}", "{\"op\":\"touch\",\"handset\":\"one\",\"x\":-1,\"y\":5}", "{\"op\":\"exec\",\"handset\":\"one\"}"}) {
        broken.frame(1, text);
        EXPECT_TRUE(broken.hear("failed").is_object()) << text;
    }
    broken.say({{"op", "request"}, {"id", 1}, {"handset", "one"}, {"request", {{"op", "exec"}, {"argv", {"true"}}}}});
    EXPECT_NE(broken.hear("answer").value("error", "").find("may not"), std::string::npos);
    for (const bool too_long : {true, false}) {
        Connection lost = page();
        if (too_long) lost.frame(1, std::string(70000, ' '));
        else lost.frame(1, "{}", false); // a page masks what it sends
        while (!lost.message().empty()) {}
    }
    {
        Connection lost = page();
        lost.frame(11, "x"); // no such kind
        while (!lost.message().empty()) {}
    }
    whole.frame(1, "x");
    EXPECT_TRUE(whole.hear("failed").is_object());
}

TEST_F(ConsoleTest, AFingerIsLiftedForAPageThatIsLost) {
    const json touch = {{"op", "touch"}, {"handset", "one"}, {"x", 5}, {"y", 7}};
    for (const bool silent : {false, true}) {
        Connection lost = page();
        lost.say(touch);
        const auto down = felt(BTN_TOUCH, 1);
        EXPECT_TRUE(std::count(down.begin(), down.end(), std::pair<int, int>(ABS_MT_POSITION_Y, 7))) << silent;
        if (!silent) lost.reset();
        EXPECT_FALSE(felt(BTN_TOUCH, 0).empty()) << silent; // a connection that is up but says nothing, too
    }
}

TEST_F(ConsoleTest, ShowsTheNewestFrameToThoseWhoHaveDrawnTheLast) {
    // Without a launcher there is no screen to look at.
    Panel panel(home + "/one/dev/fb0");
    panel.fill(0, 0, WIDTH, HEIGHT, 0x112233);
    const vh::Fd launcher(vh::listen_unix(home + "/one/run/control.sock", 4));
    std::atomic<bool> stop{false};
    std::thread answering([&] {
        std::vector<vh::Fd> clients;
        while (!stop) {
            pollfd p{launcher.get(), POLLIN, 0};
            if (poll(&p, 1, 10) != 1) continue;
            clients.emplace_back(accept(launcher.get(), nullptr, nullptr));
            const std::string status = "{\"status\":{\"state\":\"running\"}}\n";
            EXPECT_EQ(send(clients.back().get(), status.data(), status.size(), MSG_NOSIGNAL), static_cast<ssize_t>(status.size()));
        }
    });
    Connection one = page();
    while (one.hear("status").at("status").at("state") != "running") {}
    one.say({{"op", "screen"}, {"view", 4}, {"handset", "one"}});
    Drawn drawn;
    draw(drawn, one.picture());
    EXPECT_EQ(drawn.image.pixels, std::vector<uint32_t>(WIDTH * HEIGHT, 0x112233));
    // Not drawn yet: three flips become one frame with the last of them.
    for (uint32_t colour : {1U, 2U, 3U}) panel.fill(8, 20, 16, 24, colour);
    EXPECT_EQ(one.picture(200), "");
    one.say({{"op", "drawn"}, {"view", 4}});
    draw(drawn, one.picture());
    EXPECT_EQ(drawn.image.pixels[20 * WIDTH + 8], 3U);
    EXPECT_LT(drawn.words, 8U); // and no more than what changed
    one.say({{"op", "drawn"}, {"view", 4}});
    ASSERT_TRUE(booted::eventually([&] { return panel.viewers() == 1; }));
    one.reset();
    ASSERT_TRUE(booted::eventually([&] { return panel.viewers() == 0; })); // nobody looks any more
    stop = true;
    answering.join();
}

TEST(Watch, TellsEverythingOnceAndThenWhatChanges) {
    REQUIRE_HOST();
    booted::Handset handset;
    ASSERT_TRUE(handset.boot("sleep 1000"));
    const vh::Fd watch(vh::connect_unix(handset.paths.control_socket()));
    ASSERT_EQ(send(watch.get(), "{\"op\":\"watch\"}\n", 15, 0), 15);
    std::string pending;
    const auto next = [&]() -> json {
        char bytes[65536];
        while (pending.find('\n') == std::string::npos) {
            pollfd p{watch.get(), POLLIN, 0};
            const ssize_t n = poll(&p, 1, PATIENCE_MS) == 1 ? recv(watch.get(), bytes, sizeof bytes, 0) : 0;
            if (n <= 0) return nullptr;
            pending.append(bytes, static_cast<size_t>(n));
        }
        const std::string line = pending.substr(0, pending.find('\n'));
        pending.erase(0, line.size() + 1);
        return json::parse(line);
    };
    const json first = next();
    EXPECT_EQ(first.at("status").at("state"), "running");
    EXPECT_GT(first.at("attributes").size(), 100U);
    const std::string light = "/sys/class/leds/red/brightness";
    const auto wait_for = [&](const std::function<bool(const json &)> &holds) {
        for (json line = next(); !line.is_null(); line = next())
            if (holds(line)) return true;
        return false;
    };
    const auto told = [&](const std::string &value, const std::string &fault) {
        return wait_for([&](const json &line) {
            const json attributes = line.value("attributes", json::array());
            return std::any_of(attributes.begin(), attributes.end(), [&](const json &a) { return a[0] == light && a[1] == value && a[2] == fault; });
        });
    };
    handset.sh("echo 77 > " + light);
    EXPECT_TRUE(told("77", "none"));
    handset.ask({{"op", "fault"}, {"path", light}, {"fault", "eio"}});
    EXPECT_TRUE(told("77", "eio"));
    handset.ask({{"op", "sensor"}, {"name", "light"}, {"values", {"5"}}});
    EXPECT_TRUE(wait_for([](const json &line) { return line.value("hardware", false); }));
    handset.ask({{"op", "reboot"}});
    EXPECT_TRUE(wait_for([](const json &line) { return line.value("status", json::object()).value("boots", 0) == 2; }));
}
