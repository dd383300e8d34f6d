// The factory library's lights, sensors, cards and parts that answer with events, on a prepared folder tree.
#include "support.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>
#include <tki_factory.h>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <vector>

using namespace hal_test;
namespace fs = std::filesystem;

namespace {
template <typename... Args> int call(const std::string &name, Args... args) {
    return bind<int (*)(Args...)>(factory(), ("tki_api_" + name).c_str())(args...);
}

// What a callback was told, by kind of event.
struct Told {
    int type, result;
    tki_sensor_event sensor{};
    std::string text; // a card's or a part's event in words
};
std::mutex g_lock;
std::vector<Told> g_told;
std::atomic<int> g_running{0};

std::string words(const tki_card_event &card) {
    return std::to_string(card.card) + (card.fitted ? " slot" : "") + (card.present ? " card " : "") + card.text +
           (card.bytes ? " " + std::to_string(card.bytes) : "");
}

void receive(tki_module_data *data) {
    ++g_running;
    Told told{data->type, data->result};
    if (data->type == TKI_MODULE_SENSORS) told.sensor = *static_cast<const tki_sensor_event *>(data->data);
    if (data->type == TKI_MODULE_CARDS) told.text = words(*static_cast<const tki_card_event *>(data->data));
    if (data->type >= TKI_MODULE_NFC) {
        const auto &part = *static_cast<const tki_part_event *>(data->data);
        told.text = std::to_string(part.value) + part.text;
    }
    {
        const std::lock_guard guard(g_lock);
        g_told.push_back(told);
    }
    --g_running;
}
template <typename Test> size_t told(Test test) {
    const std::lock_guard guard(g_lock);
    return static_cast<size_t>(std::count_if(g_told.begin(), g_told.end(), test));
}
size_t told_of(int sensor, int result) {
    return told([=](const Told &t) { return t.sensor.sensor == sensor && t.result == result; });
}

// What was told since the last call, once it is as many.
std::string next(size_t count) {
    eventually([=] { return told([](const Told &) { return true; }) >= count; }, std::chrono::seconds(5));
    std::string all;
    const std::lock_guard guard(g_lock);
    for (const Told &t : g_told) all += (all.empty() ? "" : ", ") + t.text;
    g_told.clear();
    return all;
}

// In one write, so that nobody sees half of it; what is left of the old text becomes white space.
void change(const fs::path &path, std::string text) {
    if (!fs::exists(path)) return put(path, text);
    text.resize(std::max<size_t>(text.size(), fs::file_size(path)), '\n');
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(fd);
}

class Hardware : public testing::Test {
protected:
    void SetUp() override {
        for (const char *made : {"/sys/class", "/sys/bus", "/sys/devices"}) fs::remove_all(made);
        g_told.clear();
    }
    void TearDown() override {
        tp_clock_set_scale(1);
        EXPECT_EQ(g_running, 0);
    }
};

const fs::path LEDS = "/sys/class/leds", IIO = "/sys/bus/iio/devices";

using Values = std::vector<std::string>;
// One attribute per axis, or the only one.
fs::path axis_file(const fs::path &device, const std::string &channel, const std::string &what, size_t axis, const Values &values) {
    const char *const axes[] = {"_x_", "_y_", "_z_"};
    return device / (channel + (values.size() > 1 ? axes[axis] : "_") + what);
}
void put_axes(const fs::path &device, const std::string &channel, const std::string &what, const Values &values) {
    for (size_t i = 0; i < values.size(); ++i) put(axis_file(device, channel, what, i, values), values[i]);
}
} // namespace

TEST_F(Hardware, LightsAreScaledToTheirDriver) {
    const struct {
        const char *name;
        const char *most;
        int level;
        const char *written; // nothing: refused
    } rows[] = {{"red", "255\n", 255, "255"},   {"green", nullptr, 7, "7"},         {"blue", "31", 128, "16"},
                {"button-backlight", "1", 1, "1"}, {"flashlight", "1000", 255, "1000"}, {"flashlight2", "rubbish", 3, "3"},
                {"flashlight-front", "-5", 0, "0"}, {"lcd-backlight", "4095", 256, nullptr}};
    for (int light = 0; light < TKI_LIGHTS; ++light) {
        const auto &row = rows[light];
        SCOPED_TRACE(row.name);
        EXPECT_EQ(call("Light_Fitted", light), 0);
        EXPECT_EQ(call("Light_Set", light, row.level), -1);
        EXPECT_FALSE(fs::exists(LEDS / row.name));
        put(LEDS / row.name / "brightness", "42");
        if (row.most) put(LEDS / row.name / "max_brightness", row.most);
        EXPECT_EQ(call("Light_Fitted", light), 1);
        EXPECT_EQ(call("Light_Set", light, row.level), row.written ? 0 : -1);
        EXPECT_EQ(content(LEDS / row.name / "brightness"), row.written ? row.written : "42");
    }
    EXPECT_EQ(call("Light_Set", TKI_LIGHTS, 1), -1);
    EXPECT_EQ(call("Light_Fitted", -1), 0);
}

