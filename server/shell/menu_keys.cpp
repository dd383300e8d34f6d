// The menu's key hook: the power key for all windows, and the touch lock of the menu itself.
#include "shell/menu_internal.h"

#include <atomic>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "base/worker.h"
#include "device/power.h"

namespace {

constexpr int64_t MS = 1000000;
constexpr int LONG_PRESS_MS = 800;

struct PowerKey {
    std::atomic<int64_t> pressed_ns{0};
    std::atomic<bool> released{true};
    std::atomic<HWND> target{HWND_NULL};
    tp_os_sema_t wake = nullptr; // put by a short release, so that the watcher need not poll
    Worker watcher;
};
PowerKey power_key;

struct TouchLock {
    int count = 0;
    int64_t first_ns = 0;
    int64_t down_ns = 0;
    bool by_gesture = false;
};
TouchLock touch_lock;

void open_power_off_dialog() {
    if (g_bCurrentSleepStatus == 1) SetIdleWakeupStatus(0);
    if (!menu_dialog_lock()) return;
    SendMessage(g_main_menu_wnd, MSG_CREATEDIALG, power_key.target, 1);
    // Nothing came up: the next long press must not wait for an answer that nobody can give.
    if (g_iCreateDialog == 0) menu_dialog_unlock();
    power_key.released = true;
}

// One per press. Decides at 800 ms, not earlier and not when the key was released before.
void watch_power_key() {
    while (!power_key.released) {
        const int64_t held = (tp_clock_mono_ns() - power_key.pressed_ns) / MS;
        if (held < LONG_PRESS_MS) {
            tp_os_sema_get(power_key.wake, LONG_PRESS_MS - held);
            if (tp_os_thread_stop_requested()) return;
            continue;
        }
        if (g_dialogcouldshow == 1) return open_power_off_dialog();
        LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "%s,L%d:: tempval=%d,g_dialogcouldshow=%d,thead_exit.", __func__,
                __LINE__, static_cast<int>(held), g_dialogcouldshow.load());
        power_key.released = true;
    }
}

void power_key_event(HWND target, bool down) {
    if (down) {
        power_key.watcher.stop();
        power_key.pressed_ns = tp_clock_mono_ns();
        power_key.released = false;
        power_key.target = target;
        LOG_D(MENU_TAG, "power key down");
        power_key.watcher.start("powerkey", watch_power_key);
    } else if (power_press_is_short(tp_clock_mono_ns() - power_key.pressed_ns)) {
        power_key.released = true;
        if (power_key.wake) tp_os_sema_put(power_key.wake);
        SwitchSleepStatus();
    }
}

bool is_unlock_key(int code) { return code == KEY_CLOSE || code == KEY_VOLUP || code == KEY_VOLDOWN; }

void count_unlock_key() {
    const int64_t now = tp_clock_mono_ns();
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "hjl time %d ", static_cast<int>((now - touch_lock.down_ns) / MS));
    if (++touch_lock.count == 1) touch_lock.first_ns = now;
    if (touch_lock.count != 4) return;
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "time = %d\n", static_cast<int>((now - touch_lock.first_ns) / MS));
    if (unlock_in_time(touch_lock.first_ns, now)) {
        LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "time correct! unlock tp!\n");
        touch_lock.by_gesture = true;
        g_bWiFiConnectStatus = 0;
        PostMessage(g_main_menu_wnd, MSG_ACTIVE, 1, 0); // the picture makes room for the rows
    } else {
        LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "time out, try again!\n");
        touch_lock.count = 0;
    }
}

// 1: swallowed. Key downs of other keys pass while their key ups do not: as agreed.
int locked_key(int code, bool down) {
    if (down) {
        if (!is_unlock_key(code)) return 0;
        touch_lock.down_ns = tp_clock_mono_ns();
    } else if (is_unlock_key(code)) {
        count_unlock_key();
    }
    return 1;
}

HWND main_window_of(HWND hwnd) {
    while (hwnd != HWND_NULL && IsWindow(hwnd) && !IsMainWindow(hwnd)) hwnd = GetParent(hwnd);
    return hwnd;
}

int hookKeyProc(void *, HWND dst, UINT message, WPARAM wParam, LPARAM) {
    if (message != MSG_KEYDOWN && message != MSG_KEYUP) return 0;
    const int code = static_cast<int>(wParam);
    const HWND target = main_window_of(dst);
    if (code == KEY_POWER_CODE) power_key_event(target, message == MSG_KEYDOWN);
    if (g_bWiFiConnectStatus == 1 && target == g_main_menu_wnd)
        return locked_key(code, message == MSG_KEYDOWN);
    return 0;
}

// While it is locked the menu feels no finger; what lies over it does.
int hookTouchProc(void *, HWND dst, UINT, WPARAM, LPARAM) {
    return g_bWiFiConnectStatus == 1 && main_window_of(dst) == g_main_menu_wnd ? 1 : 0;
}

} // namespace

bool power_press_is_short(int64_t held_ns) { return held_ns / MS / 32 < 25; }

bool unlock_in_time(int64_t first_ns, int64_t fourth_ns) {
    return (fourth_ns - first_ns) / MS <= UNLOCK_WINDOW_MS;
}

void menu_install_key_hook() {
    if (!power_key.wake) power_key.wake = tp_os_sema_create(0);
    power_key.released = true;
    touch_lock = TouchLock();
    RegisterKeyMsgHook(nullptr, hookKeyProc);
    RegisterMouseMsgHook(nullptr, hookTouchProc);
}

void menu_remove_key_hook() {
    RegisterKeyMsgHook(nullptr, nullptr);
    RegisterMouseMsgHook(nullptr, nullptr);
    power_key.released = true;
    power_key.watcher.stop();
}

void menu_reset_unlock_counter() { touch_lock.count = 0; }
bool menu_unlocked_by_gesture() { return touch_lock.by_gesture; }

void menu_lock_touch() {
    g_bWiFiConnectStatus = 1;
    touch_lock.count = 0;
}
