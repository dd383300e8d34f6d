// Whole handsets, with a script in place of the program.
#include "booted.h"

#include "common/fd.h"
#include "support/files.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;
using booted::eventually;
using booted::Handset;
using nlohmann::json;

namespace {
const std::string BACKLIGHT = "/sys/class/leds/lcd-backlight/brightness";
const char *const IDLE = "while :; do sleep 1000; done";

// Sends all, ends its side, reads to the end.
std::string through_pc_link(const std::string &socket, const std::string &bytes) {
    const vh::Fd fd(vh::connect_unix(socket));
    if (!fd) return "not connected";
    std::thread writer([&] {
        for (size_t sent = 0; sent < bytes.size();) {
            const ssize_t n = send(fd.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) break;
            sent += static_cast<size_t>(n);
        }
        shutdown(fd.get(), SHUT_WR);
    });
    std::string back;
    char buffer[65536];
    for (ssize_t n; (n = read(fd.get(), buffer, sizeof buffer)) > 0;) back.append(buffer, static_cast<size_t>(n));
    writer.join();
    return back;
}
} // namespace

TEST(Boot, RebootStartsAgainAndKeepsWhatLasts) {
    REQUIRE_HOST();
    Handset handset;
    handset.options.props = {{"persist.test.given", "1"}};
    ASSERT_TRUE(handset.boot("echo boot >> /data/boots; echo 5 > " + BACKLIGHT +
                             "; echo x > /dev/__vxo_props/persist.test.kept; echo x > /dev/__vxo_props/test.gone;"
                             "echo tmp > /tmp/gone; [ -e /data/first ] || { touch /data/first; sleep 0.5; probe reboot; };" + IDLE));
    handset.ask({{"op", "attr"}, {"path", "/sys/class/power_supply/battery/capacity"}, {"value", "33"}});
    ASSERT_TRUE(handset.waits_for("boots", 2));
    ASSERT_TRUE(eventually([&] { return files::get(handset.paths.data() + "/boots") == "boot\nboot\n"; }));
    EXPECT_EQ(handset.ask({{"op", "status"}}).at("last"), "reboot");
    EXPECT_EQ(handset.sh("cat /sys/class/power_supply/battery/capacity"), "33") << "the cell is not charged by a reboot";
    EXPECT_TRUE(eventually([&] { return files::get(handset.paths.props() + "/test.gone") == "x\n"; })) << "set by the second boot";
    EXPECT_EQ(handset.sh("cat /dev/__vxo_props/ro.bootmode /dev/__vxo_props/persist.test.kept"), "normalx");
    handset.stop();
    ASSERT_TRUE(handset.boot(IDLE));
    EXPECT_EQ(handset.sh("ls /dev/__vxo_props /tmp; cat " + BACKLIGHT),
              "/dev/__vxo_props:\npersist.test.given\npersist.test.kept\nro.bootmode\nro.product.locale\n\n/tmp:\n100");
    EXPECT_NE(files::get(handset.paths.run() + "/launcher.log").find("handset test: restarted by reboot"), std::string::npos);
}

TEST(Boot, PowerOffStaysOffUntilBooted) {
    REQUIRE_HOST();
    Handset handset;
    ASSERT_TRUE(handset.boot("sleep 0.3; [ -e /data/off ] || { touch /data/off; probe power-off; };" + std::string(IDLE)));
    ASSERT_TRUE(handset.waits_for("state", "off"));
    EXPECT_EQ(handset.ask({{"op", "status"}}).at("last"), "power-off");
    EXPECT_FALSE(handset.ask({{"op", "exec"}, {"argv", {"true"}}}).at("ok"));
    EXPECT_FALSE(handset.ask({{"op", "reboot"}}).at("ok"));
    EXPECT_FALSE(fs::exists(handset.paths.pc_socket()));
    EXPECT_TRUE(handset.ask({{"op", "boot"}}).at("ok"));
    EXPECT_TRUE(handset.waits_for("state", "running"));
    EXPECT_FALSE(handset.ask({{"op", "boot"}}).at("ok")) << "it is on";
    EXPECT_NE(files::get(handset.paths.run() + "/launcher.log").find("powered off"), std::string::npos);
}

