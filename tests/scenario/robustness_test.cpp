// A whole handset whose hardware fails, whose PCs misbehave and whose operator is faster than it.
#include "scenario/raw_pc.h"
#include "scenario/runs.h"

#include <atomic>
#include <memory>
#include <random>
#include <thread>

namespace {
const std::string BACKLIGHT = "/sys/class/leds/lcd-backlight/brightness";
const std::string VIBRATOR = "/sys/class/leds/vibrator/";
const std::string SUPPLY = "/sys/class/power_supply/";
const std::string POWER_QUERY = "batteryMoudle testItem power";
const char *const BATTERY_NODES[] = {"battery/status", "battery/health", "battery/present", "battery/capacity", "battery/voltage_now",
                                     "battery/temp", "ac/online", "usb/online", "wireless/online"};

void fault_battery(Handset &handset, const std::string &kind) {
    for (const char *node : BATTERY_NODES) handset.fault(SUPPLY + node, kind);
}

// The program of the first start still runs.
void expect_never_ended(const Handset &handset) {
    EXPECT_EQ(handset.last(), "start");
    EXPECT_EQ(handset.state(), "running");
}

// Descriptors of the program and of the sandbox's first process, which carries the PC link; the program's memory in KiB.
struct Held {
    std::string descriptors;
    long memory = 0;
};
Held held(const Handset &handset) {
    const std::string out = handset.shell("p=$(toybox pidof mmi); ls /proc/$p/fd | wc -l; ls /proc/1/fd | wc -l;"
                                          "sed -n 's/VmRSS:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/$p/status").output;
    const size_t last = out.rfind('\n', out.size() - 2) + 1;
    return {out.substr(0, last), std::stol(out.substr(last))};
}
void wait_for_descriptors(const Handset &handset, const std::string &before) {
    std::string now;
    handset.wait_until("as many descriptors as before: " + before, [&] { return (now = held(handset).descriptors) == before; });
}
} // namespace

TEST(Robustness, AFailingAttributeFailsItsCommandAndIsToldOnce) {
    Handset handset;
    handset.wait_for_text("Device tests");
    struct Row {
        std::string attribute, fault, command, told;
    };
    const Row rows[] = {
        {BACKLIGHT, "eio", "LCDbacklightMoudle testItem 50", "write_file fwrite errno=Input/output error"},
        {BACKLIGHT, "stale", "LCDbacklightMoudle testItem 60", "write:60,read:50"},
        {VIBRATOR + "duration", "eio", "vibratorMoudle testItem open", "the vibrator did not start"},
        {VIBRATOR + "activate", "eio", "vibratorMoudle testItem open", "the vibrator did not start"},
        {"/proc/panel_reg", "eio", "HueRegMoudle testItem set 1,2", "write_file fwrite errno=Input/output error"},
        {"/proc/panel_type", "eio", "LCDType testItem read", "fread errno=Input/output error"},
        {SUPPLY + "battery/charging_enabled", "eio", "usbChargeMoudle testItem close", "Failed to Disable USB Charge"},
    };
    for (const Row &row : rows) {
        const size_t before = handset.log_count(row.told);
        handset.fault(row.attribute, row.fault);
        EXPECT_EQ(handset.at(row.command).status, 2) << row.command << " with " << row.fault << " at " << row.attribute;
        EXPECT_EQ(handset.log_count(row.told), before + 1) << row.told;
        handset.fault(row.attribute, "none");
        EXPECT_EQ(handset.at(row.command).status, 0) << row.command << " when " << row.attribute << " works again";
    }
    handset.fault(VIBRATOR + "activate", "eio");
    EXPECT_EQ(handset.at("vibratorMoudle testItem close").status, 2) << "a motor that cannot be stopped";
    handset.fault(VIBRATOR + "activate", "none");
    EXPECT_EQ(handset.at("vibratorMoudle testItem close").status, 0);
    EXPECT_EQ(handset.attr(VIBRATOR + "activate"), "0");
    handset.wait_for_text("Device tests");
    expect_never_ended(handset);
}

