#include "testwnd/mmi_testwnd_key.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cutils/properties.h>
#include <tp_clock.h>

#include "base/log_door.h"
#include "config/test_items.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

KeyTestItem Keytest_Item[KEYTEST_ITEMS] = {
    {103, "VOLUME_UP", 0, "info_KeyItem0", 0, {}, 0, 0},
    {108, "VOLUME_DOWN", 0, "info_KeyItem1", 0, {}, 0, 0},
    {102, "HOME", 0, "info_KeyItem2", 0, {}, 0, 0},
    {88, "BACK", 0, "info_KeyItem3", 0, {}, 0, 0},
    {127, "MENU", 0, "info_KeyItem4", 0, {}, 0, 0},
    {1, "POWER", 0, "info_KeyItem5", 0, {}, 0, 0},
    {68, "CAMERA", 0, "info_KeyItemCamera", 0, {}, 0, 0},
    {128, "SEARCH", 0, "info_KeyItemSearch", 0, {}, 0, 0},
    {130, "HOOK", 0, "info_KeyItemHook", 0, {}, 0, 0},
    {187, "APP_SWITCH", 0, "info_KeyItemRcentAPP", 0, {}, 0, 0},
    {131, "TORCH", 0, "info_KeyItem6", 0, {}, 0, 0},
    {377, "TV", 0, "info_keyItemTVText", 0, {}, 0, 0},
};
char g_keys_buf[CFG_TEXT];

namespace {
constexpr char TAG[] = "TKI_KEYS";
constexpr int KEY_NOT_FOUND = 102;

// HOOK is left out on purpose: no setting reads it, it stays as it is.
const char *const SETTINGS[] = {"VOLUME_UP", "VOLUME_DOWN", "HOME",       "BACK",  "MENU", "POWER",
                                "CAMERA",    "SEARCH",      "APP_SWITCH", "TORCH", "TV"};

std::atomic<int> g_all_passed{0}; // survives the window until the next one, for the board test
bool g_pcba_mode = false;
bool g_texts_translated = false;
bool g_active_handled = false, g_paint_handled = false;

bool key_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void paint(HWND hwnd, HDC hdc);
void on_close(HWND) { memset(g_keys_buf, 0, sizeof g_keys_buf); }

TestWindow g_window{.domain = "TKI_KEYS", .title_key = "title_KeyTest", .station = 312,
                    .keys = {"", "", "Result_fail"}, .pass_by_key = false, .proc = key_proc, .on_close = on_close,
                    .paint = paint};

KeyTestItem *find_enabled(int code) {
    for (KeyTestItem &item : Keytest_Item)
        if (item.test_enable && item.keycode == code) return &item;
    return nullptr;
}

// The enabled key that is held down now, other than code; null when none is.
const KeyTestItem *held_key(int other_than) {
    for (const KeyTestItem &item : Keytest_Item)
        if (item.test_enable && item.keycode != other_than && item.down != item.up) return &item;
    return nullptr;
}

bool all_tested() {
    for (const KeyTestItem &item : Keytest_Item)
        if (item.test_enable && !item.tested) return false;
    return true;
}

void enable_touch_keys(const ConfigPara *paras, int count) {
    static const char caller[] = "Current_testwnd_GetConfigParas";
    const int wanted = parameter_value(paras, count, "UI_KEYS");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::bEnableUIKeyTest=%d", caller, wanted);
    if (!wanted) return;
    char status[PROPERTY_VALUE_MAX] = {};
    property_get("ftmd.TPstatus", status, "0");
    const int touch_panel = atoi(status);
    if (!touch_panel) return;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::bEnableUIKeys=%d", caller, touch_panel);
    for (const char *name : {"HOME", "BACK", "APP_SWITCH"}) setKeytest_Item_value(name, 1);
}

void read_settings() {
    if (g_pcba_mode) {
        for (KeyTestItem &item : Keytest_Item) item.test_enable = 0;
        for (const char *name : {"VOLUME_UP", "VOLUME_DOWN", "POWER"}) setKeytest_Item_value(name, 1);
        return;
    }
    ConfigPara paras[12] = {};
    const int count = test_item_parameters("TKI_KEYS", paras, 12);
    for (const char *name : SETTINGS) {
        std::string text;
        const int value = parameter_value(paras, count, name, "0", &text);
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::CONFIG_%s=%s,tempval=%d", "Current_testwnd_GetConfigParas", name, text.c_str(), value);
        setKeytest_Item_value(name, value);
    }
    enable_touch_keys(paras, count);
}

void on_create() {
    for (KeyTestItem &item : Keytest_Item) item.tested = 0;
    g_all_passed = 0;
    memset(g_keys_buf, 0, sizeof g_keys_buf);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::MSG_CREATE g_currentwndCreated=1", "mmi_ExampleWin_KeyTestWndProc");
}

void paint(HWND hwnd, HDC hdc) {
    RECT client{};
    GetClientRect(hwnd, &client);
    SetPenColor(hdc, SysPixelIndex[10]);
    SetPenWidth(hdc, 1);
    MoveTo(hdc, 0, 0);
    LineTo(hdc, client.right, 0);
    SetBkMode(hdc, BM_TRANSPARENT);
    SetTextColor(hdc, SysPixelIndex[12]);
    SetBrushColor(hdc, SysPixelIndex[18]);
    const int size = screen_width() < 1380 ? screen_width() / 15 / 4 * 4 : 90;
    for (KeyTestItem &item : Keytest_Item) {
        if (!g_texts_translated) snprintf(item.text, sizeof item.text, "%s", lang_text(item.text).text);
        if (item.test_enable && !item.tested) {
            draw_text_fitted(hdc, item.text, item.rect, DT_CENTER | DT_SINGLELINE, 'r', size);
        } else {
            FillBox(hdc, item.rect.left, item.rect.top, RECTW(item.rect), RECTH(item.rect));
        }
    }
    g_texts_translated = true;
}

void mmiTestMsgKeyTestProc(HWND hwnd, int code, UINT message) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmiTestMsgKeyDownProc wParam=%d\n", code);
    if (code == KEY_PASS && g_all_passed) {
        test_frame_pass(g_window);
        return;
    }
    if (code == KEY_FAIL) {
        const KeyTestItem *item = find_enabled(code);
        if (!item || item->tested) test_frame_fail(g_window);
        // No pass check behind a release of this key: it never completes the test by itself. Agreed.
        else if (message == MSG_KEYDOWN) CheckKeyisDown(hwnd, code);
        else CheckKeyisUp(hwnd, code);
        return;
    }
    if (message == MSG_KEYDOWN) {
        CheckKeyisDown(hwnd, code);
        return;
    }
    CheckKeyisUp(hwnd, code);
    if (all_tested()) {
        g_all_passed = 1;
        test_frame_pass(g_window);
    }
    append_released_key(code);
}

