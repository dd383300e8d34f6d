#include "kernel/hardware_nodes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace vh {

namespace {
const std::string CLASS = "/sys/class/";
const std::string NFC = CLASS + "nfc/nfc0/", FINGER = CLASS + "fingerprint/fp0/", FORCE = CLASS + "force_touch/ft0/";
const std::string RADIO = CLASS + "radio/radio0/", AMPLIFIER = CLASS + "smartpa/spa0/", HEADSET = CLASS + "switch/h2w/state";
const std::string HALL = CLASS + "switch/hall/state", GNSS = CLASS + "gnss/gnss0/";
const std::string SELF_TEST = "/proc/touchscreen/ts_self_test";
enum Kill { KILL_BLUETOOTH, KILL_WLAN, KILL_GPS, KILL_NFC };
constexpr std::chrono::milliseconds SELF_TEST_TIME{500};
constexpr const char *NO_AERIAL = "-110", *NOTHING = "-120"; // dBm

// Cells of the force touch: how much of the strongest cell's load each feels, and by how many grams it is wrong.
constexpr std::array<std::pair<double, int>, 4> CELLS = {{{0.5, 3}, {1, -2}, {0.75, 5}, {0.25, 1}}};

std::optional<double> number(const std::string &text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
    return whole ? std::optional(value) : std::nullopt;
}

auto whole_number(long least, long most) {
    return [=](const std::string &text) {
        const double value = number(text).value_or(NAN);
        const bool good = value == std::floor(value) && value >= static_cast<double>(least) && value <= static_cast<double>(most);
        return good ? std::to_string(static_cast<long>(value)) : "";
    };
}

auto one_of(std::vector<std::string> words) {
    return [=](const std::string &text) { return std::find(words.begin(), words.end(), text) == words.end() ? "" : text; };
}

std::string sim(const std::string &text) {
    const bool digits = text.size() >= 18 && text.size() <= 20 && text.find_first_not_of("0123456789") == text.npos;
    return digits || text == "none" || text == "error" ? text : "";
}

std::string tag(const std::string &text) {
    if (text == "none") return text;
    std::string upper = text;
    for (char &c : upper)
        if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
    const bool length = text.size() == 8 || text.size() == 14 || text.size() == 20;
    return length && upper.find_first_not_of("0123456789ABCDEF") == upper.npos ? upper : "";
}

std::string card(const std::string &text) { return text == "none" ? text : whole_number(1, 2000)(text); }

// What a receiver tells that has so many satellites in view; four give a place.
std::string sentences(int satellites) {
    const bool fix = satellites > 3;
    char body[160];
    std::string all;
    const auto add = [&] {
        unsigned sum = 0;
        for (const char *c = body; *c; ++c) sum ^= static_cast<unsigned char>(*c);
        char line[sizeof body + 8];
        snprintf(line, sizeof line, "%s$%s*%02X", all.empty() ? "" : "\r\n", body, sum);
        all += line;
    };
    snprintf(body, sizeof body, "GPGGA,120000.00,%s,%d,%02d,%s,M,,", fix ? "2232.0000,N,11356.0000,E" : ",,,", fix ? 1 : 0,
             std::min(satellites, 12), fix ? "0.9,35.0,M,-2.0" : ",,M,");
    add();
    snprintf(body, sizeof body, "GPGSV,1,1,%02d", satellites);
    add();
    return all + "\r";
}

std::string plain(double value) {
    char line[32];
    snprintf(line, sizeof line, "%g", value);
    return line;
}
} // namespace

Hardware::Hardware(Tree &tree, double speed) : tree_(tree), speed_(speed), sensors_(tree) {
    add_inputs();
    add_plain();
    add_cards();
    add_switched();
    add_radios();
    add_board();
    add_touch_self_test();
    for (const Part &part : hardware_parts()) place_locked(part);
}

void Hardware::add_inputs() {
    inputs_ = {{"hall", "1 while the magnet is near, else 0", "0", whole_number(0, 1)},
               {"nfc", "UID of the tag in 8, 14 or 20 hexadecimal digits, or none", "none", tag},
               {"fingerprint", "1 while a finger lies on it, else 0", "0", whole_number(0, 1)},
               {"forcetouch", "grams, 0 to 5000", "0", whole_number(0, 5000)},
               {"fm", "dBm at the aerial, -120 to 0", "-58", whole_number(-120, 0)},
               {"gps", "satellites in view, 0 to 60", "9", whole_number(0, 60)},
               {"smartpa", "milliohm of the speaker, 0 to 1000000", "7600", whole_number(0, 1000000)},
               {"touchselftest", "how it ends: pass, fail, hang", "pass", one_of({"pass", "fail", "hang"})},
               {"sim0", "ICCID of the card in the slot (18 to 20 digits), error, none", "89860012345678901238", sim},
               {"sim1", "ICCID of the card in the slot (18 to 20 digits), error, none", "89860198765432109875", sim},
               {"sdcard", "GB of the card in the slot (1 to 2000), none", "32", card},
               {"usbhost", "1 while a device is plugged in, else 0", "0", whole_number(0, 1)}};
}