TEST(Robustness, ARunWithADeadMotorFailsAndMayBeRepeated) {
    Handset handset({.speed = runs::FAST, .settings = runs::settings()});
    handset.fault(VIBRATOR + "activate", "eio");
    runs::begin_run(handset);
    runs::pass_lcd(handset);
    handset.wait_for("the refusal", [](const vh::ScreenView &view) { return view.front_shows("Vibrator") && !view.soft_keys()[2].empty(); });
    handset.press("pass"); // which a test that did not run refuses
    handset.wait_ms(1500);
    EXPECT_EQ(handset.station(runs::VIBRATOR), Verdict::untested);
    handset.press("fail");
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(runs::VIBRATOR), Verdict::fail);
    EXPECT_EQ(handset.station(runs::OVERALL), Verdict::fail);
    handset.fault(VIBRATOR + "activate", "none");
    handset.tap_text("Automatic run");
    runs::pass_lcd(handset);
    runs::pass_vibrator(handset);
    runs::wait_for_keys(handset);
    EXPECT_EQ(handset.station(runs::VIBRATOR), Verdict::pass);

    handset.press("fail");
    runs::wait_for_list(handset);
    handset.shell("touch /data/pv_aux_lcd_test_flag"); // as if the main display had passed
    handset.fault("/proc/touchscreen/ts_main_ctrl", "eio");
    handset.tap_text("Automatic run");
    runs::wait_for_colour(handset);
    EXPECT_EQ(handset.log_count("the touch panel did not switch"), 1U);
    expect_never_ended(handset);
}

TEST(Robustness, AHangingBatteryStopsNobodyElse) {
    Handset handset;
    handset.wait_for_battery();
    fault_battery(handset, "delay=2500");
    handset.set_attr(SUPPLY + "battery/capacity", "55"); // the service begins to read
    vh::PcLink pc(handset.client());
    for (int i = 0; i < 5; ++i) { // all of it while one report still hangs
        EXPECT_EQ(pc.at(POWER_QUERY, patient(2000)).text, "*80") << "what was reported last";
        handset.tap_text("Device tests");
        handset.wait_for_text("Automatic run", 2000);
        handset.press("fail");
        handset.wait_for_text("Device tests", 2000);
    }
    EXPECT_EQ(pc.at(POWER_QUERY, patient(2000)).text, "*80");
    fault_battery(handset, "none");
    handset.wait_for_battery("*55");
    EXPECT_EQ(handset.log_count("answers slowly"), 1U) << "told once, not once per attribute";
    expect_never_ended(handset);
}

TEST(Robustness, ABatteryThatAnswersRubbishOrNothingIsToldOnce) {
    Handset handset({.speed = 5});
    handset.wait_for_battery();
    for (const char *name : {"status", "health", "present", "capacity", "voltage_now", "temp", "current_now", "cycle_count"})
        for (const std::string rubbish : {"", "99999999999999999999", "-7", "5 5", "\x01\xff", "abc"})
            handset.set_attr(SUPPLY + "battery/" + name, rubbish);
    const auto level_unknown = [&] { return handset.at(POWER_QUERY).status == 2; };
    handset.wait_until("the level to be unknown", level_unknown);
    const std::pair<const char *, const char *> sane[] = {
        {"status", "Full"}, {"health", "Good"}, {"present", "1"}, {"temp", "301"}, {"capacity", "77"}};
    for (const auto &[name, value] : sane) handset.set_attr(SUPPLY + "battery/" + name, value);
    handset.wait_for_battery("*77");
    fault_battery(handset, "eio");
    for (const char *state : {"0", "1", "0", "1"}) handset.set_attr(SUPPLY + "usb/online", state); // each a reason to read
    handset.wait_until("the level to be unknown", level_unknown);
    for (const char *command : {"charging", "temperature", "health"})
        EXPECT_EQ(handset.at(std::string("batteryMoudle testItem ") + command).status, 2) << command;
    EXPECT_EQ(handset.log_count("battery/capacity: Input/output error"), 1U);
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
    fault_battery(handset, "none");
    handset.set_attr(SUPPLY + "battery/capacity", "79");
    handset.wait_for_battery("*79");
    EXPECT_EQ(handset.at("batteryMoudle testItem health").status, 0);
    expect_never_ended(handset);
}

