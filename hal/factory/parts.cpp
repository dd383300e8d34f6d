// Parts that tell what touches or turns them: NFC, fingerprint reader, hall switch, force touch.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <factory/api.h>
#include <factory/rfkill.h>
#include <factory/watch.h>
#include <memory>
#include <tki_hardware.h>
#include <tp_clock.h>

static bool operator==(const tki_part_event &a, const tki_part_event &b) {
    return a.value == b.value && strcmp(a.text, b.text) == 0;
}

namespace {
using Texts = std::span<const factory::AttributeText>;
using Found = std::vector<tki_part_event>; // one, or none while the part tells nothing that can be understood
constexpr int64_t FORCE_LOOK_NS = 50000000;

struct Part {
    const char *thread;
    int type;
    std::string folder;
    const char *power; // attribute that switches it on; null: it is always on
    std::vector<const char *> attributes;
    Found (*look)(Texts);
    const char *kill_switch;
    int64_t look_ns;
    hal::CallbackThread watch{};

    std::string path(const char *attribute) const { return folder + attribute; }
    bool switch_to(const char *on) const;
    bool is_on() const { return hal::read_attribute(path(power).c_str()) == "1"; }
    bool is_fitted() const;
    int start(tki_event_callback cb);
    int stop();
};

Found look_at_tag(Texts texts) {
    if (!texts[0]) return {};
    tki_part_event event{texts[0]->empty() ? 0 : 1, {}};
    const std::string_view uid = std::string_view(*texts[0]).substr(0, sizeof event.text - 1);
    std::copy(uid.begin(), uid.end(), event.text);
    return {event};
}

Found look_at_switch(Texts texts) {
    const auto value = texts[0] ? hal::parse_int(*texts[0]) : std::nullopt;
    return value == 0 || value == 1 ? Found{{*value, {}}} : Found{};
}

// Cells, separated by blanks; nothing when one of them is no number.
std::vector<int> cells(const factory::AttributeText &text) {
    std::vector<int> numbers;
    std::string_view rest = text ? std::string_view(*text) : std::string_view();
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(' '), rest.size());
        const auto number = hal::parse_int(rest.substr(0, end));
        if (!number) return {};
        numbers.push_back(*number);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return numbers;
}

Found look_at_force(Texts texts) {
    const std::vector<int> raw = cells(texts[0]), bias = cells(texts[1]);
    if (raw.empty()) return {};
    int64_t strongest = INT32_MIN;
    for (size_t i = 0; i < raw.size(); ++i)
        strongest = std::max<int64_t>(strongest, int64_t{raw[i]} - (i < bias.size() ? bias[i] : 0));
    return {{static_cast<int32_t>(std::clamp<int64_t>(strongest, INT32_MIN, INT32_MAX)), {}}};
}

bool Part::switch_to(const char *on) const {
    if (!power || hal::write_attribute(path(power).c_str(), on)) return true;
    HAL_LOG_E(FACTORY_TAG, "%s: %s", path(power).c_str(), strerror(errno));
    return false;
}

bool Part::is_fitted() const {
    if (!hal::read_attribute(path(attributes[0]).c_str())) {
        HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", path(attributes[0]).c_str(), strerror(errno));
        return false;
    }
    if (!kill_switch || !factory::rfkill_blocks(kill_switch)) return true;
    HAL_LOG_E(FACTORY_TAG, "not fitted: rfkill blocks %s; unblock it", kill_switch);
    return false;
}

int Part::start(tki_event_callback cb) {
    watch.stop();
    if (!cb || !is_fitted() || !switch_to("1")) return -1;
    // Off again when the run is over, and when it was stopped before it began.
    const std::shared_ptr<const Part> powered(this, [](const Part *part) { part->switch_to("0"); });
    const auto body = [this, cb, powered](hal::CallbackThread::Run &run) {
        switch_to("1"); // once more: a run that ended only now has switched it off
        std::vector<std::string> paths;
        for (const char *attribute : attributes) paths.push_back(path(attribute));
        factory::watch<tki_part_event>(run, cb, type, {paths, look_ns}, look);
    };
    return watch.start(FACTORY_TAG, thread, body) ? 0 : -1;
}

int Part::stop() {
    watch.stop();
    return 0;
}

Part g_nfc{"nfc", TKI_MODULE_NFC, "/sys/class/nfc/nfc0/", "powered", {"tag"}, look_at_tag, "nfc", factory::WATCH_LOOK_NS};
Part g_fingerprint{"fingerprint",  TKI_MODULE_FINGERPRINT, "/sys/class/fingerprint/fp0/", "enable", {"finger"},
                   look_at_switch, nullptr,                factory::WATCH_LOOK_NS};
Part g_hall{"hall",         TKI_MODULE_HALL, "/sys/class/switch/hall/", nullptr, {"state"},
            look_at_switch, nullptr,         factory::WATCH_LOOK_NS};
Part g_force{"force", TKI_MODULE_FORCE, "/sys/class/force_touch/ft0/", "enable", {"raw", "bias"}, look_at_force, nullptr, FORCE_LOOK_NS};
} // namespace

#define TKI_PART(name, part)                                                                                 \
    TKI_API(int) tki_api_##name##_Test_Start(tki_event_callback cb) noexcept { return part.start(cb); }      \
    TKI_API(int) tki_api_##name##_Test_Stop() noexcept { return part.stop(); }

TKI_PART(NFC, g_nfc)
TKI_PART(Fingerprint, g_fingerprint)
TKI_PART(HallSensor, g_hall)
TKI_PART(ForceTouch, g_force)

// The cells feel nothing while they are off.
TKI_API(int) tki_api_ForceTouch_Calibrate() noexcept {
    if (!g_force.is_fitted()) return -1;
    const bool was_on = g_force.is_on();
    if (!was_on && !g_force.switch_to("1")) return -1;
    if (!was_on) tp_clock_sleep_ns(FORCE_LOOK_NS);
    const std::string calibrate = g_force.path("calibrate");
    const bool done = hal::write_attribute(calibrate.c_str(), "1");
    if (!done) HAL_LOG_E(FACTORY_TAG, "%s: %s", calibrate.c_str(), strerror(errno));
    return (was_on || g_force.switch_to("0")) && done ? 0 : -1;
}

TKI_API(int) tki_api_ForceTouch_Read(int *out, int max) noexcept {
    const std::string path = g_force.path("bias");
    const auto text = hal::read_attribute(path.c_str());
    const std::vector<int> biases = cells(text);
    if (biases.empty() || !out || max < 0) {
        HAL_LOG_E(FACTORY_TAG, "%s: %s", path.c_str(), text ? "no biases" : strerror(errno));
        return -1;
    }
    const auto count = std::min(biases.size(), static_cast<size_t>(max));
    std::copy_n(biases.begin(), count, out);
    return static_cast<int>(count);
}
