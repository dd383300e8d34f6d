// The battery service over attributes that are ordinary files: they never signal, so the period is made short.
#include "support.h"

#include <atomic>
#include <mutex>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <tp_clock.h>
#include <vector>
#include <vxo_vcoredevice.h>

using namespace hal_test;

namespace {
const std::filesystem::path SUPPLY = "/sys/class/power_supply";

struct Api {
    template <typename F> static F of(const char *name) { return bind<F>(core_device(), (std::string("TKI_API_BatteryService_") + name).c_str()); }
    TKI_API_BatteryService_register_Observer_t add = of<TKI_API_BatteryService_register_Observer_t>("register_Observer");
    TKI_API_BatteryService_unregister_Observer_t remove = of<TKI_API_BatteryService_unregister_Observer_t>("unregister_Observer");
    TKI_API_BatteryService_StartService_t start = of<TKI_API_BatteryService_StartService_t>("StartService");
    TKI_API_BatteryService_StopService_t stop = of<TKI_API_BatteryService_StopService_t>("StopService");
    TKI_API_BatteryService_ChargingStatusSet_t charge = of<TKI_API_BatteryService_ChargingStatusSet_t>("ChargingStatusSet");
} const api;

struct Seen {
    std::vector<int> plugged, values; // values in the order of the contract
    int status() const { return values[0]; }
    int level() const { return values[3]; }
};
std::mutex g_lock;
Seen g_seen;
std::atomic<int> g_reports{0}, g_volt_reports{0}, g_inside{0};
std::atomic<bool> g_hold{false};

void temperature(const uint8_t *plugged, int status, int health, int present, int level, int voltage, int temp, int current,
                 int charge, int cycles, int max_current) {
    const std::lock_guard guard(g_lock);
    g_seen = {{plugged, plugged + 3}, {status, health, present, level, voltage, temp, current, charge, cycles, max_current}};
    ++g_reports;
}
void volt_once(int, int, int, int, int) {
    ++g_volt_reports;
    EXPECT_EQ(api.remove(TKI_OBSERVER_VOLT, reinterpret_cast<tki_observer>(volt_once)), 0);
}
void volt_held(int, int, int, int, int) {
    ++g_inside;
    ++g_volt_reports;
    while (g_hold) std::this_thread::yield();
    --g_inside;
}
void volt_stops(int, int, int, int, int) {
    ++g_volt_reports;
    api.stop();
    if (g_volt_reports == 1) api.start();
}
const auto TEMPERATURE = reinterpret_cast<tki_observer>(temperature);
int add_volt(void (*cb)(int, int, int, int, int)) { return api.add(TKI_OBSERVER_VOLT, reinterpret_cast<tki_observer>(cb)); }
int remove_volt(void (*cb)(int, int, int, int, int)) { return api.remove(TKI_OBSERVER_VOLT, reinterpret_cast<tki_observer>(cb)); }

void normal_battery() {
    for (const char *charger : {"ac", "usb", "wireless"}) put(SUPPLY / charger / "online", "0\n");
    const std::pair<const char *, const char *> VALUES[] = {
        {"status", "Discharging\n"}, {"health", "Good\n"}, {"present", "1\n"}, {"capacity", "77\n"}, {"voltage_now", "3987654\n"},
        {"temp", "-35\n"}, {"current_now", "-412000\n"}, {"charge_counter", "2500000\n"}, {"cycle_count", "12\n"},
        {"constant_charge_current_max", "3000000\n"}, {"charging_enabled", "1\n"}};
    for (const auto &[name, value] : VALUES) put(SUPPLY / "battery" / name, value);
}
Seen seen() {
    const std::lock_guard guard(g_lock);
    return g_seen;
}
bool next_reports(int count) {
    const int until = g_reports + count;
    return eventually([&] { return g_reports >= until; });
}

class Battery : public testing::Test {
protected:
    void SetUp() override {
        normal_battery();
        g_reports = g_volt_reports = 0;
    }
    void TearDown() override {
        EXPECT_EQ(api.stop(), 0);
        api.remove(TKI_OBSERVER_TEMPERATURE, TEMPERATURE);
        tp_clock_set_scale(1);
    }
};
} // namespace

