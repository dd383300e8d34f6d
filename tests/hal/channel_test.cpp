// The PC command channel and its file service, over real sockets on the box's own loopback interface.
#include "support.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cstring>
#include <cutils/properties.h>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <vector>
#include <vxo_vcoredevice.h>

using namespace hal_test;

namespace {
constexpr uint16_t PORT = 4077;

struct Api {
    registerAtSocket_t open = bind<registerAtSocket_t>(core_device(), "registerAtSocket");
    UnregisterAtSocket_t close = bind<UnregisterAtSocket_t>(core_device(), "UnregisterAtSocket");
    registerCommandProcess_t process = bind<registerCommandProcess_t>(core_device(), "registerCommandProcess");
    runSelectLoopMode_t run = bind<runSelectLoopMode_t>(core_device(), "runSelectLoopMode");
    mmi_AutoTest_FileOpt_t read = bind<mmi_AutoTest_FileOpt_t>(core_device(), "mmi_AutoTest_FileOpt_Read");
    mmi_AutoTest_FileOpt_t write = bind<mmi_AutoTest_FileOpt_t>(core_device(), "mmi_AutoTest_FileOpt_Write");
    mmi_AutoTest_FourArgs_t remove = bind<mmi_AutoTest_FourArgs_t>(core_device(), "mmi_AutoTest_FileOpt_Remove");
} const api;

std::mutex g_lock;
std::vector<std::string> g_order; // of the commands as processed
std::atomic<bool> g_hold{false};
std::atomic<int> g_held{0};

// "big": a reply without room for a zero byte. "hold": waits. "read PATH": the file service. "close": ends the channel.
// Everything else is echoed with status 0; what begins with "no" has status 2.
int process(const char *command, char *reply, int room) {
    EXPECT_EQ(room, VXO_AT_REPLY_SIZE);
    EXPECT_EQ(strnlen(reply, VXO_AT_REPLY_SIZE), 0u);
    const std::string text = command;
    {
        const std::lock_guard guard(g_lock);
        g_order.push_back(text);
    }
    if (text == "big") {
        memset(reply, 'x', VXO_AT_REPLY_SIZE);
    } else if (text == "hold") {
        ++g_held;
        while (g_hold) std::this_thread::yield();
    } else if (text == "close") {
        EXPECT_EQ(api.close(), 0);
    } else if (text.starts_with("read ")) {
        return api.read(text.c_str() + 5, static_cast<int>(text.size()) - 5) == 1 ? 0 : 2;
    } else {
        memcpy(reply, text.data(), text.size());
        if (text.starts_with("no")) return 2;
    }
    return 0;
}
std::string answer(int status, const std::string &reply) {
    return std::to_string(status) + " " + std::to_string(reply.size()) + "\n" + reply + "\n";
}
std::string echo(const std::string &text) { return answer(0, text); }

class Pc {
public:
    explicit Pc(int receive_buffer = 0) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receive_buffer) setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        const timeval patience{20, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        sockaddr_in to{};
        to.sin_family = AF_INET, to.sin_port = htons(PORT), to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(m_fd, reinterpret_cast<sockaddr *>(&to), sizeof to);
    }
    ~Pc() { leave(); }
    Pc(const Pc &) = delete;
    bool send(const std::string &bytes) const {
        size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t n = ::send(m_fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) return false;
            sent += static_cast<size_t>(n);
        }
        return true;
    }
    void half_close() const { shutdown(m_fd, SHUT_WR); }
    void leave() {
        if (m_fd >= 0) close(std::exchange(m_fd, -1));
    }
    void reset() { // leaves without the usual farewell
        const linger now{1, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        leave();
    }
    std::string receive(size_t count) const {
        std::string bytes(count, '\0');
        size_t got = 0;
        while (got < count) {
            const ssize_t n = recv(m_fd, bytes.data() + got, count - got, 0);
            if (n <= 0) break;
            got += static_cast<size_t>(n);
        }
        bytes.resize(got);
        return bytes;
    }
    std::string receive_all() const {
        std::string bytes;
        for (std::string part; !(part = receive(65536)).empty();) bytes += part;
        return bytes;
    }
    std::string ask(const std::string &bytes, const std::string &expected) const { return send(bytes) ? receive(expected.size()) : ""; }

private:
    int m_fd;
};

