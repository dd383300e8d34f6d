// Everything that can be fitted to a handset, and what its nodes tell, without a sandbox.
#include "kernel/device.h"

#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace vh;
using Words = std::vector<std::string>;

namespace {
class HardwareTest : public ::testing::Test {
protected:
    int write(const std::string &path, const std::string &bytes) {
        Node *node = tree.find(path);
        return node ? tree.write(*node, bytes) : -ENOENT;
    }
    std::string read(const std::string &path) {
        const Node *node = tree.find(path);
        std::string out;
        if (!node) return "none";
        if (const int error = tree.read(*tree.find(path), out)) return "error " + std::to_string(-error);
        return out.substr(0, out.size() - 1);
    }
    // As a driver's user computes it, in the kernel's unit; the mean of some readings.
    double measured(const std::string &folder, const std::string &channel, const std::string &axis = "") {
        const auto constant = [&](const char *what, double otherwise) {
            const std::string text = read(folder + "in_" + channel + "_" + what);
            return text == "none" ? otherwise : std::stod(text);
        };
        double sum = 0;
        for (int i = 0; i < 50; ++i) sum += std::stod(read(folder + "in_" + channel + "_" + axis + "raw"));
        return (sum / 50 + constant("offset", 0)) * constant("scale", 1);
    }
    Device device{Panel{}, 100};
    Tree &tree = device.tree();
    Hardware &hardware = device.hardware();
};
} // namespace

TEST_F(HardwareTest, APartThatIsNotFittedHasNoNodes) {
    Words gone;
    tree.on_gone([&](const std::string &path) { gone.push_back(path); });
    for (const Part &part : hardware_parts()) {
        ASSERT_FALSE(part.nodes.empty()) << part.name;
        for (const std::string path : part.nodes) {
            if (path == USB_DEVICE) hardware.stimulate("usbhost", {"1"});
            const bool folder = tree.is_folder(path);
            ASSERT_TRUE(folder || tree.find(path)) << path;
            const std::string file = folder ? path + "/" + tree.children(path).front() : path;
            Node *open = tree.find(file); // a program has it open; a folder in it is opened by nobody
            const unsigned before = open ? open->changes.load() : 0;
            gone.clear();
            hardware.fit(part.name, false);
            std::string out;
            EXPECT_FALSE(tree.find(path) || tree.is_folder(path)) << path;
            EXPECT_FALSE(gone.empty()) << path << ": the kernel remembers names";
            if (open) {
                EXPECT_EQ(tree.read(*open, out), -ENODEV);
                EXPECT_GT(open->changes, before) << file << ": who polls it wakes up";
            }
            EXPECT_EQ(tree.write(*tree.find("/proc/panel_reg"), "x"), 0) << "others stay";
            hardware.fit(part.name, true);
            EXPECT_EQ(tree.is_folder(path), folder) << path;
        }
    }
    hardware.fit("gps", false);
    EXPECT_EQ(gone.back(), "/sys/class/rfkill/rfkill2");
    EXPECT_EQ(hardware.unfitted(), Words{"gps"});
    hardware.stimulate("gps", {"3"});
    hardware.fit("gps", true);
    EXPECT_EQ(read("/sys/class/gnss/gnss0/satellites"), "3") << "set while it was away";
}