TEST_F(Battery, ReportsAtOnceInUnitsOfTheContract) {
    ASSERT_EQ(api.start(), 0);
    EXPECT_EQ(api.start(), 0);
    ASSERT_EQ(api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE), 0);
    ASSERT_TRUE(eventually([] { return g_reports > 0; }, std::chrono::seconds(5)));
    EXPECT_EQ(seen().values, (std::vector<int>{TKI_BATTERY_STATUS_DISCHARGING, TKI_BATTERY_HEALTH_GOOD, 1, 77, 3987, -35, -412, 2500, 12, 3000}));
    EXPECT_EQ(api.stop(), 0);
    const int reports = g_reports;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(g_reports, reports);
    EXPECT_LE(reports, 2) << "woken without a reason";
}

TEST_F(Battery, GarbageIsZeroAndLoggedOncePerKind) {
    tp_clock_set_scale(500);
    const LogCapture log;
    ASSERT_EQ(api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE), 0);
    ASSERT_EQ(api.start(), 0);
    ASSERT_TRUE(next_reports(1));
    const auto battery = SUPPLY / "battery";
    put(battery / "capacity", "abc");
    put(battery / "temp", "");
    put(battery / "voltage_now", "99999999999999999999999999");
    put(battery / "status", "Exploding");
    put(battery / "current_now", std::string("\0\0\0", 3));
    put(SUPPLY / "usb/online", "-1");
    put(battery / "charge_counter", std::string(100000, '7'));
    ASSERT_TRUE(next_reports(5));
    EXPECT_EQ(seen().values, (std::vector<int>{0, TKI_BATTERY_HEALTH_GOOD, 1, 0, 0, 0, 0, 0, 12, 3000})) << "one spoils no other";
    EXPECT_EQ(seen().plugged[1], 0);
    EXPECT_EQ(log.count("battery/capacity: not understood: abc"), 1u);
    EXPECT_EQ(log.count("battery/temp: empty"), 1u);
    put(battery / "capacity", "101");
    put(SUPPLY / "usb/online", "2");
    ASSERT_TRUE(next_reports(3));
    EXPECT_EQ(seen().level(), 0);
    EXPECT_EQ(seen().plugged[1], 1);
    EXPECT_EQ(log.count("battery/capacity: not understood"), 1u);
    put(battery / "capacity", "100");
    ASSERT_TRUE(next_reports(3));
    EXPECT_EQ(seen().level(), 100);
}

TEST_F(Battery, AttributesMayComeAndGo) {
    tp_clock_set_scale(500);
    std::filesystem::remove_all(SUPPLY);
    std::filesystem::create_directories(SUPPLY / "battery/capacity"); // opens, but reading it is an error
    ASSERT_EQ(api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE), 0);
    ASSERT_EQ(api.start(), 0);
    ASSERT_TRUE(next_reports(3));
    EXPECT_EQ(seen().status(), TKI_BATTERY_STATUS_NONE);
    EXPECT_EQ(seen().level(), 0);
    std::filesystem::remove_all(SUPPLY);
    normal_battery();
    ASSERT_TRUE(next_reports(3));
    EXPECT_EQ(seen().level(), 77);
    EXPECT_EQ(api.charge(0), 1);
    EXPECT_EQ(content(SUPPLY / "battery/charging_enabled"), "0");
    EXPECT_EQ(api.charge(1), 1);
    EXPECT_EQ(content(SUPPLY / "battery/charging_enabled"), "1");
    EXPECT_LE(api.charge(2), 0);
    std::filesystem::remove(SUPPLY / "battery/charging_enabled");
    EXPECT_LE(api.charge(1), 0);
}

