#include "shell/test_info.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <tp_os.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/barcode.h"
#include "shell/bars.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"
#include "shell/shell_actions.h"
#include "shell/verdict_digits.h"

namespace {

constexpr const char *TAG = "TESTINFO", *SOURCE = "mmi_testwnd_TestInfo";
constexpr int ROWS = 6, ROW_PSN = 2, ROW_SN = 4;
constexpr int ID_TITLE = 20, ID_LIST = 21;
constexpr int POLLS = 100, POLL_MS = 100;

struct Record {
    tki_testinfo_record info{};
    char external_version[CFG_TEXT] = {}; // first line of the software version
    char internal_version[CFG_TEXT] = {}; // what follows it
};
std::mutex record_lock;
Record record;

// Put for every answer, so that a reader need not poll.
tp_os_sema_t answered() {
    static const tp_os_sema_t sema = tp_os_sema_create(0);
    return sema;
}

std::atomic<HWND> info_wnd{HWND_NULL};
std::atomic<bool> screen_open{false};

constexpr MainMenuRow PRISTINE[ROWS] = {
    {0, "menu_SoftVer", nullptr}, {1, "menu_HardVer", nullptr}, {2, "menu_PSN", nullptr},
    {3, "menu_FlagBit", nullptr}, {4, "menu_SN", nullptr},      {5, "menu_FlashType", nullptr},
};
constexpr int LINES[ROWS] = {4, 2, 4, 2, 2, 3};
MainMenuRow TestInfoWinMenu[ROWS];

void restore_rows() { std::copy(std::begin(PRISTINE), std::end(PRISTINE), std::begin(TestInfoWinMenu)); }

// A text of the library need not be terminated inside its field.
template <size_t N> std::string text_of(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

template <size_t N> void put(char (&out)[N], const std::string &text) {
    std::snprintf(out, N, "%s", text.c_str());
}

void split_version(Record &r, const std::string &software) {
    const size_t feed = software.find('\n');
    if (feed == std::string::npos) return;
    put(r.internal_version, software.substr(feed + 1));
    put(r.external_version, software.substr(0, feed));
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::internal software_version=%s", "Get_testinfo_callback",
            r.internal_version);
}

void keep_record(const tki_testinfo_record &info) {
    const char *name = "Get_testinfo_callback";
    std::lock_guard guard(record_lock);
    record.info = info;
    const std::string software = text_of(info.software_version);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::software_version=%s", name, software.c_str());
    split_version(record, software);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::hardware_version=%s", name, text_of(info.hardware_version).c_str());
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::psn=%s", name, text_of(info.psn).c_str());
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::boardnum=%s", name, text_of(info.boardnum).c_str());
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::flash_info=%s", name, text_of(info.flash_info).c_str());
}

std::string row_value(int row, const tki_testinfo_record &info) {
    switch (row) {
    case 0:
        return text_of(info.software_version);
    case 1:
        return text_of(info.hardware_version);
    case 2:
        return main_config_int("MMI", "show_psn", "1") ? text_of(info.psn) : std::string();
    case 3:
        return verdict_digits(info.flags) + "\n";
    case 4:
        return text_of(info.boardnum);
    default:
        return text_of(info.flash_info);
    }
}

void draw_row(HWND sv, HSVITEM item, HDC hdc, RECT *rect) {
    SetBkMode(hdc, BM_TRANSPARENT);
    SetBrushColor(hdc, SysPixelIndex[scrollview_is_item_hilight(sv, item) ? 17 : 18]);
    FillBox(hdc, rect->left + 1, rect->top + 1, RECTW(*rect) - 2, RECTH(*rect) - 2);
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[20]);
    MoveTo(hdc, rect->left + 3, rect->bottom - 1);
    LineTo(hdc, rect->right - 1, rect->bottom - 1);
    SetTextColor(hdc, SysPixelIndex[19]);
    const int size = screen_width() < 1380 ? screen_width() / 15 / 4 * 4 : 90;
    const int margin = screen_width() / 90 + 3;
    draw_text_fitted(hdc, scrollview_get_item_text(item),
                     {rect->left + margin, rect->top, rect->right - margin, rect->bottom},
                     DT_LEFT | DT_WORDBREAK, 'r', size);
}