TEST_F(Hardware, FlashlightsGoOnOneByOneAndOutTogether) {
    EXPECT_EQ(call("FlashlightTest_Start", 0), -1);
    EXPECT_EQ(call("FlashlightTest_Stop"), -1);
    for (const char *name : {"flashlight", "flashlight-front"}) put(LEDS / name / "brightness", "0");
    EXPECT_EQ(call("FlashlightTest_Start", 0), 0);
    EXPECT_EQ(call("FlashlightTest_Start", 1), -1) << "the second one is not fitted";
    EXPECT_EQ(call("FlashlightTest_Start", 2), 0);
    EXPECT_EQ(call("FlashlightTest_Start", 3), -1);
    EXPECT_EQ(content(LEDS / "flashlight/brightness") + content(LEDS / "flashlight-front/brightness"), "255255");
    EXPECT_EQ(call("FlashlightTest_Stop"), 0);
    EXPECT_EQ(content(LEDS / "flashlight/brightness") + content(LEDS / "flashlight-front/brightness"), "00");
}

TEST_F(Hardware, SensorsAreFoundByTheirChannels) {
    put_axes(IIO / "iio:device10", "in_accel", "raw", {"100", "-200", "8192\n"});
    put(IIO / "iio:device10/in_accel_scale", "0.001197101");
    put_axes(IIO / "iio:device0", "in_magn", "raw", {"10", "20", "30"}); // both in one chip
    put_axes(IIO / "iio:device0", "in_magn", "scale", {"0.1", "0.2", "0.3"});
    put_axes(IIO / "iio:device0", "in_anglvel", "raw", {"1", "2"}); // no third axis: not fitted
    put(IIO / "iio:device1/in_pressure_raw", "1000");
    put(IIO / "iio:device1/in_pressure_offset", "26.5");
    put(IIO / "iio:device1/in_pressure_scale", "0.1");
    put(IIO / "iio:device2/in_illuminance_input", "312.5");
    put(IIO / "iio:device3/in_proximity_raw", "77");
    put(IIO / "iio:device4/in_heartrate_raw", "seventy");
    put(IIO / "trigger0/in_anglvel_x_raw", "1");
    const struct {
        int sensor, fitted, count; // 0: no sample
        float values[3];
    } rows[] = {{TKI_SENSOR_LIGHT, 1, 1, {312.5F}},
                {TKI_SENSOR_PROXIMITY, 1, 1, {77}},
                {TKI_SENSOR_ACCELEROMETER, 1, 3, {0.1197101F, -0.2394202F, 9.8066514F}},
                {TKI_SENSOR_MAGNETIC, 1, 3, {100, 400, 900}},
                {TKI_SENSOR_GYROSCOPE, 0, 0, {}},
                {TKI_SENSOR_PRESSURE, 1, 1, {1026.5F}},
                {TKI_SENSOR_HEART_RATE, 1, 0, {}},
                {TKI_SENSORS, 0, 0, {}},
                {-1, 0, 0, {}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.sensor);
        tki_sensor_event event{9, 9, {}, 0};
        EXPECT_EQ(call("Sensor_Fitted", row.sensor), row.fitted);
        EXPECT_EQ(call("Sensor_Read", row.sensor, &event), row.count ? 0 : -1);
        EXPECT_EQ(event.count, row.count ? row.count : 9) << "untouched on failure";
        for (int i = 0; i < row.count; ++i) EXPECT_FLOAT_EQ(event.values[i], row.values[i]);
    }
    EXPECT_EQ(call("HeartRate_SelfTest"), -1);
    for (const char *answer : {"0", "1\n"}) {
        put(IIO / "iio:device4/self_test", answer);
        EXPECT_EQ(call("HeartRate_SelfTest"), *answer == '1' ? 0 : -1);
    }
}