void Hardware::add_plain() {
    for (int cpu = 0; cpu < 2; ++cpu) {
        const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/";
        tree_.add(folder + "cpuinfo_max_freq", text(), Access::read_only, "2208000");
        tree_.add(folder + "cpuinfo_min_freq", text(), Access::read_only, "300000");
    }
    // The heart rate sensor's own check: writing 1 asks for it anew, reading gives its answer.
    const std::string check = sensor_models().back().device(sensor_models().size() - 1) + "self_test";
    const auto same = [this, check](std::string_view text) { return text == "1" ? tree_.get(check) : std::nullopt; };
    tree_.add(check, driver(same), Access::read_write, "1");
    tree_.add(CLASS + "switch/hall/name", text(), Access::read_only, "hall");
    for (int camera = 0; camera < static_cast<int>(std::size(CAMERAS)); ++camera)
        tree_.add(CLASS + "video4linux/video" + std::to_string(camera) + "/name", text(), Access::read_only,
                  std::string("handset-") + CAMERAS[camera]);
    derive(HALL, [this] { return input_locked("hall"); });
    tree_.add(CLASS + "bluetooth/hci0/address", text(), Access::read_only, "02:1a:7d:da:71:13");
    tree_.add(CLASS + "net/wlan0/address", text(), Access::read_only, "02:1a:7d:da:72:24");
    tree_.add(CLASS + "net/wlan0/type", text(), Access::read_only, "1");
    tree_.add(CLASS + "net/wlan0/operstate", text(), Access::read_only, "down");
}

void Hardware::add_cards() {
    for (const char *slot : {"sim0", "sim1"}) {
        const std::string folder = CLASS + "sim/" + slot + "/";
        const auto is = [this, slot](const char *what) { return input_locked(slot) == what; };
        derive(folder + "present", [is] { return is("none") ? "0" : "1"; });
        derive(folder + "state", [is] { return is("none") ? "ABSENT" : is("error") ? "CARD_IO_ERROR" : "READY"; });
        derive(folder + "iccid", [this, slot, is] { return is("none") || is("error") ? "" : input_locked(slot); });
    }
    const std::string host = CLASS + "mmc_host/mmc", flash = host + "0/mmc0:0001/", sd = SD_CARD + std::string("/");
    const std::array<std::array<std::string, 2>, 5> fixed[] = {
        {{{flash + "name", "VXF64G"}, {flash + "type", "MMC"}, {flash + "cid", "150100565846363447014c2f3a91b5c3"},
          {flash + "block/mmcblk0/size", "122142720"}, {flash + "block/mmcblk0/removable", "0"}}},
        {{{sd + "name", "SD32G"}, {sd + "type", "SD"}, {sd + "cid", "03534453443332478061a2b3c4014600"},
          {sd + "block/mmcblk1/removable", "1"}, {host + "1/uevent", ""}}}};
    for (const auto &nodes : fixed)
        for (const auto &[path, value] : nodes) tree_.add(path, text(), Access::read_only, value);
    derive(sd + "block/mmcblk1/size", [this] {
        return std::to_string(atoll(input_locked("sdcard").c_str()) * 1000000000 / 512);
    });
}

// Parts that show what they feel while they are switched on.
void Hardware::add_switched() {
    tree_.add(NFC + "powered", driver([this](std::string_view text) -> std::optional<std::string> {
        const bool refused = text != "0" && (text != "1" || blocked(KILL_NFC));
        return refused ? std::nullopt : std::optional(std::string(text));
    }), Access::read_write, "0");
    derive(NFC + "tag", [this] { return on(NFC + "powered") && input_locked("nfc") != "none" ? input_locked("nfc") : ""; });
    refreshes(NFC + "powered");
    tree_.add(FINGER + "enable", integer(0, 1), Access::read_write, "0");
    derive(FINGER + "finger", [this] { return on(FINGER + "enable") ? input_locked("fingerprint") : "0"; });
    refreshes(FINGER + "enable");

    tree_.add(FORCE + "enable", integer(0, 1), Access::read_write, "0");
    derive(FORCE + "raw", [this] { return cells_locked(); });
    tree_.add(FORCE + "bias", text(), Access::read_only, "0 0 0 0");
    tree_.add(FORCE + "calibrate", integer(1, 1), Access::read_write, "0");
    refreshes(FORCE + "enable");
    tree_.on_change(FORCE + "calibrate", [this](const std::string &value) {
        tree_.set(FORCE + "bias", value == "1" ? tree_.get(FORCE + "raw").value_or("") : "0 0 0 0");
    });

    tree_.add(AMPLIFIER + "calibrate", integer(0, 1), Access::read_write, "0");
    tree_.add(AMPLIFIER + "min_impedance", text(), Access::read_only, "6400");
    tree_.add(AMPLIFIER + "max_impedance", text(), Access::read_only, "9600");
    derive(AMPLIFIER + "impedance", [this] { return on(AMPLIFIER + "calibrate") ? input_locked("smartpa") : "0"; });
    refreshes(AMPLIFIER + "calibrate");
}

