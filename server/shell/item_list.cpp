// The single-item test list: every enabled item, coloured by the verdict of its station.
#include "shell/device_list.h"

#include "base/log_door.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/bars.h"
#include "shell/main_menu.h"

namespace {

constexpr const char *TAG = "TKI_MAIN";
constexpr int ID_LIST = 21;
HWND item_wnd = HWND_NULL;

const TestItem *item_at(int n) {
    for (const TestItemNode *node = g_testitem_list; node; node = node->pNodeNext, --n)
        if (n == 0) return &node->testitem;
    return nullptr;
}

int verdict_color(int station) {
    if (station < 0 || station >= STATION_COUNT) return 19;
    switch (g_testinfo[station].test_result) {
    case 1:
        return 10;
    case 2:
        return 12;
    default:
        return 19;
    }
}

// The row carries its station, so that a list that was rebuilt below the window does no harm.
void draw_item(HWND sv, HSVITEM item, HDC hdc, RECT *rect) {
    const int station = static_cast<int>(static_cast<intptr_t>(scrollview_get_item_adddata(item)));
    menu_draw_row(sv, item, hdc, rect, 17, true, verdict_color(station));
}

void clicked(HWND sv, int, int nc, uintptr_t) {
    if (nc != SVN_CLICKED) return;
    const TestItem *item = item_at(scrollview_get_current(sv));
    if (!item || !item->item_entry) return;
    g_deviceIsAutoTest = 0;
    LOG_D(TAG, "%s", item->config_domain);
    item->item_entry();
}

void read_results() {
    uint8_t area[TKI_FLAG_AREA] = {};
    if (!tki_api_GetTestInfoFlag) return;
    tki_api_GetTestInfoFlag(area);
    GetTestItemsResult(area);
}

void build(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    client.top = 3;
    const HWND sv = create_shell_list(hwnd, client, g_font_menu, draw_item);
    for (const TestItemNode *node = g_testitem_list; node; node = node->pNodeNext)
        scrollview_add_item(sv, row_height(),
                            static_cast<uintptr_t>(static_cast<intptr_t>(node->testitem.testinfo_index)),
                            lang_text(node->testitem.name));
    offer_shell_list(sv, clicked);
}

void refresh(HWND hwnd) {
    read_results();
    show_bar_texts(lang_text("menu_ItemTest"), "", "", lang_text("softkeybar_back"));
    InvalidateRect(GetDlgItem(hwnd, ID_LIST), nullptr, true);
}

LRESULT item_list_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        build(hwnd);
        break;
    case MSG_ACTIVE:
        if (wParam == 1) refresh(hwnd);
        break;
    case MSG_PAINT:
        paint_top_line(hwnd);
        return 0;
    case MSG_KEYDOWN:
        if (wParam != KEY_FAIL && wParam != KEY_CLOSE) break;
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return 0;
    case MSG_CLOSE:
        DestroyAllControls(hwnd);
        DestroyMainWindow(hwnd);
        return 0;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

} // namespace

void mmi_ItemTestEntry() {
    if (IsWindow(item_wnd)) {
        ShowWindow(item_wnd, SW_SHOWNORMAL);
        return;
    }
    Get_TestItem_Config(1);
    const HWND hwnd = create_shell_window(item_list_proc, g_main_menu_wnd, test_window_rect());
    if (hwnd == HWND_INVALID) return;
    item_wnd = hwnd;
    ShowWindow(hwnd, SW_SHOWNORMAL);
}
