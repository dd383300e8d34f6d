// Debian's own adb drives a whole handset through the debug bridge, beside clients that speak nothing of the kind.
#include "scenario/handset.h"

#include "common/loopback.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <sys/wait.h>

namespace {
uint16_t free_port() {
    uint16_t port = 0;
    if (!vh::listen_loopback(port)) throw std::runtime_error("no free port");
    return port;
}

vh::Fd connect_to(uint16_t port) {
    vh::Fd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) fd.reset();
    return fd;
}

// The client with a server and a home of its own, which both end with it.
class Adb {
public:
    explicit Adb(const Handset &handset) {
        if (std::system("command -v adb >/dev/null") != 0) throw std::runtime_error("adb is missing: run tools/setup");
        std::filesystem::create_directories(home());
        address_ = handset.tool({"adb"}).output;
        address_.resize(address_.find('\n'));
        run("connect " + address_);
    }
    ~Adb() {
        run("kill-server"); // of that port
        std::error_code ignored;
        std::filesystem::remove_all(home_, ignored);
    }
    Adb(const Adb &) = delete;
    Adb &operator=(const Adb &) = delete;

    // Standard output and error together.
    vh::Client::Outcome run(const std::string &arguments) const {
        const std::string line = "HOME=" + home_ + " ANDROID_ADB_SERVER_PORT=" + server_ + " timeout " + std::to_string(patient(60)) +
                                 " adb -P " + server_ + " " + arguments + " 2>&1 </dev/null";
        FILE *pipe = popen(line.c_str(), "re");
        if (!pipe) throw std::runtime_error("popen");
        vh::Client::Outcome outcome;
        std::array<char, 4096> bytes;
        for (size_t n; (n = fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) outcome.output.append(bytes.data(), n);
        const int status = pclose(pipe);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 255;
        return outcome;
    }
    const std::string &address() const { return address_; }
    uint16_t port() const { return static_cast<uint16_t>(std::stoi(address_.substr(address_.find(':') + 1))); }
    const std::string &home() const { return home_; }

private:
    const std::string server_ = std::to_string(free_port());
    const std::string home_ = std::filesystem::temp_directory_path().string() + "/vxo-adb-" + server_;
    std::string address_;
};

std::string packet(const char *command, uint32_t arg0, uint32_t arg1, uint32_t length, const std::string &data) {
    uint32_t name = 0, sum = 0;
    memcpy(&name, command, 4);
    for (const unsigned char byte : data) sum += byte;
    const std::array<uint32_t, 6> header{name, arg0, arg1, length, sum, ~name};
    return std::string(reinterpret_cast<const char *>(header.data()), sizeof header) + data;
}

// What comes back until the handset closes; "open" added when it does not within the limit.
std::string talk(uint16_t port, const std::string &bytes) {
    const vh::Fd fd = connect_to(port);
    if (!fd) return "not connected";
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = send(fd.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    std::string got;
    std::array<char, 4096> buffer;
    for (pollfd ready{fd.get(), POLLIN, 0};;) {
        if (poll(&ready, 1, patient(20000)) != 1) return got + "open";
        const ssize_t n = recv(fd.get(), buffer.data(), buffer.size(), 0);
        if (n <= 0) return got;
        got.append(buffer.data(), static_cast<size_t>(n));
    }
}
} // namespace

TEST(Bridge, CommandsAndFiles) {
    const Handset handset;
    const Adb adb(handset);
    EXPECT_NE(adb.run("devices").output.find(adb.address() + "\tdevice\n"), std::string::npos);
    const auto ran = adb.run("shell 'echo $PPID | tr 0-9 n; id -u; echo problem >&2; exit 7'");
    EXPECT_EQ(ran.status, 7) << ran.output;
    EXPECT_NE(ran.output.find("\n0\nproblem\n"), std::string::npos) << ran.output;
    EXPECT_EQ(adb.run("shell 'kill -9 $$'").status, 128 + 9);

    const std::string here = adb.home() + "/here", back = adb.home() + "/back", there = "/data/new folder/file";
    std::string content(1'500'001, '\0');
    std::mt19937 random(7);
    for (char &byte : content) byte = static_cast<char>(random());
    std::ofstream(here, std::ios::binary) << content;
    const auto pushed = adb.run("push " + here + " '" + there + "'");
    EXPECT_EQ(pushed.status, 0) << pushed.output;
    EXPECT_TRUE(content_of(handset.data() + "/new folder/file") == content);
    const auto pulled = adb.run("pull '" + there + "' " + back);
    EXPECT_EQ(pulled.status, 0) << pulled.output;
    EXPECT_TRUE(content_of(back) == content);
    EXPECT_TRUE(adb.run("exec-out \"cat '" + there + "'\"").output == content) << "no line end is changed";

    const auto refused = adb.run("push " + here + " /proc/nothing");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.output.find("No such file or directory"), std::string::npos) << refused.output;
    EXPECT_EQ(adb.run("pull /data/nothing " + back).status, 1);
    EXPECT_EQ(adb.run("shell 'sleep 300 & echo started'").output, "started\n") << "what it leaves running is not waited for";
    EXPECT_EQ(adb.run("shell -tt 'test -t 0 && exit 5'").status, 5) << "on a terminal";
}