TEST(Boot, ALoopOfRebootsIsGivenUp) {
    REQUIRE_HOST();
    Handset handset;
    handset.boot("probe reboot");
    ASSERT_TRUE(handset.waits_for("last", "boot-loop"));
    EXPECT_EQ(handset.ask({{"op", "status"}}).at("boots"), 10);
}

TEST(Boot, OperatorsRebootAndOnceAndStatuses) {
    REQUIRE_HOST();
    Handset handset;
    handset.options.speed = 20;
    ASSERT_TRUE(handset.boot(IDLE));
    const std::string clock = handset.sh("cat /dev/__vxo_props/ro.vxo.clock");
    EXPECT_EQ(clock.substr(0, 3), "20 ");
    EXPECT_TRUE(handset.ask({{"op", "reboot"}}).at("ok"));
    EXPECT_TRUE(handset.waits_for("boots", 2));
    ASSERT_TRUE(handset.waits_for("state", "running"));
    EXPECT_EQ(handset.sh("cat /dev/__vxo_props/ro.vxo.clock"), clock) << "scaled time begins once";
    handset.stop();
    handset.options.once = true;
    for (const auto &[act, status] : {std::pair{"reboot", 129}, std::pair{"power-off", 130}}) {
        handset.options.program = {"/app/bin/vh_probe", act};
        EXPECT_EQ(vh::launch(handset.paths, handset.options, [](const std::string &) {}), status) << act;
    }
}

TEST(SideBySide, TwoHandsetsDoNotMeetAndEachIsLaunchedOnce) {
    REQUIRE_HOST();
    Handset one("one"), two("two");
    ASSERT_TRUE(one.boot("echo 11 > " + BACKLIGHT + ";toybox ifconfig lo up; probe echo 3535"));
    ASSERT_TRUE(two.boot("echo 22 > " + BACKLIGHT + ";" + IDLE));
    EXPECT_TRUE(eventually([&] { return one.sh("cat " + BACKLIGHT) == "11" && two.sh("cat " + BACKLIGHT) == "22"; }));
    EXPECT_TRUE(eventually([&] { return through_pc_link(one.paths.pc_socket(), "a") == "a"; }));
    EXPECT_EQ(through_pc_link(two.paths.pc_socket(), "a"), "") << "nobody listens there";
    EXPECT_FALSE(one.boot(IDLE));
    ASSERT_FALSE(one.lines.empty());
    EXPECT_NE(one.lines.back().find("running already"), std::string::npos);
    EXPECT_FALSE(vh::wipe_state(one.paths));
    EXPECT_EQ(one.sh("cat " + BACKLIGHT), "11");
}

TEST(End, NothingOutlivesAKilledLauncher) {
    REQUIRE_HOST();
    Handset handset;
    ASSERT_TRUE(handset.boot(IDLE));
    const json status = handset.ask({{"op", "status"}});
    const pid_t init = status.at("init_pid"), program = status.at("program_pid");
    ASSERT_GT(init, 1);
    ASSERT_GT(program, 1);
    ASSERT_EQ(kill(handset.launcher_pid(), SIGKILL), 0);
    EXPECT_TRUE(eventually([&] { return kill(init, 0) != 0 && kill(program, 0) != 0; }));
    EXPECT_TRUE(eventually([&] { return !vh::is_running(handset.paths); }));
    EXPECT_TRUE(handset.boot(IDLE)) << "and the state can be booted again";
}