TEST_F(Hardware, SensorsAreSampledUntilStopped) {
    EXPECT_EQ(call("Sensors_Test_Start", &receive), -1) << "none is fitted";
    put(IIO / "iio:device0/in_proximity_raw", "1");
    put(IIO / "iio:device1/in_illuminance_raw", "5");
    tp_clock_set_scale(20);
    ASSERT_EQ(call("Sensors_Test_Start", &receive), 0);
    ASSERT_TRUE(eventually([] { return told_of(TKI_SENSOR_PROXIMITY, 0) > 3; }));
    put(IIO / "iio:device0/in_proximity_raw", "rubbish");
    ASSERT_TRUE(eventually([] { return told_of(TKI_SENSOR_PROXIMITY, -1) == 1; }));
    const size_t light = told_of(TKI_SENSOR_LIGHT, 0);
    ASSERT_TRUE(eventually([=] { return told_of(TKI_SENSOR_LIGHT, 0) > light + 3; })) << "one that fails holds up no other";
    ASSERT_EQ(call("Sensors_Test_Start", &receive), 0) << "starts anew";
    ASSERT_TRUE(eventually([] { return told_of(TKI_SENSOR_GYROSCOPE, -1) == 2; }));
    EXPECT_EQ(told_of(TKI_SENSOR_PROXIMITY, -1), 2u) << "once in each run";
    EXPECT_EQ(call("Sensors_Test_Stop"), 0);
    const size_t all = told([](const Told &) { return true; });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(told([](const Told &) { return true; }), all);
    EXPECT_EQ(call("Sensors_Test_Stop"), 0);
}

TEST_F(Hardware, CalibrationTakesTheErrorAwayFromTheBias) {
    tp_clock_set_scale(50);
    const struct {
        int sensor, result;
        const char *channel;
        Values raw, scale, before, after;
    } rows[] = {
        {TKI_SENSOR_ACCELEROMETER, 0, "in_accel", {"15", "-8", "1001"}, {"0.00980665"}, {"0", "3", "-4"}, {"-15", "11", "-5"}},
        {TKI_SENSOR_ACCELEROMETER, 0, "in_accel", {"0", "0", "-990"}, {"0.00980665"}, {"0", "0", "0"}, {"0", "0", "-10"}},
        {TKI_SENSOR_ACCELEROMETER, -1, "in_accel", {"1000", "0", "10"}, {"0.00980665"}, {"1", "1", "1"}, {"1", "1", "1"}},
        {TKI_SENSOR_GYROSCOPE, 0, "in_anglvel", {"25", "-14", "9"}, {"0.001"}, {"0", "0", "0"}, {"-25", "14", "-9"}},
        {TKI_SENSOR_GYROSCOPE, -1, "in_anglvel", {"0", "0", "600"}, {"0.001"}, {"0", "0", "0"}, {"0", "0", "0"}},
        {TKI_SENSOR_PROXIMITY, 0, "in_proximity", {"40"}, {"1"}, {"2"}, {"-38"}},
        {TKI_SENSOR_LIGHT, 0, "in_illuminance", {"6"}, {"0.05"}, {"0"}, {"-6"}},
        {TKI_SENSOR_LIGHT, -1, "in_illuminance", {"rubbish"}, {"0.05"}, {"0"}, {"0"}},
        {TKI_SENSOR_PRESSURE, -1, "in_pressure", {"6"}, {"0.05"}, {"0"}, {"0"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.channel) + " " + row.raw[0]);
        const fs::path device = IIO / "iio:device0";
        fs::remove_all(device);
        put_axes(device, row.channel, "raw", row.raw);
        put_axes(device, row.channel, "scale", row.scale);
        EXPECT_EQ(call("Sensors_Calibration", row.sensor), -1) << "no calibbias";
        put_axes(device, row.channel, "calibbias", row.before);
        EXPECT_EQ(call("Sensors_Calibration", row.sensor), row.result);
        for (size_t i = 0; i < row.after.size(); ++i)
            EXPECT_EQ(content(axis_file(device, row.channel, "calibbias", i, row.after)), row.after[i]);
    }
}