TEST_F(HardwareTest, PartsTellWhatTheyFeelWhileTheyAreOn) {
    const std::string sim = "/sys/class/sim/", nfc = "/sys/class/nfc/nfc0/", ft = "/sys/class/force_touch/ft0/";
    const std::string radio = "/sys/class/radio/radio0/", spa = "/sys/class/smartpa/spa0/", gnss = "/sys/class/gnss/gnss0/";
    const std::string nfc_kill = "/sys/class/rfkill/rfkill3/", gps_kill = "/sys/class/rfkill/rfkill2/";
    const std::string finger = "/sys/class/fingerprint/fp0/", wgb = "/sys/class/wgb/wgb0/enable";
    const std::string card = SD_CARD, h2w = "/sys/class/switch/h2w/state";
    struct Row { // a stimulus ("": none), or a write ('=' in front of its path), or the hardware's own doing ('!')
        std::string what, value, path, tells;
    };
    const Row rows[] = {
        {"", "", "/sys/class/switch/hall/state", "0"}, {"hall", "1", "/sys/class/switch/hall/state", "1"},
        {"nfc", "04a1b2c3", nfc + "tag", ""}, {"=" + nfc + "powered", "1", nfc + "tag", "04A1B2C3"},
        {"nfc", "none", nfc + "tag", ""},
        {"=" + nfc_kill + "soft", "1", nfc + "powered", "0"}, {"=" + nfc_kill + "state", "1", nfc_kill + "soft", "0"},
        {"fingerprint", "1", finger + "finger", "0"}, {"=" + finger + "enable", "1", finger + "finger", "1"},
        {"forcetouch", "250", ft + "raw", "0 0 0 0"}, {"=" + ft + "enable", "1", ft + "raw", "128 248 193 64"},
        {"forcetouch", "0", ft + "raw", "3 -2 5 1"}, {"=" + ft + "calibrate", "1", ft + "bias", "3 -2 5 1"},
        {"fm", "-40", radio + "rssi", "-120"}, {"=" + radio + "enable", "1", radio + "rssi", "-110"},
        {"!" + h2w, "2", radio + "rssi", "-40"}, {"=" + radio + "frequency", "98700", radio + "frequency", "98700"},
        {"smartpa", "4000", spa + "impedance", "0"}, {"=" + spa + "calibrate", "1", spa + "impedance", "4000"},
        {"gps", "12", gnss + "satellites", "12"}, {"=" + gps_kill + "soft", "1", gnss + "nmea", ""},
        {"!" + gps_kill + "hard", "1", gps_kill + "state", "2"}, {"", "", gnss + "satellites", "0"},
        {"", "", sim + "sim1/state", "READY"}, {"sim1", "none", sim + "sim1/present", "0"}, {"", "", sim + "sim1/iccid", ""},
        {"sim0", "error", sim + "sim0/state", "CARD_IO_ERROR"},
        {"sim0", "89860012345678901238", sim + "sim0/iccid", "89860012345678901238"},
        {"", "", card + "/block/mmcblk1/size", "62500000"}, {"sdcard", "none", card + "/name", "none"},
        {"sdcard", "128", card + "/block/mmcblk1/size", "250000000"}, {"=" + wgb, "2", wgb, "2"},
        {"", "", "/sys/bus/usb/devices/1-1/product", "none"}, {"usbhost", "1", "/sys/bus/usb/devices/1-1/product", "Flash Disk"},
        {"", "", "/sys/class/video4linux/video1/name", "handset-aux"},
        {"", "", "/sys/class/bluetooth/hci0/address", "02:1a:7d:da:71:13"},
        {"", "", "/sys/devices/system/cpu/cpu1/cpufreq/cpuinfo_max_freq", "2208000"}};
    for (const Row &row : rows) {
        if (row.what.starts_with('=')) EXPECT_EQ(write(row.what.substr(1), row.value), 0) << row.what;
        else if (row.what.starts_with('!')) EXPECT_TRUE(tree.set(row.what.substr(1), row.value)) << row.what;
        else if (!row.what.empty()) hardware.stimulate(row.what, {row.value});
        EXPECT_EQ(read(row.path), row.tells) << row.what << " " << row.value << ": " << row.path;
    }
    EXPECT_EQ(write(nfc + "powered", "2"), -EINVAL);
    EXPECT_EQ(write(nfc_kill + "soft", "1"), 0);
    EXPECT_EQ(write(nfc + "powered", "1"), -EINVAL) << "blocked";
    EXPECT_EQ(write(radio + "frequency", "63999"), -EINVAL);
    EXPECT_EQ(tree.journal().front().path, nfc + "powered") << "writes are kept as all are";
    tree.reset();
    EXPECT_EQ(read(nfc_kill + "state"), "1");
    EXPECT_EQ(read(finger + "finger"), "0") << "off after a boot";
    EXPECT_EQ(read(ft + "bias"), "0 0 0 0");
    EXPECT_EQ(read(spa + "impedance"), "0");
    tree.set(finger + "finger", "maybe");
    hardware.stimulate("hall", {"0"});
    EXPECT_EQ(read(finger + "finger"), "maybe") << "what the bench put there stays";
}