// A touch on the PSN or the board number shows it as a code for a scanner; the other rows are for reading.
void row_chosen(HWND sv, int, int, uintptr_t) {
    const int row = scrollview_get_current(sv);
    if (row != ROW_PSN && row != ROW_SN) return;
    tki_testinfo_record info;
    {
        std::lock_guard guard(record_lock);
        info = record.info;
    }
    if (const std::string value = row_value(row, info); !value.empty()) barcode_show(PRISTINE[row].text, value.c_str());
}

void fill(HWND hwnd) {
    tki_testinfo_record info;
    {
        std::lock_guard guard(record_lock);
        info = record.info;
    }
    const HWND sv = GetDlgItem(hwnd, ID_LIST);
    scrollview_reset_content(sv); // a second answer takes the first one's place
    restore_rows();
    const int line = GetLogFontHeight(g_font_text);
    for (int i = 0; i < ROWS; ++i) {
        MainMenuRow &row = TestInfoWinMenu[i];
        const std::string text = std::string(lang_text(row.text).text) + "\n" + row_value(i, info);
        put(row.text, text);
        LOG_D(TAG, "%s", text.c_str());
        scrollview_add_item(sv, LINES[i] * line, row.index, text.c_str());
    }
    offer_shell_list(sv, row_chosen);
}

void build(HWND hwnd) {
    const int width = screen_width();
    const HWND title = CreateWindowEx("static", lang_text("title_ProduceInfo"), 0x8400101, 0, ID_TITLE, 0, 0,
                                      width, status_bar_height(), hwnd, 0);
    SetWindowFont(title, g_font_title);
    const DWORD style = g_bTPShape == 1 ? 0xd840000b : 0xd840000a;
    const RECT list{0, 0, width, screen_height() - status_bar_height() - softkey_bar_height()};
    const HWND sv = create_shell_list(hwnd, list, g_font_text, draw_row, style, 2160);
    scrollview_set_choose_key(sv, -1); // key 60 closes this screen
    restore_rows();
    screen_open = true;
}

void refresh() {
    // The title in the bar: the rows cover the title control.
    show_bar_texts(lang_text("title_ProduceInfo"), lang_text("Result_pass"), lang_text("Result_fail"), lang_text("softkeybar_back"));
}

void forget_screen() {
    if (!screen_open.exchange(false)) return;
    info_wnd = HWND_NULL;
    {
        std::lock_guard guard(record_lock);
        record.internal_version[0] = record.external_version[0] = '\0';
    }
    restore_rows();
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s MSG_CLOSE TestInfoWinMenu[2].name=%s", "mmi_TestInfoWndProc",
            TestInfoWinMenu[ROW_PSN].text);
}

LRESULT mmi_TestInfoWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        build(hwnd);
        break;
    case MSG_ACTIVE:
        if (wParam == 1) refresh();
        break;
    case MSG_CALLBACK:
        fill(hwnd);
        return 0;
    case MSG_PAINT:
        paint_top_line(hwnd);
        return 0;
    case MSG_KEYDOWN:
        if (wParam != KEY_PASS && wParam != KEY_FAIL) break;
        if (tki_api_Get_TestInfo_Stop) tki_api_Get_TestInfo_Stop();
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return 0;
    case MSG_CLOSE:
        forget_screen();
        DestroyAllControls(hwnd);
        DestroyMainWindow(hwnd);
        return 0;
    case MSG_DESTROY: // also when the menu takes its windows along
        forget_screen();
        break;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void mmi_CreateTestInfoWnd() {
    const HWND hwnd = create_shell_window(mmi_TestInfoWndProc, g_main_menu_wnd, test_window_rect(), "TestInfo", 0x28000000);
    if (hwnd == HWND_INVALID) {
        LOG_E(TAG, "no window");
        return;
    }
    info_wnd = hwnd;
    ShowWindow(hwnd, SW_SHOWNORMAL);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "tki_api_Get_TestInfo begin,g_currentwndCreated=%d.%s",
            screen_open ? 1 : 0, SOURCE);
    if (tki_api_Get_TestInfo) tki_api_Get_TestInfo(Get_testinfo_callback);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "tki_api_Get_TestInfo end.%s", SOURCE);
}

