#include <atomic>
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/radio.h>

namespace {
constexpr int KHZ_PER_STEP = 10;
constexpr int VOLUME_MAX = 15, VOLUME_AT_FIRST = 8;
#define RADIO "/sys/class/radio/radio0/"

std::atomic<int> g_volume{VOLUME_AT_FIRST};

bool set(const char *attribute, int value) {
    if (hal::write_attribute(attribute, std::to_string(value))) return true;
    HAL_LOG_E(FACTORY_TAG, "radio not fitted: %s: %s", attribute, strerror(errno));
    return false;
}

std::optional<int> get(const char *attribute) {
    const auto text = hal::read_attribute(attribute);
    return text ? hal::parse_int(*text) : std::nullopt;
}
} // namespace

namespace factory {

bool radio_tune(int khz) {
    if (khz < RADIO_MIN_KHZ || khz > RADIO_MAX_KHZ) {
        HAL_LOG_E(FACTORY_TAG, "no frequency of %d kHz: %d to %d", khz, RADIO_MIN_KHZ, RADIO_MAX_KHZ);
        return false;
    }
    if (!set(RADIO "enable", 1)) return false;
    if (set(RADIO "frequency", khz) && set(RADIO "volume", g_volume) && get(RADIO "frequency") == khz) return true;
    HAL_LOG_E(FACTORY_TAG, "the radio does not tune to %d kHz", khz);
    radio_off();
    return false;
}

bool radio_off() { return set(RADIO "enable", 0); }

std::optional<int> radio_rssi() {
    const auto dbm = get(RADIO "rssi");
    return get(RADIO "enable") == 1 && dbm && *dbm < 0 ? dbm : std::nullopt;
}

} // namespace factory

TKI_API(int) tki_api_FM_Test_Start(int frequency) noexcept {
    const bool sane = frequency > 0 && frequency <= factory::RADIO_MAX_KHZ / KHZ_PER_STEP;
    return factory::radio_tune(sane ? frequency * KHZ_PER_STEP : 0) ? 0 : -1;
}

TKI_API(int) tki_api_FM_Test_Stop() noexcept { return factory::radio_off() ? 0 : -1; }

TKI_API(int) tki_api_FM_Set_Vol(int volume) noexcept {
    if (volume < 0 || volume > VOLUME_MAX) {
        HAL_LOG_E(FACTORY_TAG, "a volume is 0 to %d; %d stays", VOLUME_MAX, g_volume.load());
        return -1;
    }
    if (!set(RADIO "volume", volume)) return -1;
    g_volume = volume;
    return 0;
}

TKI_API(int) tki_api_FM_Get_Vol() noexcept { return get(RADIO "volume") ? g_volume.load() : -1; }

TKI_API(int) tki_api_FM_Get_Rssi() noexcept { return factory::radio_rssi().value_or(-1); }