// The table of mounts is a kernel file that signals as a changed attribute does.
TEST_F(Battery, AKernelSignalReportsAChangeWithoutWaitingForThePeriod) {
    const auto health = SUPPLY / "battery/health";
    std::filesystem::remove(health);
    std::filesystem::create_symlink("/proc/self/mounts", health);
    std::filesystem::create_directories("/data/mnt");
    ASSERT_EQ(api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE), 0);
    ASSERT_EQ(api.start(), 0);
    ASSERT_TRUE(eventually([] { return g_reports > 0; }));
    const int before = g_reports;
    for (int i = 0; i < 3; ++i) { // signals without news report nothing
        ASSERT_EQ(mount("none", "/data/mnt", "tmpfs", 0, nullptr), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        umount("/data/mnt");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(g_reports, before);
    put(SUPPLY / "battery/capacity", "31");
    ASSERT_EQ(mount("none", "/data/mnt", "tmpfs", 0, nullptr), 0);
    EXPECT_TRUE(eventually([] { return seen().level() == 31; }, std::chrono::seconds(5)));
    umount("/data/mnt");

    put(SUPPLY / "usb/online", "1"); // a driver that only sends a device event
    const int events = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl everybody{};
    everybody.nl_family = AF_NETLINK, everybody.nl_groups = 1;
    const std::string event("change@/devices/usb\0SUBSYSTEM=power_supply", 42);
    EXPECT_EQ(sendto(events, event.data(), event.size(), 0, reinterpret_cast<sockaddr *>(&everybody), sizeof everybody), 42);
    EXPECT_TRUE(eventually([] { return seen().plugged[1] == 1; }, std::chrono::seconds(5)));
    close(events);
    EXPECT_EQ(api.stop(), 0);
    std::filesystem::remove(health);
}

TEST_F(Battery, ObserversMayLeaveFromInsideAndOutside) {
    tp_clock_set_scale(500);
    EXPECT_EQ(api.add("NOSUCHKIND", TEMPERATURE), -1);
    EXPECT_EQ(api.add(nullptr, TEMPERATURE), -1);
    EXPECT_EQ(api.add(TKI_OBSERVER_VOLT, nullptr), -1);
    EXPECT_EQ(remove_volt(volt_once), -1);
    ASSERT_EQ(api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE), 0);
    ASSERT_EQ(add_volt(volt_once), 0);
    ASSERT_EQ(add_volt(volt_once), 0) << "the second one changes nothing";
    ASSERT_EQ(api.start(), 0);
    ASSERT_TRUE(next_reports(4));
    EXPECT_EQ(g_volt_reports, 1);

    tp_clock_set_scale(1);
    g_hold = true;
    ASSERT_EQ(add_volt(volt_held), 0);
    ASSERT_TRUE(eventually([] { return g_inside == 1; }));
    std::thread release([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        g_hold = false;
    });
    EXPECT_EQ(remove_volt(volt_held), 0);
    EXPECT_EQ(g_inside, 0) << "the running call was not waited for";
    release.join();
    g_hold = true; // a call that does not end must not keep the one who leaves for ever
    ASSERT_EQ(add_volt(volt_held), 0);
    ASSERT_TRUE(eventually([] { return g_inside == 1; }));
    EXPECT_EQ(remove_volt(volt_held), 0);
    EXPECT_EQ(g_inside, 1);
    g_hold = false;
}

TEST_F(Battery, StopsAndStartsFromInsideAReport) {
    ASSERT_EQ(add_volt(volt_stops), 0);
    ASSERT_EQ(api.start(), 0);
    EXPECT_TRUE(eventually([] { return g_volt_reports == 2; })) << "started again from inside";
    EXPECT_EQ(api.stop(), 0);
    EXPECT_EQ(g_volt_reports, 2);
    EXPECT_EQ(remove_volt(volt_stops), 0);
}

// /proc has no room for another node, so this one runs in a mount namespace of its own.
namespace {
std::atomic<int> g_touch_status{-1}, g_touch_reports{0};
void touch_panel(int status) {
    g_touch_status = status;
    ++g_touch_reports;
}
int watch_touch_panel() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/proc", "tmpfs", 0, nullptr) != 0) return 1;
    const char *node = "/proc/touchscreen/ts_status";
    tp_clock_set_scale(500);
    put(node, "2\n");
    api.add(TKI_OBSERVER_TP, reinterpret_cast<tki_observer>(touch_panel));
    api.add(TKI_OBSERVER_TEMPERATURE, TEMPERATURE);
    api.start();
    struct Row {
        const char *text;
        int status, reports;
    };
    int failed_row = 2;
    for (const Row &row : {Row{"2\n", -1, 0}, {"3\n", 3, 1}, {"0\n", 0, 2}, {"nonsense\n", 0, 2}, {"0\n", 0, 2}}) {
        put(node, row.text);
        if (!next_reports(3) || g_touch_status != row.status || g_touch_reports != row.reports) return failed_row;
        ++failed_row;
    }
    return 0;
}
} // namespace

TEST_F(Battery, TouchPanelFaultsAreReportedOnce) {
    if (getenv("VXO_NO_NAMESPACES")) GTEST_SKIP() << "needs a mount namespace of its own";
    const pid_t child = fork();
    if (child == 0) _exit(watch_touch_panel());
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