void Hardware::add_radios() {
    add_rfkill(KILL_BLUETOOTH, "bluetooth");
    add_rfkill(KILL_WLAN, "wlan");
    add_rfkill(KILL_GPS, "gps");
    add_rfkill(KILL_NFC, "nfc");
    tree_.add(GNSS + "type", text(), Access::read_only, "NMEA");
    derive(GNSS + "satellites", [this] { return blocked(KILL_GPS) ? "0" : input_locked("gps"); });
    derive(GNSS + "nmea", [this] { return blocked(KILL_GPS) ? "" : sentences(atoi(input_locked("gps").c_str())); });
    tree_.add(CLASS + "wgb/wgb0/enable", integer(0, 2), Access::read_write, "0");
    tree_.add(RADIO + "enable", integer(0, 1), Access::read_write, "0");
    tree_.add(RADIO + "frequency", integer(64000, 108000), Access::read_write, "98000"); // kHz
    tree_.add(RADIO + "volume", integer(0, 15), Access::read_write, "8");
    derive(RADIO + "rssi", [this] {
        return !on(RADIO + "enable") ? NOTHING : tree_.get(HEADSET) == "0" ? NO_AERIAL : input_locked("fm");
    });
    refreshes(RADIO + "enable");
    refreshes(HEADSET);
}

// soft and state are two faces of one switch.
void Hardware::add_rfkill(int number, const char *type) {
    const std::string folder = CLASS + "rfkill/rfkill" + std::to_string(number) + "/";
    tree_.add(folder + "type", text(), Access::read_only, type);
    tree_.add(folder + "name", text(), Access::read_only, std::string("handset-") + type);
    tree_.add(folder + "soft", integer(0, 1), Access::read_write, "0");
    tree_.add(folder + "hard", text(), Access::read_only, "0");
    tree_.add(folder + "state", integer(0, 1), Access::read_write, "1");
    const auto settle = [this, folder, number] {
        tree_.publish(folder + "state", on(folder + "hard") ? "2" : on(folder + "soft") ? "0" : "1");
        if (number == KILL_NFC && blocked(number)) tree_.publish(NFC + "powered", "0");
        refresh();
    };
    for (const char *name : {"soft", "hard"}) tree_.on_change(folder + name, [settle](const std::string &) { settle(); });
    tree_.on_change(folder + "state", [this, folder, settle](const std::string &value) {
        tree_.publish(folder + "soft", value == "0" ? "1" : "0");
        settle();
    });
}

bool Hardware::blocked(int rfkill) const { return !on(CLASS + "rfkill/rfkill" + std::to_string(rfkill) + "/state"); }

void Hardware::add_board() {
    for (const char *name : {"idle", "low_cost_mode"})
        tree_.add(std::string("/sys/devices/platform/tki_factory/") + name, integer(0, 1), Access::read_write, "0");
    const std::string hub = "/sys/bus/usb/devices/usb1/", device = USB_DEVICE + std::string("/");
    tree_.add(hub + "product", text(), Access::read_only, "Host Controller");
    tree_.add(hub + "bDeviceClass", text(), Access::read_only, "09");
    tree_.add(device + "product", text(), Access::read_only, "Flash Disk");
    tree_.add(device + "bDeviceClass", text(), Access::read_only, "00");
}

void Hardware::add_touch_self_test() {
    tree_.add(SELF_TEST, integer(0, 1), Access::read_write, "0");
    tree_.on_read(SELF_TEST, [this](const std::string &value) { return self_test_result(value); });
    tree_.on_change(SELF_TEST, [this](const std::string &value) {
        const std::scoped_lock lock(mutex_);
        self_test_ = value == "1" ? std::optional(Clock::now()) : std::nullopt;
    });
}