bool key_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    static const char caller[] = "mmi_ExampleWin_KeyTestWndProc";
    *result = 0;
    switch (message) {
    case MSG_CREATE: on_create(); return false;
    case MSG_ACTIVE:
        g_active_handled = !(g_window.pc_mode && !g_window.created);
        if (!g_active_handled) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::MSG_ACTIVE g_currentwndCreated=0", caller);
        return !g_active_handled;
    case MSG_PAINT:
        g_paint_handled = !(g_window.pc_mode && !g_window.created);
        if (!g_paint_handled) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::MSG_PAINT g_currentwndCreated=0", caller);
        return !g_paint_handled;
    case MSG_KEYDOWN:
    case MSG_KEYUP:
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s message= %s", caller, message == MSG_KEYDOWN ? "MSG_KEYDOWN" : "MSG_KEYUP");
        mmiTestMsgKeyTestProc(hwnd, static_cast<int>(wParam), message);
        return true;
    case MSG_QUIT_WITH_FAIL:
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_testwnd_key.c test fail");
        return false;
    default: return false;
    }
}

// The window comes up within the call; only its first status texts and paint may still be owed.
int open_for_pc() {
    test_frame_close_others(&g_window);
    g_window.pc_mode = 0;
    if (!g_window.created) {
        g_active_handled = g_paint_handled = false;
        mmi_teswnd_KeyTest();
    }
    if (!g_window.created) return 1; // no key is enabled
    g_window.pc_mode = 1;
    if (!g_active_handled) SendMessage(g_window.hwnd, MSG_ACTIVE, 1, 0);
    if (!g_paint_handled) UpdateWindow(g_window.hwnd, true);
    return 1;
}
} // namespace

void append_released_key(int code) {
    const int input_code = scancode_convert_keycode(code);
    if (input_code == 0) return;
    char old[CFG_TEXT];
    memcpy(old, g_keys_buf, sizeof old);
    snprintf(g_keys_buf, sizeof g_keys_buf, "%s%d,", old, input_code);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::g_keys_buf=%s", "mmiTestMsgKeyTestProc", g_keys_buf);
}

