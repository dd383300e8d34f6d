// Records of the kernel's input protocol to keys and touches of one finger.
#include "input.h"

#include <algorithm>
#include <android/log.h>
#include <cstring>

#include "panel.h"

namespace vcore {
namespace {
constexpr int64_t HALF_RECORD_NS = 100'000'000;
constexpr long MICROSECONDS = 1'000'000;

int to_pixel(int value, const InputParser::Range &range, int size) {
    int64_t pixel = value;
    if (range.maximum > range.minimum)
        pixel = (static_cast<int64_t>(value) - range.minimum) * size / (static_cast<int64_t>(range.maximum) - range.minimum + 1);
    return static_cast<int>(std::clamp<int64_t>(pixel, 0, size - 1));
}
} // namespace

void InputParser::log_garbage() {
    if (!garbage_logged_) __android_log_print(ANDROID_LOG_WARN, "VCORE", "%s %s sent what is no record", __func__, name_.c_str());
    garbage_logged_ = true;
}

namespace {
input_event event_at(std::span<const std::byte> bytes, size_t at) {
    input_event event;
    memcpy(&event, bytes.data() + at, sizeof event);
    return event;
}

bool plausible(const input_event &event) {
    const auto seconds = static_cast<int64_t>(event.input_event_sec);
    const auto micros = static_cast<int64_t>(event.input_event_usec);
    if (seconds < 0 || seconds > UINT32_MAX || micros < 0 || micros >= MICROSECONDS) return false;
    switch (event.type) {
    case EV_SYN: return event.code <= SYN_DROPPED;
    case EV_KEY: return event.code <= KEY_MAX && event.value >= 0 && event.value <= 2;
    case EV_REL: return event.code <= REL_MAX;
    case EV_ABS: return event.code <= ABS_MAX;
    case EV_MSC: return event.code <= MSC_MAX;
    case EV_SW: return event.code <= SW_MAX;
    default: return false;
    }
}

// Where records go on behind a broken one: the offset behind which the most keys and positions line up. Without any,
// everything but the last bytes, which may be a record's beginning.
size_t bytes_to_skip(std::span<const std::byte> bytes) {
    constexpr size_t SIZE = sizeof(input_event);
    size_t best = std::max(SIZE, bytes.size() - SIZE + 1), best_count = 0;
    for (size_t offset = SIZE; offset > 0; --offset) {
        size_t count = 0;
        for (size_t at = offset; at + SIZE <= bytes.size(); at += SIZE) {
            const input_event event = event_at(bytes, at);
            count += plausible(event) && (event.type == EV_KEY || event.type == EV_ABS);
        }
        if (count > best_count) {
            best = offset;
            best_count = count;
        }
    }
    return std::min(best, bytes.size());
}
} // namespace

void InputParser::feed(std::span<const std::byte> bytes, int64_t now_ns) {
    if (!rest_.empty() && now_ns - rest_since_ > HALF_RECORD_NS) {
        log_garbage();
        rest_.clear();
    }
    rest_.insert(rest_.end(), bytes.begin(), bytes.end());
    std::span<const std::byte> left(rest_);
    while (left.size() >= sizeof(input_event)) {
        const input_event event = event_at(left, 0);
        // The kernel sends whole records. A FIFO has whatever its writers left in it.
        if (kernel_device_ || plausible(event)) {
            left = left.subspan(sizeof event);
            record(event);
        } else {
            log_garbage();
            left = left.subspan(bytes_to_skip(left));
        }
    }
    rest_.erase(rest_.begin(), rest_.end() - static_cast<ptrdiff_t>(left.size()));
    rest_since_ = now_ns;
}

void InputParser::record(const input_event &event) {
    if (event.type == EV_SYN) {
        if (event.code == SYN_DROPPED) dropping_ = true;
        else if (event.code == SYN_MT_REPORT) ++contact_;
        else if (event.code == SYN_REPORT) end_of_frame();
    } else if (dropping_) {
        return;
    } else if (event.type == EV_KEY) {
        key(event.code, event.value);
    } else if (event.type == EV_ABS) {
        position(event.code, event.value);
    }
}

void InputParser::key(int code, int value) {
    if (code == BTN_TOUCH) {
        // Where contacts have ids, only the first finger's id says that it is down.
        if (value == 0) touching_ = false;
        else if (!tracking_) touching_ = true;
        return;
    }
    const bool button = code >= BTN_MISC && code < KEY_OK;
    if (button || value > 1) return;
    sink_({value ? InputEvent::Kind::key_down : InputEvent::Kind::key_up, tp_keycode_to_scancode(code)});
}

void InputParser::position(int code, int value) {
    const RECT screen = panel_rect();
    switch (code) {
    case ABS_MT_SLOT:
        slots_ = true;
        contact_ = value;
        break;
    case ABS_MT_TRACKING_ID:
        if (contact_ != 0) break;
        tracking_ |= value >= 0;
        touching_ = value >= 0;
        break;
    case ABS_MT_POSITION_X:
    case ABS_MT_POSITION_Y: multitouch_ = true; [[fallthrough]];
    case ABS_X:
    case ABS_Y: {
        const bool single = code == ABS_X || code == ABS_Y;
        if (single ? multitouch_ : contact_ != 0) break;
        if (code == ABS_X || code == ABS_MT_POSITION_X) x_ = to_pixel(value, range_x_, RECTW(screen));
        else y_ = to_pixel(value, range_y_, RECTH(screen));
        moved_ = true;
        break;
    }
    default: break;
    }
}

void InputParser::touch(InputEvent::Kind kind) { sink_({kind, 0, x_, y_}); }

void InputParser::end_of_frame() {
    if (dropping_ && ask_touching) touching_ = ask_touching();
    dropping_ = false;
    if (touching_ && !was_touching_) touch(InputEvent::Kind::touch_down);
    else if (touching_ && moved_) touch(InputEvent::Kind::touch_move);
    else if (!touching_ && was_touching_) touch(InputEvent::Kind::touch_up);
    was_touching_ = touching_;
    moved_ = false;
    // A slot stays selected over frames; contacts without slots are counted anew in each.
    if (!slots_) contact_ = 0;
}

void InputParser::finish() {
    touching_ = false;
    end_of_frame();
}
} // namespace vcore