TEST(System, RemountedItKeepsChangesUntilANewConfigurationComes) {
    REQUIRE_HOST();
    Handset handset;
    const std::string config = handset.paths.root + "/my.ini";
    files::put(config, "[A]\nkey=中文\n");
    handset.options.config = config;
    ASSERT_TRUE(handset.boot(IDLE));
    EXPECT_EQ(handset.sh("grep -c by-name/system.*overlay.ro /proc/mounts; (echo x >/etc/new) 2>&- || echo refused"), "1\nrefused");
    EXPECT_EQ(files::get(handset.paths.etc() + "/tki_config.ini"), "[A]\r\nkey=\xd6\xd0\xce\xc4\r\n");
    EXPECT_EQ(handset.sh("probe block-rw /dev/block/bootdevice/by-name/system && mount -o remount,rw /system &&"
                         "sed -i s/key/kex/ /etc/tki_config.ini && echo done"), "done");
    handset.ask({{"op", "fault"}, {"path", "/dev/system"}, {"fault", "eio"}});
    EXPECT_NE(handset.sh("probe block-rw /dev/block/bootdevice/by-name/system || echo refused").find("refused"), std::string::npos);
    handset.stop();
    ASSERT_TRUE(handset.boot(IDLE));
    EXPECT_EQ(handset.sh("grep -c kex /etc/tki_config.ini"), "1") << "the handset's own change survives";
    handset.stop();
    files::put(config, "[A]\nnew=1\n");
    ASSERT_TRUE(handset.boot(IDLE));
    EXPECT_EQ(handset.sh("cat /etc/tki_config.ini"), "[A]\r\nnew=1\r");
    EXPECT_EQ(handset.sh("ls -L /system/bin/mmi /system/bin/sh /system/bin/toybox /system/etc/passwd | wc -l"), "4");
}