std::string Hardware::self_test_result(const std::string &value) {
    const std::scoped_lock lock(mutex_);
    if (!self_test_) return value;
    const std::string &end = input_locked("touchselftest");
    const bool at_work = std::chrono::duration<double>(Clock::now() - *self_test_) * speed_ < SELF_TEST_TIME;
    return at_work || end == "hang" ? "0" : end == "pass" ? "1" : "2";
}

std::string Hardware::cells_locked() const {
    std::string cells;
    const double grams = on(FORCE + "enable") ? atof(input_locked("forcetouch").c_str()) : 0;
    for (const auto &[share, error] : CELLS) {
        const long cell = on(FORCE + "enable") ? std::lround(grams * share) + error : 0;
        cells += (cells.empty() ? "" : " ") + std::to_string(cell);
    }
    return cells;
}

void Hardware::derive(const std::string &path, std::function<std::string()> value) {
    const std::string shown = value();
    tree_.add(path, text(), Access::read_only, shown);
    derived_.push_back({path, shown, std::move(value)});
}

void Hardware::refreshes(const std::string &path) {
    tree_.on_change(path, [this](const std::string &) { refresh(); });
}

void Hardware::refresh() {
    const std::scoped_lock lock(mutex_);
    refresh_locked();
}

// Only what has changed: what somebody has set from outside stays until then.
void Hardware::refresh_locked() {
    for (Derived &derived : derived_) {
        const std::string value = derived.value();
        if (value == derived.shown) continue;
        derived.shown = value;
        tree_.publish(derived.path, value);
    }
}

const std::string &Hardware::input_locked(const char *name) const {
    return std::find_if(inputs_.begin(), inputs_.end(), [&](const Input &input) { return input.name == name; })->value;
}

void Hardware::fit(const std::string &name, bool fitted) {
    const Part &part = hardware_part(name);
    const std::scoped_lock lock(mutex_);
    if (fitted) unfitted_.erase(name);
    else unfitted_.insert(name);
    place_locked(part);
}

void Hardware::place_locked(const Part &part) {
    const bool fitted = !unfitted_.contains(part.name);
    for (const char *node : part.nodes) tree_.set_present(node, fitted && plugged_locked(node));
}

bool Hardware::plugged_locked(const std::string &node) const {
    if (node == SD_CARD) return input_locked("sdcard") != "none";
    return node != USB_DEVICE || input_locked("usbhost") == "1";
}

bool Hardware::fitted(const std::string &part) const {
    const std::scoped_lock lock(mutex_);
    return !unfitted_.contains(part);
}

std::vector<std::string> Hardware::unfitted() const {
    const std::scoped_lock lock(mutex_);
    return {unfitted_.begin(), unfitted_.end()};
}

void Hardware::stimulate(const std::string &name, const std::vector<std::string> &values) {
    std::string names;
    for (size_t n = 0; n < sensor_models().size(); ++n) {
        const SensorModel &model = sensor_models()[n];
        names += std::string(model.part) + ", ";
        if (name != model.part) continue;
        std::vector<double> numbers;
        for (const std::string &value : values)
            if (const auto v = number(value); v && *v >= model.lowest && *v <= model.highest) numbers.push_back(*v);
        const size_t count = model.axes ? 3 : 1;
        if (numbers.size() != count || values.size() != count)
            throw std::runtime_error(name + " takes " + (model.axes ? "three values" : "one value") + " in " + model.unit +
                                     ", " + plain(model.lowest) + " to " + plain(model.highest));
        return sensors_.set(n, numbers);
    }
    const std::scoped_lock lock(mutex_);
    for (Input &input : inputs_) {
        names += input.name + (&input == &inputs_.back() ? "" : ", ");
        if (name != input.name) continue;
        const std::string value = values.size() == 1 ? input.accept(values[0]) : "";
        if (value.empty()) throw std::runtime_error(name + " takes: " + input.unit);
        input.value = value;
        refresh_locked();
        return place_locked(hardware_part(name));
    }
    throw std::runtime_error("no sensor '" + name + "'; one of: " + names);
}

std::vector<Hardware::Stimulus> Hardware::stimuli() const {
    std::vector<Stimulus> all;
    const std::scoped_lock lock(mutex_);
    for (size_t n = 0; n < sensor_models().size(); ++n) {
        const SensorModel &model = sensor_models()[n];
        std::string values;
        for (const double value : sensors_.values(n)) values += (values.empty() ? "" : " ") + plain(value);
        all.push_back({model.part, values, model.unit, !unfitted_.contains(model.part)});
    }
    for (const Input &input : inputs_) all.push_back({input.name, input.value, input.unit, !unfitted_.contains(input.name)});
    return all;
}

} // namespace vh
