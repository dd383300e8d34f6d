// The menu of the RF coupling tests: two rows.
#include "config/main_config.h"
#include "rf/coupling.h"
#include "shell/bars.h"
#include "shell/main_menu.h"

namespace {
constexpr int ID_LIST = 21;
HWND g_menu = HWND_NULL;

struct CouplingRow {
    const char *key;
    void (*entry)();
};
constexpr CouplingRow ROWS[] = {{"CoupleTestItem1", mmi_SignalCouplingTestEntry},
                                {"CoupleTestItem2", mmi_NSCoupling_Diag_TestEntry}};

void mmi_CouplingTestDrawItem(HWND sv, HSVITEM item, HDC hdc, RECT *rect) { menu_draw_row(sv, item, hdc, rect, 17, true, 19); }

void row_chosen(HWND sv, int, int nc, uintptr_t) {
    const int row = scrollview_get_current(sv);
    if (nc == SVN_CLICKED && row >= 0 && row < static_cast<int>(std::size(ROWS))) ROWS[row].entry();
}

void build(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const HWND sv = CreateWindowEx("scrollview", "", 0x48400008, 0, ID_LIST, 0, 3, client.right, client.bottom - 3, hwnd, 0);
    SetWindowFont(sv, g_font_menu);
    scrollview_set_itemdraw(sv, mmi_CouplingTestDrawItem);
    scrollview_set_choose_key(sv, -1); // key 60 closes this menu
    for (const CouplingRow &row : ROWS) scrollview_add_item(sv, row_height(), 0, lang_text(row.key));
    scrollview_set_current(sv, 0, true);
    SetNotificationCallback(sv, row_chosen);
    SetFocus(sv);
}

void refresh() {
    tp_skb_show(true);
    tp_skb_set_text_items("", "", lang_text("softkeybar_back"));
    tp_skb_set_text_col(19);
    tp_skb_update();
    tp_batteryshow_set_text_items_byIndex(lang_text("title_CoupleTEST"), 1);
    tp_batteryshow_update();
}

LRESULT mmi_CouplingTestWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE: build(hwnd); break;
    case MSG_ACTIVE:
        if (wParam == 1) refresh();
        break;
    case MSG_KEYDOWN:
        if (wParam != KEY_PASS && wParam != KEY_FAIL) break;
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return 0;
    case MSG_CLOSE:
        DestroyAllControls(hwnd);
        DestroyMainWindow(hwnd);
        return 0;
    default: break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}
} // namespace

void mmi_testwnd_Coupling_Entry() {
    if (!IsWindow(g_menu)) g_menu = create_shell_window(mmi_CouplingTestWndProc, g_main_menu_wnd, test_window_rect());
    if (g_menu != HWND_INVALID) ShowWindow(g_menu, SW_SHOWNORMAL);
}