TEST(Bridge, ForwardedPcCommandsWakeASuspendedHandset) {
    Handset handset({.props = {"persist.vxo.at.port=4711"}});
    handset.wait_for_pc();
    const Adb adb(handset);
    const std::string port = std::to_string(free_port()), nowhere = std::to_string(free_port());
    ASSERT_EQ(adb.run("forward tcp:" + port + " tcp:4711").status, 0);
    ASSERT_EQ(adb.run("forward tcp:" + nowhere + " tcp:9").status, 0);
    EXPECT_EQ(talk(static_cast<uint16_t>(std::stoi(nowhere)), ""), "") << "nobody listens there";

    const auto ask = [&](const vh::Fd &pc) {
        const std::string_view line = "batteryMoudle testItem power\n";
        send(pc.get(), line.data(), line.size(), MSG_NOSIGNAL);
        std::string got;
        char byte;
        for (pollfd ready{pc.get(), POLLIN, 0}; got.size() < 8 && poll(&ready, 1, patient(20000)) == 1 && recv(pc.get(), &byte, 1, 0) == 1;)
            got += byte;
        return got;
    };
    const vh::Fd pc = connect_to(static_cast<uint16_t>(std::stoi(port)));
    EXPECT_EQ(ask(pc), "0 3\n*80\n");
    handset.shell("echo mem > /sys/power/autosleep");
    handset.wait_until("suspend", [&] { return handset.status().value("sleeps", false); });
    EXPECT_EQ(adb.run("shell echo awake").output, "awake\n") << "the bridge does not sleep";
    EXPECT_EQ(ask(pc), "0 3\n*80\n");
    EXPECT_EQ(handset.attr("/sys/kernel/wakeup_reasons/last_resume_reason"), "pc");
}

TEST(Bridge, GarbageHarmsNobody) {
    const Handset handset;
    const Adb adb(handset);
    const std::string hello = packet("CNXN", 0x01000001, 1 << 20, 7, std::string("host::\0", 7));
    const std::string greeting = talk(adb.port(), hello + std::string(24, 'x'));
    EXPECT_EQ(greeting.substr(0, 4), "CNXN");
    const std::string too_long = packet("WRTE", 1, 1, 0x7fffffff, "");
    EXPECT_EQ(talk(adb.port(), hello + too_long), greeting) << "closed behind the greeting";
    EXPECT_EQ(talk(adb.port(), too_long), "");
    EXPECT_EQ(talk(adb.port(), std::string(200000, '\xff')), "");
    EXPECT_EQ(talk(adb.port(), packet("OPEN", 1, 0, 7, std::string("shell:\0", 7))), "") << "not introduced";
    std::string damaged = hello;
    damaged.back() = 'x';
    EXPECT_EQ(talk(adb.port(), damaged), "") << "the sum does not fit";
    // Streams that nobody opened, services that nobody offers; the end shows that all before was answered.
    std::string odd = hello + packet("WRTE", 5, 99, 3, "abc") + packet("CLSE", 5, 99, 0, "") + packet("ABCD", 1, 1, 0, "");
    for (const std::string name : {"tcp:0", "tcp:99999", "tcp:", "nothing:", "", "reboot:"})
        odd += packet("OPEN", 3, 0, static_cast<uint32_t>(name.size()), name);
    std::string refusals;
    for (int i = 0; i < 6; ++i) refusals += packet("CLSE", 0, 3, 0, "");
    EXPECT_TRUE(talk(adb.port(), odd + too_long) == greeting + refusals);

    std::vector<vh::Fd> silent;
    for (int i = 0; i < 12; ++i) silent.push_back(connect_to(adb.port()));
    const Adb second(handset);
    EXPECT_EQ(second.address(), adb.address());
    EXPECT_EQ(second.run("shell echo second").output, "second\n");
    EXPECT_EQ(adb.run("shell echo first").output, "first\n");
    EXPECT_EQ(handset.state(), "running");
}