class Channel : public testing::Test {
protected:
    void SetUp() override {
        g_order.clear();
        g_hold = false;
        g_held = 0;
        property_set("persist.vxo.at.port", std::to_string(PORT).c_str());
        api.process(process);
        start();
    }
    void TearDown() override {
        g_hold = false;
        api.close();
        m_loop.join();
    }
    void start() {
        ASSERT_EQ(api.open(), 0);
        m_loop = std::thread([] { EXPECT_EQ(api.run(), 0); });
        const Pc pc; // the loop serves once it answers
        ASSERT_EQ(pc.ask("\n", answer(2, "empty command")), answer(2, "empty command"));
    }
    std::thread m_loop;
};
} // namespace

TEST_F(Channel, CutsLines) {
    const std::string longest(VXO_AT_LINE_MAX, 'a'), long_answer = answer(2, "line too long");
    const std::pair<std::string, std::string> ROWS[] = {
        {"no way\r\n", answer(2, "no way")},
        {" a\rb \r\r\n", echo(" a\rb \r")},
        {"big\nsmall\n", echo(std::string(VXO_AT_REPLY_SIZE, 'x')) + echo("small")},
        {longest + "\r\n", echo(longest)},
        {longest + "a\r\n" + longest + "\r\r\n", long_answer + long_answer},
        {std::string(100000, 'z') + "\r\nafter\n", long_answer + echo("after")},
        {"\n\r\nx\n", answer(2, "empty command") + answer(2, "empty command") + echo("x")},
        {std::string("a\0b\n\0\n", 6) + "c\n", answer(2, "malformed") + answer(2, "malformed") + echo("c")},
        {std::string(5000, '\0') + "\nafter\n", long_answer + echo("after")}};
    const Pc pc;
    for (const auto &[sent, expected] : ROWS) EXPECT_EQ(pc.ask(sent, expected), expected) << sent.substr(0, 40);

    std::string pipelined, answers;
    for (int i = 0; i < 2000; ++i) {
        const std::string line(static_cast<size_t>(i * 7 % 1030) + 1, static_cast<char>('a' + i % 26));
        pipelined += line + (i % 3 ? "\n" : "\r\n");
        answers += line.size() > VXO_AT_LINE_MAX ? long_answer : echo(line);
    }
    std::thread writer([&] { // in pieces that end anywhere
        for (size_t at = 0, piece = 1; at < pipelined.size(); at += piece, piece = piece * 31 % 4099 + 1)
            ASSERT_TRUE(pc.send(pipelined.substr(at, piece)));
    });
    EXPECT_TRUE(pc.receive(answers.size()) == answers);
    writer.join();
    for (const char byte : std::string("slow\r\n")) ASSERT_TRUE(pc.send(std::string(1, byte)));
    EXPECT_EQ(pc.receive(9), echo("slow"));
}

TEST_F(Channel, ClientsTakeTurns) {
    const Pc eager, modest;
    g_hold = true;
    ASSERT_TRUE(eager.send("hold\n"));
    ASSERT_TRUE(eventually([] { return g_held == 1; }));
    std::string many;
    for (int i = 0; i < 100; ++i) many += "eager\n";
    ASSERT_TRUE(eager.send(many));
    ASSERT_TRUE(modest.send("modest 1\nmodest 2\n"));
    g_hold = false;
    EXPECT_EQ(modest.receive(2 * echo("modest 1").size()), echo("modest 1") + echo("modest 2"));
    eager.receive(answer(0, "").size() + 100 * echo("eager").size());
    const std::lock_guard guard(g_lock);
    ASSERT_EQ(g_order.size(), 103u);
    const auto second = std::find(g_order.begin(), g_order.end(), "modest 2") - g_order.begin();
    EXPECT_LE(second, 6) << "a client with many commands kept another one waiting";
}

