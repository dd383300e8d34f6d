#include <factory/headset.h>

#include <cerrno>
#include <cstring>
#include <factory/api.h>
#include <factory/watch.h>

namespace {
constexpr const char *STATE = "/sys/class/switch/h2w/state";

hal::CallbackThread g_watch;

std::optional<int> state_of(std::string_view text) {
    const auto state = hal::parse_int(text);
    return state && *state >= TKI_HEADSET_NONE && *state <= TKI_HEADSET_WITHOUT_MIC ? state : std::nullopt;
}

std::vector<int> look(std::span<const factory::AttributeText> texts) {
    const auto state = texts[0] ? state_of(*texts[0]) : std::nullopt;
    return state ? std::vector<int>{*state} : std::vector<int>{};
}

factory::AttributeText read_socket() {
    auto text = hal::read_attribute(STATE);
    if (!text) HAL_LOG_E(FACTORY_TAG, "no headset switch: %s: %s", STATE, strerror(errno));
    return text;
}
} // namespace

namespace factory {

bool headset_watch_start(tki_callback cb) {
    if (!read_socket()) return true;
    const auto body = [cb](hal::CallbackThread::Run &run) { watch<int>(run, cb, TKI_MODULE_HEADSET, {{STATE}}, look); };
    return g_watch.start(FACTORY_TAG, "headset", body);
}

void headset_watch_stop() { g_watch.stop(); }

} // namespace factory

TKI_API(int) tki_api_GetHeadsetState() noexcept {
    const auto text = read_socket();
    if (!text) return -1;
    const auto state = state_of(*text);
    if (!state) HAL_LOG_E(FACTORY_TAG, "%s does not hold 0, 1 or 2", STATE);
    return state.value_or(-1);
}