TEST_F(Hardware, CardsOfEverySlotAtOnceThenEachChange) {
    const fs::path sim = "/sys/class/sim", host = "/sys/class/mmc_host";
    EXPECT_EQ(call("AllCard_Test_Start", &receive), -1) << "no slot at all";
    put(host / "mmc0/mmc0:0001/type", "MMC\n");
    put(host / "mmc0/mmc0:0001/block/mmcblk0/size", "122142720");
    tki_card_event card;
    EXPECT_EQ(call("Card_Read", TKI_CARD_SD, &card), -1) << "flash is no card";
    put(sim / "sim0/present", "1");
    put(sim / "sim0/state", "READY\n");
    put(sim / "sim0/iccid", std::string(80, '8'));
    ASSERT_EQ(call("AllCard_Test_Start", &receive), 0);
    EXPECT_EQ(next(3), "0 slot card " + std::string(63, '8') + ", 1, 4");

    const fs::path sd = host / "mmc1/mmc1:aaaa";
    const struct {
        fs::path file;
        const char *text;
        const char *told; // nothing: no change
    } rows[] = {{sim / "sim0/iccid", "8986", "0 slot card 8986"},   {sim / "sim0/state", "CARD_IO_ERROR", "0 slot"},
                {sim / "sim0/state", "PIN_REQUIRED", "0 slot card 8986"}, {sim / "sim1/present", "0", "1 slot"},
                {host / "mmc1/uevent", "", "4 slot"},               {sd / "type", "SD", nullptr},
                {sd / "block/mmcblk1/size", "62500000", "4 slot card mmcblk1 32000000000"},
                {sd / "name", "SD32G", "4 slot card SD32G 32000000000"}, {sd / "block/mmcblk1/size", "0", "4 slot"}};
    tp_clock_set_scale(20);
    for (const auto &row : rows) {
        change(row.file, row.text);
        if (!row.told) continue;
        EXPECT_EQ(next(1), row.told) << row.file;
    }
    EXPECT_EQ(call("Card_Read", TKI_CARD_SIM0, &card), 0);
    EXPECT_EQ(words(card), "0 slot card 8986");
    EXPECT_EQ(call("Card_Read", 2, &card), -1);
    EXPECT_EQ(call("AllCard_Test_Stop"), 0);
}

TEST_F(Hardware, PartsAreSwitchedOnAndTellEveryChangeUntilStopped) {
    const struct {
        const char *name, *power, *attribute;
        std::vector<std::pair<const char *, const char *>> told; // empty: no change
    } rows[] = {{"NFC", "/sys/class/nfc/nfc0/powered", "/sys/class/nfc/nfc0/tag", {{"", "0"}, {"04A1B2C3\n", "104A1B2C3"}, {"", "0"}}},
                {"Fingerprint", "/sys/class/fingerprint/fp0/enable", "/sys/class/fingerprint/fp0/finger",
                 {{"0", "0"}, {"2", ""}, {"1", "1"}, {"", ""}, {"1", ""}, {"0", "0"}}},
                {"HallSensor", "/sys/class/switch/hall/no power", "/sys/class/switch/hall/state", {{"1", "1"}, {"x", ""}, {"0", "0"}}},
                {"ForceTouch", "/sys/class/force_touch/ft0/enable", "/sys/class/force_touch/ft0/raw",
                 {{"3 -2 5 1\n", "5"}, {"99999999999", ""}, {"203 398 5 1", "398"}, {"-7", "-7"}}}};
    put("/sys/class/rfkill/rfkill3/type", "nfc");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const std::string start = row.name + std::string("_Test_Start"), stop = row.name + std::string("_Test_Stop");
        tp_clock_set_scale(20);
        EXPECT_EQ(call(start, &receive), -1);
        EXPECT_EQ(call(stop), 0);
        put(row.power, "-");
        put("/sys/class/rfkill/rfkill3/soft", "0");
        put(row.attribute, row.told[0].first);
        ASSERT_EQ(call(start, &receive), 0);
        for (const auto &[text, told] : row.told) {
            change(row.attribute, text);
            const bool silent = !*told;
            if (silent) std::this_thread::sleep_for(std::chrono::milliseconds(60)); // looked at meanwhile
            EXPECT_EQ(next(silent ? 0 : 1), told) << text;
        }
        EXPECT_EQ(content(row.power), strstr(row.power, "no power") ? "-" : "1");
        EXPECT_EQ(call(stop), 0);
        EXPECT_EQ(content(row.power), strstr(row.power, "no power") ? "-" : "0");
        put(row.attribute, row.told[0].first);
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        EXPECT_EQ(next(0), "") << "told after the stop";
        put("/sys/class/rfkill/rfkill3/soft", "1");
        EXPECT_EQ(call(start, &receive), strcmp(row.name, "NFC") == 0 ? -1 : 0) << "blocked";
        EXPECT_EQ(call(stop), 0);
        put("/sys/class/rfkill/rfkill3/soft", "0");
        for (int i = 0; i < 100; ++i) call(start, &receive), call(stop); // often before the thread has begun
        EXPECT_EQ(content(row.power), strstr(row.power, "no power") ? "-" : "0");
        next(0);
    }
    static int calls; // of one that begins anew inside its call
    calls = 0;
    const tki_callback begin_again = [](tki_module_data *data) {
        receive(data);
        ++calls;
        call("Fingerprint_Test_Start", &receive);
    };
    ASSERT_EQ(call("Fingerprint_Test_Start", begin_again), 0);
    EXPECT_EQ(next(2), "0, 0");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(content(rows[1].power), "1") << "the run before has not switched off the one that follows";
    EXPECT_EQ(call("Fingerprint_Test_Stop"), 0);
}