TEST_F(Channel, OneClientTooManyIsLetGo) {
    std::vector<std::unique_ptr<Pc>> clients;
    for (int i = 0; i < 64; ++i) clients.push_back(std::make_unique<Pc>());
    for (const auto &client : clients) ASSERT_EQ(client->ask("x\n", echo("x")), echo("x"));
    const Pc refused;
    refused.send("hello\n");
    EXPECT_EQ(refused.receive(1), "");
    clients[5]->leave();
    EXPECT_TRUE(eventually([] {
        const Pc late;
        return late.ask("late\n", echo("late")) == echo("late");
    }));
    EXPECT_EQ(clients[6]->ask("still\n", echo("still")), echo("still"));
}

TEST_F(Channel, LeavingClientsHarmNoOther) {
    const Pc stays;
    for (int i = 0; i < 50; ++i) {
        Pc no_farewell, gone_before_the_answer;
        no_farewell.send("bye\nbye\nby");
        g_hold = true;
        g_held = 0;
        gone_before_the_answer.send("hold\nbig\nbig\nbig\n");
        ASSERT_TRUE(eventually([] { return g_held == 1; }));
        gone_before_the_answer.reset();
        no_farewell.reset();
        g_hold = false;
        ASSERT_EQ(stays.ask("stays\n", echo("stays")), echo("stays"));
    }
}

TEST_F(Channel, ASlowReaderIsBufferedThenDropped) {
    Pc slow(4096);
    const Pc other;
    std::string commands;
    for (int i = 0; i < 8; ++i) commands += "big\n";
    ASSERT_TRUE(slow.send(commands)); // more than its socket takes at once, less than the bound
    ASSERT_EQ(other.ask("other\n", echo("other")), echo("other"));
    const size_t eight = 8 * echo(std::string(VXO_AT_REPLY_SIZE, 'x')).size();
    EXPECT_EQ(slow.receive(eight).size(), eight);

    LogCapture log;
    bool dropped = false;
    for (int i = 0; i < 4000 && !dropped; ++i) dropped = !slow.send(commands);
    EXPECT_TRUE(dropped || eventually([&] { return log.count("does not read") == 1; }));
    EXPECT_EQ(other.ask("other\n", echo("other")), echo("other"));
    EXPECT_LT(slow.receive_all().size(), 32u * 1024 * 1024);
}

TEST_F(Channel, ClosesFromInsideAndOutsideAndOpensAgain) {
    for (int i = 0; i < 10; ++i) {
        const Pc pc;
        ASSERT_EQ(pc.ask("x\n", echo("x")), echo("x"));
        if (i % 2) pc.send("close\n");
        else EXPECT_EQ(api.close(), 0);
        m_loop.join();
        EXPECT_EQ(api.close(), -1);
        EXPECT_EQ(api.run(), -1) << "no socket";
        pc.receive_all();
        start();
        EXPECT_EQ(api.run(), -1) << "a second loop";
    }
}

TEST_F(Channel, ATakenPortIsSaidAndTheLoopReturns) {
    api.close();
    m_loop.join();
    const int other = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), on = 1;
    setsockopt(other, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in at{};
    at.sin_family = AF_INET, at.sin_port = htons(PORT), at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(other, reinterpret_cast<sockaddr *>(&at), sizeof at), 0);
    ASSERT_EQ(listen(other, 1), 0);
    {
        const LogCapture log;
        EXPECT_EQ(api.open(), -1);
        EXPECT_EQ(log.count("127.0.0.1:4077: Address already in use"), 1u);
        EXPECT_EQ(api.run(), -1);
        property_set("persist.vxo.at.port", "70000");
        EXPECT_EQ(api.open(), 0);
        EXPECT_EQ(log.count("70000; using 3535"), 1u);
        EXPECT_EQ(api.close(), 0);
    }
    close(other);
    property_set("persist.vxo.at.port", std::to_string(PORT).c_str());
    api.process(nullptr);
    start();
    const Pc pc;
    EXPECT_EQ(pc.ask("x\n", answer(3, "")), answer(3, ""));
}