TEST(Robustness, TenThousandCommandsLeaveNothingBehind) {
    Handset handset({.props = {"persist.vxo.log.level=6"}}); // errors only: 181 lines per command are for developers
    handset.wait_for_battery();
    const std::string binary = "\x01\x80\xff%n%s\x1b[2J\t";
    const std::pair<std::string, std::string> kinds[] = {
        {POWER_QUERY, answer(0, "*80")},
        {"testinfoMoudle testItem 300,read", answer(0, "0")},
        {"no such thing", answer(2)},
        {binary, answer(2)},
        {"", answer(2, "empty command")},
        {std::string("power\0", 6) + POWER_QUERY, answer(2, "malformed")},
        {std::string(1500, 'x'), answer(2, "line too long")},
        {"FileOptMoudle testItem read /data/../etc/passwd", answer(0)},
        {"softwareMoudle testItem external", answer(0, "V1.0.0")},
        {"HueMoudle testItem set main,;id", answer(2)},
    };
    constexpr size_t ROUNDS = 1000, UNKNOWN = 2;
    std::string lines, expected;
    for (const auto &[line, reply] : kinds) {
        lines += line + "\n";
        expected += reply;
    }
    const std::string told = "command not found";
    const size_t told_before = handset.log_count(told);
    const RawPc pc(handset);
    Held before;
    for (size_t round = 1; round <= ROUNDS; ++round) {
        ASSERT_TRUE(pc.send(lines));
        ASSERT_EQ(pc.receive(expected.size()), expected) << "round " << round;
        if (round == ROUNDS / 10) before = held(handset);
    }
    const Held after = held(handset);
    EXPECT_EQ(after.descriptors, before.descriptors);
    if (patient(1) == 1) { // a sanitizer keeps what was freed
        EXPECT_LT(after.memory, before.memory + 1024) << "KiB; it was " << before.memory;
    }
    EXPECT_EQ(handset.log_count(told), told_before + ROUNDS * UNKNOWN) << "every line of the log has come";
    expect_never_ended(handset);
}

TEST(Robustness, FiftyClientsDoNotHarmEachOther) {
    Handset handset;
    handset.wait_for_battery();
    const std::string big(3000, 'b');
    handset.shell("head -c 3000 /dev/zero | tr '\\0' b > /data/big");
    const std::string read_big = "FileOptMoudle testItem read /data/big\n";
    const std::string before = held(handset).descriptors;
    {
        { RawPc(handset).send("vibratorMoudle testItem op"); } // leaves in mid-command
        { // and one in the middle of its answers
            const RawPc leaver(handset);
            for (int i = 0; i < 20; ++i) leaver.send_some(read_big);
            EXPECT_EQ(leaver.receive(10), answer(0, big).substr(0, 10));
        }
        const RawPc half(handset); // never ends its line
        ASSERT_TRUE(half.send("vibratorMoudle testItem op"));
        std::vector<std::unique_ptr<RawPc>> idle; // connected, that is all
        for (int i = 0; i < 5; ++i) idle.push_back(std::make_unique<RawPc>(handset));
        const RawPc silent(handset); // asks and never reads
        for (int i = 0; i < 100; ++i) silent.send_some(read_big);

        constexpr size_t CLIENTS = 50, ROUNDS = 4;
        std::array<std::string, CLIENTS> got, expected;
        std::vector<std::thread> threads;
        for (size_t i = 0; i < CLIENTS; ++i)
            threads.emplace_back([&, i] {
                const std::string file = "/data/c" + std::to_string(i);
                std::string lines;
                for (size_t round = 0; round < ROUNDS; ++round) {
                    const std::string text = std::to_string(i) + "." + std::to_string(round);
                    lines += "FileOptMoudle testItem write " + file + "," + text + "\nFileOptMoudle testItem read " + file + "\n" + read_big;
                    expected[i] += answer(0) + answer(0, text) + answer(0, big);
                }
                got[i] = RawPc(handset).converse(lines);
            });
        for (std::thread &thread : threads) thread.join();
        for (size_t i = 0; i < CLIENTS; ++i) EXPECT_TRUE(got[i] == expected[i]) << "client " << i << ": " << got[i].substr(0, 20) << " ... " << got[i].substr(got[i].size() - 40);
        EXPECT_EQ(half.converse("en\nvibratorMoudle testItem close\n"), answer(0) + answer(0)) << "it may still go on";
    }
    wait_for_descriptors(handset, before);
    expect_never_ended(handset);
}

TEST(Robustness, AProgramThatDiesLetsItsClientsGo) {
    Handset handset;
    handset.wait_for_battery();
    const std::string before = held(handset).descriptors;
    {
        std::vector<std::unique_ptr<RawPc>> clients;
        for (int i = 0; i < 8; ++i) clients.push_back(std::make_unique<RawPc>(handset));
        ASSERT_TRUE(clients[0]->send("batteryMoudle testItem po"));
        for (const auto &client : clients) client->send("testinfoMoudle testItem 300,read\n");
        EXPECT_EQ(clients[7]->receive(answer(0, "0").size()), answer(0, "0"));
        handset.kill_program();
        for (const auto &client : clients) {
            const std::string rest = client->receive(1 << 20); // until it is closed
            EXPECT_LE(rest.size(), answer(0, "0").size()) << rest;
        }
    }
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.last(), "crash");
    handset.wait_for_pc();
    handset.wait_for_battery();
    wait_for_descriptors(handset, before);
}
