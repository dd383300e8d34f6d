// The description of the screen, and who may read it how.
#include "gui_fixture.h"

#include "../../vcore/src/json_text.h"

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {
class Description : public GuiTest {
protected:
    static int connect_client() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, "/dev/socket/vxo_gui");
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return fd;
        close(fd);
        return -1;
    }
    // What a client is given that first does something else, while this thread runs turns of its loop.
    static std::string document(const std::function<void()> &first, const std::function<void()> &turn) {
        std::string out;
        std::atomic<bool> done{false};
        std::thread client([&] {
            first();
            const int fd = connect_client();
            char block[4096];
            for (ssize_t n; (n = read(fd, block, sizeof block)) > 0;) out.append(block, static_cast<size_t>(n));
            close(fd);
            done = true;
        });
        while (!done) turn();
        client.join();
        return out;
    }
};

TEST_F(Description, TellsWindowsTextsAndSoftKeys) {
    const HWND menu = open({0, 0, WIDTH, HEIGHT}, SysPixelIndex[18], HWND_DESKTOP, "MENU \"1\"");
    const HWND bar = control(menu, 7, {0, 100, WIDTH, HEIGHT});
    tp_gui_describe_softkeys(bar, "\xcd\xa8\xb9\xfd", "", "no\\"); // GBK
    const HWND hidden = create({1, 2, 3, 4}, 0, menu, "\xff\xff odd");
    handlers[menu] = [](HWND self, const MSG &m, LRESULT *) {
        if (m.message != MSG_PAINT) return false;
        const HDC hdc = BeginPaint(self);
        SetTextColor(hdc, SysPixelIndex[12]);
        TextOut(hdc, 4, 8, "\xbe\xaf");
        EndPaint(self, hdc);
        return true;
    };
    tp_gui_pump();
    const std::string dump = tp_gui_dump();
    EXPECT_EQ(dump.find("{\"width\":72,\"height\":128,\"active\":\"MENU \\\"1\\\"\",\"windows\":[{\"class\":\"mainwin\",\"caption\":\"MENU \\\"1\\\"\","
                        "\"rect\":[0,0,72,128],\"visible\":true,\"id\":0,\"texts\":[{\"text\":\"\xe8\xad\xa6\",\"rect\":[4,8,"), 0u) << dump;
    EXPECT_NE(dump.find("],\"color\":12}],\"children\":[{\"class\":\"probe\",\"caption\":\"\",\"rect\":[0,100,72,128],\"visible\":true,\"id\":7,"
                        "\"softkeys\":[\"\xe9\x80\x9a\xe8\xbf\x87\",\"\",\"no\\\\\"],\"texts\":[],\"children\":[]}]},{"), std::string::npos) << dump;
    EXPECT_NE(dump.find("\"caption\":\"\xef\xbf\xbd"), std::string::npos) << dump;
    EXPECT_NE(dump.find("\"rect\":[1,2,3,4],\"visible\":false,"), std::string::npos);
    // Painted again the text is there once; of a hidden window nothing is painted.
    InvalidateRect(menu, nullptr, true);
    tp_gui_pump();
    EXPECT_EQ(tp_gui_dump(), dump);
    ShowWindow(menu, SW_HIDE);
    EXPECT_EQ(tp_gui_dump().find("\"color\""), std::string::npos);
    DestroyMainWindow(hidden);
}

TEST_F(Description, QuotesWhatJsonCannotHold) {
    EXPECT_EQ(vcore::json_quoted("a\"\\\n\x01\x7f"), "\"a\\\"\\\\\\n\\u0001\x7f\"");
    EXPECT_EQ(vcore::json_quoted("\xf0\x9f\x98\x80 \xc3\xa9"), "\"\xf0\x9f\x98\x80 \xc3\xa9\"");
    for (const char *bad : {"\xff", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe4\xb8"})
        EXPECT_EQ(vcore::json_quoted(bad).find("\"\xef\xbf\xbd"), 0u) << bad;
}

TEST_F(Description, IsServedWhenEverythingIsPainted) {
    if (access("/dev/socket", W_OK) != 0) GTEST_SKIP() << "needs the box";
    close(::creat("/dev/socket/vxo_gui", 0600)); // left over
    InitGUIIAL();
    const HWND w = open({0, 0, WIDTH, HEIGHT}, 1, HWND_DESKTOP, "first");
    handlers[w] = [](HWND self, const MSG &m, LRESULT *) {
        if (m.message == MSG_USER) SetWindowText(self, "after the message");
        return false;
    };
    SetTimer(w, 1, 1);
    MSG msg;
    const std::string text =
        document([w] { PostMessage(w, MSG_USER, 0, 0); }, [&] { if (GetMessage(&msg, w)) DispatchMessage(&msg); });
    EXPECT_NE(text.find("after the message"), std::string::npos) << text;
    EXPECT_EQ(text.back(), '}');
}

TEST_F(Description, ClientsThatDoNotReadOrRunAwayHarmNobody) {
    InitGUIIAL();
    const HWND w = open({0, 0, WIDTH, HEIGHT}, 1, HWND_DESKTOP, std::string(600'000, 'x').c_str()); // more than a socket holds
    std::vector<int> silent;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(connect_client());
        close(connect_client());
        tp_gui_pump();
    }
    EXPECT_GT(document([] {}, [] { tp_gui_pump(); }).size(), 600'000u);
    EXPECT_TRUE(IsWindow(w));
    for (const int fd : silent) close(fd);
    tp_gui_pump();
    TerminateGUI();
    EXPECT_EQ(connect_client(), -1);
}
} // namespace