// ---- file service
namespace {
int write_text(const std::string &argument) { return api.write(argument.data(), static_cast<int>(argument.size())); }
int remove_path(const std::string &path, std::string &text) {
    char out[64] = "";
    const int result = api.remove(path.data(), static_cast<int>(path.size()), out, sizeof out);
    text = out;
    return result;
}
} // namespace

TEST_F(Channel, FilesKeepTheirModeAndLeaveNothingBeside) {
    std::string text;
    std::filesystem::create_directories("/data/deep/er");
    EXPECT_EQ(write_text("/data/deep/er/note,first"), 1);
    chmod("/data/deep/er/note", 0640);
    EXPECT_EQ(write_text("/data/deep/er/note,second"), 1);
    EXPECT_EQ(content("/data/deep/er/note"), "second");
    struct stat status {};
    stat("/data/deep/er/note", &status);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    const std::filesystem::directory_iterator entries("/data/deep/er");
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "left something behind";
    const Pc pc;
    put("/cache/large", std::string(9000, 'l'));
    EXPECT_EQ(pc.ask("read /cache/large\n", echo(std::string(4096, 'l'))), echo(std::string(4096, 'l')));
    EXPECT_EQ(api.read("/cache/large", 12), 0) << "outside of a command there is no reply";
    EXPECT_EQ(remove_path("/cache/large", text), 1);
    EXPECT_EQ(api.remove("/cache/large", 12, nullptr, 0), 0);
}

TEST_F(Channel, HostilePathsReachNothing) {
    put("/data/secret/file", "safe");
    put("/etc/outside", "safe");
    put("/data/plain", "safe");
    std::filesystem::create_symlink("/data/secret", "/data/link");
    std::filesystem::create_symlink("/etc/outside", "/data/filelink");
    std::filesystem::create_symlink("/data/nowhere", "/data/dangling");
    mkfifo("/data/fifo", 0600);
    std::filesystem::create_directories("/data/folder");
    const std::string PATHS[] = {
        "", "/", "/data", "/data/", "/cache", "data/plain", "plain", "/etc/outside", "/data/../etc/outside", "/data/./plain",
        "//data/plain", "/data//plain", "/data/plain/", "/data/plain/x", "/data/link/file", "/data/filelink", "/data/dangling",
        "/data/fifo", "/data/folder", "/data/none/file", "/database/plain", "/proc/self/environ", "/data/secret/..",
        std::string("/data/plain\0", 12), std::string("/data/plain\0x", 13), "/data/pl\nain", "/data/\x7f" "b",
        "/data/" + std::string(250, 'n'), "/data/" + std::string(5000, 'n')};
    const Pc pc;
    for (const std::string &path : PATHS) {
        std::string text;
        EXPECT_EQ(write_text(path + ",harm"), 0) << path;
        EXPECT_EQ(remove_path(path, text), 0) << path;
        EXPECT_NE(text, "ok");
        if (path.size() < 1000 && path.find_first_of(std::string("\0\n", 2)) == std::string::npos) {
            EXPECT_EQ(pc.ask("read " + path + "\n", answer(2, "")), answer(2, "")) << path;
        }
    }
    EXPECT_EQ(write_text("/data/plain"), 0);
    EXPECT_EQ(api.write(nullptr, 5), 0);
    EXPECT_EQ(api.write("/data/plain,x", -1), 0);
    EXPECT_EQ(api.remove(nullptr, 0, nullptr, 0), 0);
    for (const char *file : {"/data/secret/file", "/etc/outside", "/data/plain"}) EXPECT_EQ(content(file), "safe") << file;
    EXPECT_TRUE(std::filesystem::is_symlink("/data/filelink"));
    EXPECT_FALSE(std::filesystem::exists("/data/nowhere"));
}