void reply_released_keys(char *out, int maxoutlen) {
    if (out && maxoutlen > 0) snprintf(out, static_cast<size_t>(maxoutlen), "%s", g_keys_buf);
}

void setKeytest_Item_value(const char *name, int value) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::name=%s,test_enable_value=%d", __func__, name, value);
    for (int i = 0; i < KEYTEST_ITEMS; ++i) {
        KeyTestItem &item = Keytest_Item[i];
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::Keytest_Item[%d].config_name=%s", __func__, i, item.config_name);
        if (strncmp(item.config_name, name, strlen(item.config_name)) != 0) continue;
        item.test_enable = value;
        item.down = item.up = 0;
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::Keytest_Item[%d].test_enable=%d", __func__, i, value);
        return;
    }
}

int Get_Keytest_item_key_value(const char *name) {
    for (const KeyTestItem &item : Keytest_Item)
        if (strncmp(item.config_name, name, strlen(item.config_name)) == 0) return item.keycode;
    return KEY_NOT_FOUND;
}

void init_keyrect() {
    const int width = screen_width(), bottom = RECTH(test_window_rect());
    const auto enabled = std::ranges::count_if(Keytest_Item, [](const KeyTestItem &item) { return item.test_enable; });
    const int count = std::max(1, static_cast<int>(enabled));
    int line = 2 * GetLogFontHeight(g_font_text);
    RECT next{0, (width / 12) * 3 + 30, width, 0};
    if (next.top + count * line > bottom) { // as many keys as the configuration has got: closer, from the title down
        next.top = status_bar_height();
        line = std::min(line, (bottom - next.top) / count);
    }
    for (KeyTestItem &item : Keytest_Item) {
        // A disabled key has no line: an old one would erase another key's text when it is painted.
        item.rect = {};
        if (!item.test_enable) continue;
        next.bottom = next.top + line;
        item.rect = next;
        next.top = next.bottom;
    }
}

void mmi_teswnd_KeyTest() {
    read_settings();
    bool any = false;
    for (const KeyTestItem &item : Keytest_Item) any = any || item.test_enable;
    if (!any) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "no test key is exist");
        return;
    }
    init_keyrect();
    for (KeyTestItem &item : Keytest_Item) item.down = item.up = 0;
    test_frame_open(g_window);
}

void CheckKeyisDown(HWND hwnd, int code) {
    if (const KeyTestItem *held = held_key(-1)) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::key %s DownUp status fail.", __func__, __LINE__, held->config_name);
        return;
    }
    KeyTestItem *item = find_enabled(code);
    if (!item || item->down || item->up) return;
    item->down = 1;
    if (!item->tested) InvalidateRect(hwnd, nullptr, false);
}

void CheckKeyisUp(HWND hwnd, int code) {
    if (const KeyTestItem *held = held_key(code)) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::key %s DownUp status fail.", __func__, __LINE__, held->config_name);
        return;
    }
    KeyTestItem *item = find_enabled(code);
    if (!item || !item->down || item->up) return;
    item->up = 1;
    if (item->tested) return;
    item->tested = 1;
    InvalidateRect(hwnd, nullptr, true);
}

void mmi_teswnd_KeyTestEntry() { mmi_teswnd_KeyTest(); }

void mmi_teswnd_KeyTest_Stop_Entry() { test_frame_pc_close(g_window); }

int PCBAKeyTestStart() {
    on_gui_thread([] {
        test_frame_close_others(&g_window);
        test_frame_close(g_window);
        g_all_passed = 0;
        g_pcba_mode = true;
        g_window.pc_mode = 1;
        mmi_teswnd_KeyTest();
        return 1;
    });
    for (int i = 0; i < 62 && !g_all_passed; ++i) tp_clock_sleep_ms(500);
    test_frame_pc_close(g_window);
    tp_clock_sleep_ms(100);
    on_gui_thread([] {
        g_pcba_mode = false;
        return 1;
    });
    return g_all_passed;
}

int PCBAKeyTestStop() { return test_frame_pc_close(g_window); }

int mmi_AutoTest_KeyTestEntry() {
    on_gui_thread([] { return open_for_pc(); });
    return 1;
}

int mmi_AutoTest_KeyTest_Stop(char *out, int maxoutlen) {
    return on_gui_thread([out, maxoutlen] {
               reply_released_keys(out, maxoutlen); // before closing clears it
               test_frame_close(g_window);
               return 1;
           }) == 1
               ? 1
               : 0;
}