TEST_F(Hardware, PartsThatExamineThemselvesAndWhatTheBoardKnows) {
    const fs::path force = "/sys/class/force_touch/ft0", amplifier = "/sys/class/smartpa/spa0";
    int biases[3] = {9, 9, 9}, impedance = 0, min = 0, max = 0;
    EXPECT_EQ(call("ForceTouch_Calibrate") + call("ForceTouch_Read", &biases[0], 2) + call("TouchPanel_SelfTest"), -3);
    for (const char *name : {"enable", "calibrate", "raw"}) put(force / name, "0");
    put(force / "bias", "3 -2 5 1");
    EXPECT_EQ(call("ForceTouch_Calibrate"), 0);
    EXPECT_EQ(content(force / "calibrate") + content(force / "enable"), "10");
    EXPECT_EQ(call("ForceTouch_Read", &biases[0], 2), 2);
    EXPECT_EQ(biases[0] * 100 + biases[1] * 10 + biases[2], 300 - 20 + 9);

    tp_clock_set_scale(50);
    put(amplifier / "min_impedance", "6400");
    put(amplifier / "max_impedance", "9600\n");
    const std::pair<const char *, int> speakers[] = {{"6400", 0}, {"9600", 0}, {"6399", -1}, {"9601", -1}, {"0", -1}, {"x", -1}};
    for (const auto &[told, result] : speakers) {
        fs::remove(amplifier / "calibrate");
        put(amplifier / "impedance", told);
        EXPECT_EQ(call("SmartPA_Calibrate", &impedance), -1) << "cannot be started";
        put(amplifier / "calibrate", "0");
        EXPECT_EQ(call("SmartPA_Calibrate", &impedance), result) << told;
        EXPECT_EQ(call("SmartPA_Read", &impedance, &min, &max), *told == 'x' ? -1 : 0);
        EXPECT_EQ(impedance, *told == 'x' ? 0 : atoi(told));
    }
    EXPECT_EQ(max - min, 3200);

    EXPECT_EQ(call("SetSystemIdleStatus", 1) + call("EnterLowCostMode") + call("USB_OTG_Test_Stop"), -3);
    put("/sys/devices/platform/tki_factory/idle", "0");
    put("/sys/devices/platform/tki_factory/low_cost_mode", "0");
    EXPECT_EQ(call("SetSystemIdleStatus", 5) + call("EnterLowCostMode"), 0);
    EXPECT_EQ(content("/sys/devices/platform/tki_factory/idle") + content("/sys/devices/platform/tki_factory/low_cost_mode"), "11");
    for (const auto &[name, result] : {std::pair("usb1", -1), {"1-0:1.0", -1}, {"1-1", 0}}) {
        put(fs::path("/sys/bus/usb/devices") / name / "uevent", "");
        EXPECT_EQ(call("USB_OTG_Test_START"), result) << name;
    }
    EXPECT_EQ(call("USB_OTG_Test_Stop"), 0);
}