// ---- the PC's readers
// ---------------------------------------------------------------------------------------

void clear_record() {
    std::lock_guard guard(record_lock);
    record = Record();
}

std::string stored_field(int field) {
    std::lock_guard guard(record_lock);
    switch (field) {
    case TEST_INFO_BARCODE:
        return text_of(record.info.boardnum);
    case TEST_INFO_IMEI:
        return text_of(record.info.psn);
    case TEST_INFO_INTERNAL_SOFTWARE:
        return text_of(record.internal_version);
    case TEST_INFO_EXTERNAL_SOFTWARE:
        return text_of(record.external_version);
    case TEST_INFO_HARDWARE:
        return text_of(record.info.hardware_version);
    default:
        return text_of(record.info.flash_info);
    }
}

const char *const READER_NAMES[] = {
    "mmi_AutoTest_barcode_Read",          "mmi_AutoTest_IMEI_Read",     "mmi_AutoTest_internalsoftware_Read",
    "mmi_AutoTest_externalsoftware_Read", "mmi_AutoTest_hardware_Read", "mmi_AutoTest_flashtype_Read"};

// Empty when the field did not arrive.
std::string wait_for_field(int field) {
    for (int poll = 0; poll < POLLS; ++poll) {
        if (std::string text = stored_field(field); !text.empty()) return text;
        tp_os_sema_get(answered(), POLL_MS);
        if (tp_os_thread_stop_requested()) break;
    }
    return {};
}

} // namespace

void mmi_TestInfoEntry() {
    if (IsWindow(info_wnd)) {
        ShowWindow(info_wnd, SW_SHOWNORMAL);
        return;
    }
    if (g_shell_actions.card_read_config) g_shell_actions.card_read_config();
    mmi_CreateTestInfoWnd();
}

// Told, not asked: the window may just be waiting for the library to end this very request.
void Get_testinfo_callback(tki_module_data *module) {
    LOG_D(TAG, "begin.%s", SOURCE);
    if (!module) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "module_data=NULL %s %s ", __func__, SOURCE);
        return;
    }
    if (module->type == TKI_MODULE_TESTINFO && module->data)
        keep_record(*static_cast<const tki_testinfo_record *>(module->data));
    tp_os_sema_put(answered());
    if (screen_open) SendNotifyMessage(info_wnd, MSG_CALLBACK, 0, 0);
    LOG_D(TAG, "end.%s", SOURCE);
}

int test_info_read_field(int field, char *out, int maxoutlen) {
    if (field < 0 || field > TEST_INFO_FLASH_TYPE || !out || maxoutlen < 0) return 0;
    if (!screen_open) {
        clear_record();
        while (tp_os_sema_get(answered(), 0) == 0) {} // an earlier request's
        if (tki_api_Get_TestInfo) tki_api_Get_TestInfo(Get_testinfo_callback);
    }
    const std::string text = wait_for_field(field);
    if (!text.empty()) {
        std::memcpy(out, text.data(), std::min(text.size(), static_cast<size_t>(maxoutlen)));
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:: success end", READER_NAMES[field]);
    } else {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:: fail end", READER_NAMES[field]);
    }
    if (!screen_open) {
        clear_record();
        if (tki_api_Get_TestInfo_Stop) tki_api_Get_TestInfo_Stop();
    }
    return text.empty() ? 0 : 1;
}
