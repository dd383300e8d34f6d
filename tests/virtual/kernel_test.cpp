// The attribute table and the hardware behind it, without a sandbox.
#include "kernel/device.h"

#include <cerrno>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

using namespace vh;

namespace {
const std::string BACKLIGHT = "/sys/class/leds/lcd-backlight/brightness";
const std::string VIBRATOR = "/sys/class/leds/vibrator/";
const std::string BATTERY = "/sys/class/power_supply/battery/";

class Kernel : public ::testing::Test {
protected:
    int write(const std::string &path, std::string_view bytes) { return tree.write(*tree.find(path), bytes); }
    std::string read(const std::string &path) {
        std::string out;
        const int error = tree.read(*tree.find(path), out);
        return error ? "error " + std::to_string(-error) : out;
    }
    Device device{Panel{}, 1};
    Tree &tree = device.tree();
};

bool comes_true(const std::function<bool()> &condition, int within_ms) {
    for (int i = 0; i < within_ms && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}
bool becomes(Tree &tree, const std::string &path, const std::string &value, int within_ms) {
    return comes_true([&] { return tree.get(path) == value; }, within_ms);
}
} // namespace

TEST_F(Kernel, ADriverRefusesWhatItCannotMean) {
    for (const char *bad : {"abc", "", "\n", "256", "-1", "1 2", "1x", "99999999999999999999", "10\n\n"})
        EXPECT_EQ(write(BACKLIGHT, bad), -EINVAL) << '"' << bad << '"';
    EXPECT_EQ(read(BACKLIGHT), "100\n") << "a refused value leaves the old one";
    EXPECT_EQ(write(BACKLIGHT, "007\n"), 0);
    EXPECT_EQ(read(BACKLIGHT), "7\n");
    EXPECT_EQ(write("/sys/power/autosleep", "men"), -EINVAL);
    EXPECT_EQ(write("/sys/power/autosleep", "mem"), 0);
    EXPECT_EQ(write("/proc/panel_reg", std::string(4097, 'x')), -EINVAL);
}

TEST_F(Kernel, OrderedFaults) {
    ASSERT_TRUE(tree.set_fault(BACKLIGHT, *parse_fault("eio")));
    EXPECT_EQ(write(BACKLIGHT, "1"), -EIO);
    EXPECT_EQ(read(BACKLIGHT), "error 5");
    ASSERT_TRUE(tree.set_fault(BACKLIGHT, *parse_fault("stale")));
    EXPECT_EQ(write(BACKLIGHT, "1"), 0);
    EXPECT_EQ(write(BACKLIGHT, "2"), 0);
    EXPECT_EQ(read(BACKLIGHT), "100\n");
    EXPECT_EQ(tree.get(BACKLIGHT), "2") << "the hardware took it";
    ASSERT_TRUE(tree.set_fault(BACKLIGHT, *parse_fault("delay=60")));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(read(BACKLIGHT), "2\n");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
    tree.reset();
    EXPECT_EQ(tree.find(BACKLIGHT)->fault.kind, Fault::Kind::delay) << "a boot mends nothing";
    for (const char *bad : {"", "EIO", "delay", "delay=", "delay=-1", "delay=5s"}) EXPECT_FALSE(parse_fault(bad)) << bad;
    EXPECT_FALSE(tree.set_fault("/sys/class", Fault{}));
}

TEST_F(Kernel, VibratorEndsAfterItsDurationUnlessRenewed) {
    write(VIBRATOR + "duration", "150");
    write(VIBRATOR + "activate", "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    write(VIBRATOR + "activate", "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(read(VIBRATOR + "activate"), "1\n");
    EXPECT_TRUE(becomes(tree, VIBRATOR + "activate", "0", 1000));
    write(VIBRATOR + "duration", "-1");
    write(VIBRATOR + "activate", "1");
    EXPECT_FALSE(becomes(tree, VIBRATOR + "activate", "0", 100)) << "without a limit until it is switched off";
}

TEST_F(Kernel, ChargerAndSwitchDecideTheBatteryStatus) {
    EXPECT_EQ(read(BATTERY + "status"), "Charging\n");
    write(BATTERY + "charging_enabled", "0");
    EXPECT_EQ(read(BATTERY + "status"), "Not charging\n");
    tree.set("/sys/class/power_supply/usb/online", "0");
    EXPECT_EQ(read(BATTERY + "status"), "Discharging\n");
    EXPECT_EQ(tree.get(BATTERY + "current_now").value_or("").front(), '-');
    write(BATTERY + "charging_enabled", "1");
    tree.set(BATTERY + "capacity", "100");
    tree.set("/sys/class/power_supply/wireless/online", "1");
    EXPECT_EQ(read(BATTERY + "status"), "Full\n");
}

TEST_F(Kernel, WakeLocksAreAListOfNames) {
    const std::string lock = "/sys/power/wake_lock", unlock = "/sys/power/wake_unlock";
    EXPECT_EQ(write(lock, "b\n"), 0);
    EXPECT_EQ(write(lock, "a"), 0);
    EXPECT_EQ(write(lock, "a"), 0);
    EXPECT_EQ(read(lock), "a b \n");
    for (const char *bad : {"", " ", "a x", "a 5 5", "a -1"}) EXPECT_EQ(write(lock, bad), -EINVAL) << '"' << bad << '"';
    EXPECT_EQ(write(unlock, "c"), -EINVAL);
    EXPECT_EQ(write(unlock, "b"), 0);
    EXPECT_EQ(read(lock), "a \n");
    EXPECT_EQ(read(unlock), "b \n");
    EXPECT_EQ(write(lock, "b 20000000"), 0);
    EXPECT_EQ(read(unlock), "\n");
    EXPECT_TRUE(becomes(tree, lock, "a ", 1000)) << "held for 20 ms";
    tree.reset();
    EXPECT_EQ(read(lock), "\n");
}

TEST(Suspend, BeginsWhenAskedAndEndsByACause) {
    Device device(Panel{}, 1000);
    Tree &tree = device.tree();
    std::atomic<int> freezes{0}, thaws{0};
    std::atomic<Suspend::Clock::time_point> key{};
    device.connect_freezer([&](bool freeze) { ++(freeze ? freezes : thaws); }, [&] { return key.load(); });
    const auto write = [&](const char *name, const char *value) {
        EXPECT_EQ(tree.write(*tree.find(std::string("/sys/power/") + name), value), 0);
    };
    const auto reaches = [](const std::atomic<int> &count, int value, int within_ms = 3000) {
        return comes_true([&] { return count >= value; }, within_ms) && count == value;
    };
    write("autosleep", "mem");
    write("autosleep", "off");
    EXPECT_FALSE(reaches(freezes, 1, 150)) << "taken back in time";
    write("autosleep", "mem");
    key = Suspend::Clock::now();
    EXPECT_FALSE(reaches(freezes, 1, 200)) << "a key has its time";
    ASSERT_TRUE(reaches(freezes, 1));
    EXPECT_FALSE(device.suspend().sleeps()) << "not all stand still yet";
    device.suspend().wake("key"); // there was one already
    ASSERT_TRUE(reaches(thaws, 1));
    device.suspend().frozen(); // too late
    EXPECT_FALSE(device.suspend().sleeps());
    EXPECT_TRUE(becomes(tree, "/sys/power/suspend_stats/fail", "1", 1000));
    ASSERT_TRUE(reaches(freezes, 2)) << "tried again after the active window";
    device.suspend().frozen();
    EXPECT_TRUE(device.suspend().sleeps());
    tree.set("/sys/class/power_supply/usb/online", "0");
    tree.set("/sys/class/power_supply/usb/online", "1");
    ASSERT_TRUE(reaches(thaws, 2)) << "plug and status, once";
    EXPECT_EQ(tree.get("/sys/kernel/wakeup_reasons/last_resume_reason"), "charger");
    write("autosleep", "off");
    write("state", "mem");
    ASSERT_TRUE(reaches(freezes, 3));
    device.suspend().frozen();
    tree.set("/sys/class/power_supply/battery/temp", "455");
    ASSERT_TRUE(reaches(thaws, 3));
    EXPECT_TRUE(becomes(tree, "/sys/power/state", "on", 1000));
    EXPECT_FALSE(reaches(freezes, 4, 700)) << "state asks for one suspend";
    EXPECT_EQ(tree.get("/sys/power/suspend_stats/success"), "2");
}

TEST(BatteryModel, FollowsLoadAndRespectsTheBench) {
    Device device(Panel{}, 1000); // an hour in 3.6 s
    Tree &tree = device.tree();
    const auto value = [&](const std::string &name) { return tree.get(BATTERY + name).value_or(""); };
    tree.set(BATTERY + "temp", "abc");
    tree.set(BATTERY + "voltage_now", "-7");
    EXPECT_TRUE(becomes(tree, BATTERY + "capacity", "82", 2000)) << "it charges";
    EXPECT_EQ(value("temp"), "abc");
    EXPECT_EQ(value("voltage_now"), "-7");
    tree.set("/sys/class/power_supply/usb/online", "0");
    EXPECT_TRUE(becomes(tree, BATTERY + "capacity", "81", 3000));
    EXPECT_EQ(value("voltage_now"), "-7") << "rubbish stays until it is set again";
    EXPECT_EQ(value("temp"), "abc");
    device.battery().set_asleep(true);
    EXPECT_EQ(value("current_now"), "-30000");
    tree.set(BATTERY + "capacity", "99");
    EXPECT_EQ(value("charge_counter"), "2970000");
    tree.set(BATTERY + "capacity", "-7");
    tree.set("/sys/class/power_supply/ac/online", "1");
    EXPECT_EQ(value("status"), "Charging");
    EXPECT_TRUE(becomes(tree, BATTERY + "status", "Full", 2000)) << "unseen behind the rubbish";
    EXPECT_EQ(value("capacity"), "-7");
    tree.set(BATTERY + "temp", "400");
    device.battery().apply({.temperature = 20.0, .charger = "none", .drain = 0.0});
    EXPECT_EQ(value("temp"), "200");
    EXPECT_EQ(value("status"), "Discharging");
    EXPECT_FALSE(becomes(tree, BATTERY + "temp", "199", 200)) << "it rests there";
    device.battery().set_asleep(false);
    EXPECT_TRUE(becomes(tree, BATTERY + "temp", "205", 3000)) << "the load warms it";
}
