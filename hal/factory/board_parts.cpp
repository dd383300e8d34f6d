// Board tests of the parts around: radios, receiver, battery, cards, touch panel.
#include <array>
#include <cerrno>
#include <common/file.h>
#include <cstdio>
#include <cstring>
#include <factory/api.h>
#include <factory/board.h>
#include <factory/radio.h>
#include <factory/rfkill.h>
#include <fcntl.h>
#include <poll.h>
#include <tp_clock.h>
#include <unistd.h>

TKI_API(int) tki_api_Card_Read(int card, tki_card_event *out) noexcept;

namespace {
constexpr int64_t NS_PER_MS = 1000000;
constexpr int64_t LOOK_AGAIN_NS = 100 * NS_PER_MS;

std::optional<int> number(const std::string &path) {
    const auto text = hal::read_attribute(path.c_str());
    return text ? hal::parse_int(*text) : std::nullopt;
}

tki_pcba_value measure_link(const char *address_path, const char *type) {
    const auto address = hal::read_attribute(address_path);
    if (!address || address->empty()) {
        HAL_LOG_E(FACTORY_TAG, "not fitted: %s has no address", address_path);
        return {};
    }
    if (!factory::rfkill_blocks(type)) return {1, 1};
    HAL_LOG_E(FACTORY_TAG, "%s is blocked by rfkill; unblock it", type);
    return {};
}

bool hears_sentence(int fd, hal::Event &stop) {
    constexpr int64_t PATIENCE_NS = 5000 * NS_PER_MS;
    const int64_t end = tp_clock_mono_ns() + PATIENCE_NS;
    bool line_begins = true;
    while (tp_clock_mono_ns() < end && !stop.wait(0)) {
        std::array<char, 256> bytes;
        const ssize_t n = read(fd, bytes.data(), bytes.size());
        for (ssize_t i = 0; i < n; ++i) {
            const char c = bytes[static_cast<size_t>(i)];
            if (line_begins && c == '$') return true;
            line_begins = c == '\n' || c == '\r';
        }
        if (n > 0) continue;
        if (stop.wait(LOOK_AGAIN_NS)) break;
        lseek(fd, 0, SEEK_SET); // an attribute is read anew, a device goes on
    }
    return false;
}

std::optional<int> khz_of(std::string_view channel) {
    if (channel.empty()) return 98000;
    const size_t point = channel.find('.');
    constexpr int LEAST_STEPS = factory::RADIO_MIN_KHZ / 10;
    if (const auto steps = hal::parse_int(channel); steps && *steps >= LEAST_STEPS && *steps < 100000) return *steps * 10;
    const auto mhz = hal::parse_int(channel.substr(0, point));
    std::string fraction(point == channel.npos ? "" : channel.substr(point + 1));
    if (fraction.size() > 3) return std::nullopt;
    fraction.resize(3, '0');
    const auto khz = hal::parse_int(fraction);
    if (!mhz || !khz || *mhz < 0 || *mhz > 999 || *khz < 0) return std::nullopt;
    return *mhz * 1000 + *khz;
}

std::optional<tki_card_event> read_card(int card) {
    tki_card_event event{};
    if (tki_api_Card_Read(card, &event) != 0 || !event.fitted || !event.present) return std::nullopt;
    return event;
}
} // namespace