TEST_F(HardwareTest, SensorsMeasureWithTheirErrorsAndTakeABias) {
    const auto at = [](size_t number) { return sensor_models()[number].device(number); };
    for (size_t n = 0; n < sensor_models().size(); ++n) {
        const SensorModel &model = sensor_models()[n];
        const double scale = model.scale ? atof(model.scale) : 1;
        const Words set = model.axes ? Words{"-1.5", "0.25", "9"} : Words{std::to_string(model.highest / 2)};
        hardware.stimulate(model.part, set);
        for (size_t axis = 0; axis < set.size(); ++axis) {
            const std::string name = model.axes ? std::string(1, "xyz"[axis]) + "_" : "";
            const double error = static_cast<double>(model.error[axis]) * scale;
            EXPECT_NEAR(measured(at(n), model.channel, name), std::stod(set[axis]) * model.kernel_unit + error,
                        scale * (1 + model.noise)) << model.part << " " << name;
        }
    }
    const std::string accel = at(2), z = accel + "in_accel_z_";
    std::set<std::string> told;
    for (int i = 0; i < 20; ++i) told.insert(read(z + "raw"));
    EXPECT_GT(told.size(), 3u) << "it is noisy";
    EXPECT_EQ(write(z + "calibbias", "-1000"), 0);
    EXPECT_NEAR(measured(accel, "accel", "z_"), 9 - 1.197 + 17 * 0.0012, 0.01) << "the sensor adds its bias";
    EXPECT_EQ(write(z + "calibbias", "40000"), -EINVAL);
    hardware.stimulate("heartrate", {"0"});
    EXPECT_EQ(read(at(6) + "in_heartrate_raw"), "0");
    tree.set(z + "raw", "abc");
    EXPECT_EQ(read(z + "raw"), "abc");
    hardware.stimulate("accelerometer", {"0", "0", "0"});
    EXPECT_NE(read(z + "raw"), "abc");
    EXPECT_EQ(write(at(6) + "self_test", "1"), 0);
    EXPECT_EQ(read(at(6) + "self_test"), "1");
    tree.set(at(6) + "self_test", "0"); // broken
    EXPECT_EQ(write(at(6) + "self_test", "1"), 0);
    EXPECT_EQ(read(at(6) + "self_test"), "0");
}

TEST_F(HardwareTest, TheTouchPanelTestsItself) {
    const std::string test = "/proc/touchscreen/ts_self_test";
    const auto ends_with = [&] {
        EXPECT_EQ(write(test, "1"), 0);
        for (int i = 0; i < 2000 && read(test) == "0"; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return read(test);
    };
    EXPECT_EQ(ends_with(), "1");
    hardware.stimulate("touchselftest", {"fail"});
    EXPECT_EQ(ends_with(), "2");
    hardware.stimulate("touchselftest", {"hang"});
    EXPECT_EQ(write(test, "1"), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // two seconds of the handset's
    EXPECT_EQ(read(test), "0");
}

TEST_F(HardwareTest, WrongNamesAndValuesAreRefusedWithTheRightOnes) {
    const auto complaint = [&](const std::string &name, const Words &values) {
        try {
            hardware.stimulate(name, values);
        } catch (const std::runtime_error &error) { return std::string(error.what()); }
        return std::string();
    };
    EXPECT_NE(complaint("smell", {"1"}).find("accelerometer"), std::string::npos);
    EXPECT_NE(complaint("smell", {"1"}).find("sdcard"), std::string::npos);
    EXPECT_NE(complaint("gyroscope", {"1"}).find("three values"), std::string::npos);
    const std::pair<const char *, Words> wrong[] = {
        {"light", {"-1"}}, {"light", {}}, {"light", {"1", "2"}}, {"light", {"nan"}}, {"accelerometer", {"0", "0", "1e9"}},
        {"pressure", {"1013hPa"}}, {"hall", {"2"}}, {"hall", {"0.5"}}, {"nfc", {"04A1B2"}}, {"nfc", {"04A1B2CX"}},
        {"sim0", {"89"}}, {"sim0", {""}}, {"sdcard", {"0"}}, {"fm", {"1"}}, {"touchselftest", {"2"}}};
    for (const auto &[name, values] : wrong) EXPECT_NE(complaint(name, values), "") << name;
    EXPECT_THROW(hardware.fit("lights", false), std::runtime_error);
    EXPECT_TRUE(hardware.unfitted().empty());
}