TEST(PcLink, CarriesManyLargeStreamsAndHalfCloses) {
    REQUIRE_HOST();
    Handset handset;
    handset.options.props = {{"persist.vxo.at.port", "4711"}};
    ASSERT_TRUE(handset.boot("toybox ifconfig lo up; probe echo 4711"));
    ASSERT_TRUE(eventually([&] { return through_pc_link(handset.paths.pc_socket(), "a") == "a"; }));
    std::vector<std::thread> clients;
    std::atomic<int> whole{0};
    for (int i = 0; i < 8; ++i)
        clients.emplace_back([&, i] {
            const std::string bytes(3000000 + static_cast<size_t>(i), static_cast<char>('a' + i));
            whole += through_pc_link(handset.paths.pc_socket(), bytes) == bytes;
        });
    // One that never reads, and one that leaves in the middle, hold up nobody.
    const vh::Fd silent(vh::connect_unix(handset.paths.pc_socket()));
    const std::string flood(4000000, 'x');
    send(silent.get(), flood.data(), flood.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    { const vh::Fd leaver(vh::connect_unix(handset.paths.pc_socket())); send(leaver.get(), "x", 1, MSG_NOSIGNAL); }
    for (std::thread &client : clients) client.join();
    EXPECT_EQ(whole, 8);
}

TEST(Inside, CommandsAndAttributesOfARunningHandset) {
    REQUIRE_HOST();
    Handset handset;
    handset.options.width = 1080;
    handset.options.height = 2400;
    ASSERT_TRUE(handset.boot(IDLE));
    const json reply = handset.ask({{"op", "exec"}, {"argv", {"sh", "-c", "cat; echo e >&2; exit 3"}}, {"stdin", "in\n"}});
    EXPECT_EQ(reply, json({{"ok", true}, {"status", 3}, {"output", "in\ne\n"}}));
    EXPECT_EQ(handset.ask({{"op", "exec"}, {"argv", {"no-such-program"}}}).at("status"), 127);
    EXPECT_EQ(handset.sh("cd /sys/class/graphics/fb0; cat virtual_size stride; wc -c < /dev/graphics/fb0"),
              "1080,4800\n4352\n20893696");
    std::thread hardware([&] {
        eventually([&] { return files::get(handset.paths.data() + "/poll") == "waiting\n"; });
        handset.ask({{"op", "attr"}, {"path", "/sys/class/power_supply/battery/temp"}, {"value", "451"}});
    });
    EXPECT_EQ(handset.sh("probe poll /sys/class/power_supply/battery/temp > /data/poll; echo $?; cat /data/poll"), "0\nwaiting\n451");
    hardware.join();
    std::thread fitter([&] {
        eventually([&] { return files::get(handset.paths.data() + "/gone") == "waiting\n"; });
        handset.ask({{"op", "fit"}, {"parts", json::array({"hall"})}, {"fitted", false}});
    });
    EXPECT_EQ(handset.sh("cd /sys/class/switch/hall; probe poll state > /data/gone; echo $?; cat /data/gone; ls /sys/class/switch"),
              "3\nwaiting\nh2w") << "who waits for a part hears that it is gone";
    fitter.join();
    for (const json &bad : {json({{"op", "x"}}), json({{"op", "attr"}, {"path", "/sys/none"}}), json("text"), json({{"op", "exec"}, {"argv", json::array()}}),
                           json({{"op", "fault"}, {"path", BACKLIGHT}, {"fault", "x"}})})
        EXPECT_EQ(handset.ask(bad).at("ok"), false) << bad;
    EXPECT_EQ(handset.sh("cat /proc/self/comm; ls -d /proc/1 /proc/self /proc/touchscreen; ps -e | grep -c vinit"),
              "cat\n/proc/1\n/proc/self\n/proc/touchscreen\n1");
}

TEST(Inside, AShellLeavesWithItsClient) {
    REQUIRE_HOST();
    Handset handset;
    ASSERT_TRUE(handset.boot(IDLE));
    {
        const vh::Fd client(vh::connect_unix(handset.paths.control_socket()));
        const std::string text = json({{"op", "exec"}, {"argv", {"sleep", "4321"}}}).dump() + "\n";
        send(client.get(), text.data(), text.size(), 0);
        ASSERT_TRUE(eventually([&] { return handset.sh("ps -eo args | grep -c '^sleep 4321'") == "1"; }));
    }
    EXPECT_TRUE(eventually([&] { return handset.sh("ps -eo args | grep -c '^sleep 4321'") == "0"; }));
}

TEST(State, NamesPathsAndOptions) {
    for (const char *bad : {"", ".", "../x", "a/b", "a b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"})
        EXPECT_THROW(vh::state_of(bad), std::invalid_argument) << bad;
    Handset handset(std::string(20, 'n'));
    const std::string folder = handset.paths.root + "/" + std::string(120, 'd');
    fs::create_directory(folder);
    const vh::Fd listener(vh::listen_unix(folder + "/s", 1));
    EXPECT_TRUE(listener);
    EXPECT_TRUE(vh::Fd(vh::connect_unix(folder + "/s")));
    handset.options.speed = 2.5;
    handset.options.env = {{"A", "b"}};
    vh::save_options(handset.paths, handset.options);
    EXPECT_EQ(json(vh::load_options(handset.paths)), json(handset.options));
    files::put(handset.paths.options(), "{ broken");
    EXPECT_EQ(vh::load_options(handset.paths).width, 720);
    handset.options.width = 1;
    EXPECT_FALSE(handset.boot(IDLE));
}

TEST(InstallText, ConvertsUtf8AndLeavesTheRest) {
    Handset handset;
    const std::string from = handset.paths.root + "/from", to = handset.paths.root + "/to";
    for (const auto &[text, expected] : {std::pair<std::string, std::string>{"a=中\nb\r\n\n", "a=\xd6\xd0\r\nb\r\n\r\n"},
                                         {"gbk \xd6\xd0\n", "gbk \xd6\xd0\n"},
                                         {"unknown \xf0\x9f\x98\x80\n", "unknown \xf0\x9f\x98\x80\n"},
                                         {"", ""}}) {
        files::put(from, text);
        vh::install_text_gbk(from, to);
        EXPECT_EQ(files::get(to), expected);
    }
    EXPECT_THROW(vh::install_text_gbk(from + "x", to), std::runtime_error);
}