namespace factory {

tki_pcba_value measure_bluetooth() { return measure_link("/sys/class/bluetooth/hci0/address", "bluetooth"); }
tki_pcba_value measure_wifi() { return measure_link("/sys/class/net/wlan0/address", "wlan"); }

tki_pcba_value measure_gps(hal::Event &stop) {
    constexpr const char *RECEIVER = "/dev/gnss0", *ATTRIBUTE = "/sys/class/gnss/gnss0/nmea";
    hal::UniqueFd fd = hal::open_file(RECEIVER, O_RDONLY | O_NONBLOCK);
    if (!fd.valid()) fd = hal::open_file(ATTRIBUTE, O_RDONLY);
    if (!fd.valid()) {
        HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", RECEIVER, strerror(errno));
        return {};
    }
    if (hears_sentence(fd.get(), stop)) return {1, 1};
    HAL_LOG_E(FACTORY_TAG, "the receiver tells no sentence; is it blocked by rfkill?");
    return {};
}

tki_pcba_value measure_touch() {
    constexpr int GOOD = 2;
    const int status = number("/proc/touchscreen/ts_status").value_or(0);
    if (status != GOOD) HAL_LOG_E(FACTORY_TAG, "/proc/touchscreen/ts_status is %d, not %d", status, GOOD);
    return {status, status == GOOD ? 1 : 0};
}

tki_pcba_text measure_battery() {
    const std::string battery = "/sys/class/power_supply/battery/";
    tki_pcba_text record{};
    const auto microvolt = number(battery + "voltage_now"), tenths = number(battery + "temp");
    const auto health = hal::read_attribute((battery + "health").c_str());
    if (number(battery + "present") != 1 || !microvolt || !tenths || !health) {
        snprintf(record.text, sizeof record.text, "no battery");
        HAL_LOG_E(FACTORY_TAG, "no battery");
        return record;
    }
    snprintf(record.text, sizeof record.text, "%d mV, %d.%d C, %.64s", *microvolt / 1000, *tenths / 10, abs(*tenths % 10),
             health->c_str());
    const bool good = *microvolt >= 2500000 && *microvolt <= 4600000 && *tenths >= 0 && *tenths <= 450 && *health == "Good";
    record.result = good ? 1 : 0;
    if (!good) HAL_LOG_E(FACTORY_TAG, "%s", record.text);
    return record;
}

tki_pcba_number measure_sdcard() {
    constexpr uint64_t MB = 1000000;
    const auto card = read_card(TKI_CARD_SD);
    if (!card || card->bytes == 0) {
        HAL_LOG_E(FACTORY_TAG, "no card");
        return {};
    }
    return {card->bytes / MB, 1};
}

tki_pcba_value measure_sim(int slots) {
    constexpr int SLOTS[] = {TKI_CARD_SIM0, TKI_CARD_SIM1};
    int answered = 0;
    for (int i = 0; i < slots && i < 2; ++i) answered += read_card(SLOTS[i]) ? 1 : 0;
    if (answered != slots) HAL_LOG_E(FACTORY_TAG, "%d of %d slots answer", answered, slots);
    return {answered, slots > 0 && answered == slots ? 1 : 0};
}

tki_pcba_value measure_fm(hal::Event &stop, std::string_view channel) {
    constexpr int HEARD_DBM = -90, TRIES = 10;
    const auto khz = khz_of(channel);
    if (!khz) HAL_LOG_E(FACTORY_TAG, "'%.*s' is no channel, e.g. 98.7 or 9870", static_cast<int>(channel.size()), channel.data());
    if (!khz || !radio_tune(*khz)) return {};
    std::optional<int> dbm;
    for (int i = 0; i < TRIES; ++i) {
        dbm = radio_rssi();
        if ((dbm && *dbm >= HEARD_DBM) || stop.wait(LOOK_AGAIN_NS)) break;
    }
    radio_off();
    if (dbm && *dbm >= HEARD_DBM) return {*dbm, 1};
    HAL_LOG_E(FACTORY_TAG, "%d kHz: %d dBm are not %d", *khz, dbm.value_or(0), HEARD_DBM);
    return {dbm.value_or(0), 0};
}

} // namespace factory

TKI_API(int) tki_api_WifiDevDetect() noexcept { return hal::read_attribute("/sys/class/net/wlan0/address") ? 0 : -1; }
TKI_API(int) tki_api_BTDevDetect() noexcept { return hal::read_attribute("/sys/class/bluetooth/hci0/address") ? 0 : -1; }
TKI_API(int) tki_api_FMDevDetect() noexcept { return hal::read_attribute("/sys/class/radio/radio0/enable") ? 0 : -1; }
