// Geometry and fonts that all windows share.
#include "shell/fit_text.h"
#include "shell/main_menu.h"

#include <tp_globals.h>

PLOGFONT g_font_title, g_font_menu, g_font_text, g_font_small_text, g_font_big, g_font_shared;

int screen_width() { return g_ptScreenInfo.width; }
int screen_height() { return g_ptScreenInfo.height; }
int status_bar_height() { return 10 + screen_width() / 12; }
int softkey_bar_height() { return 10 + screen_height() / 12; }
int row_height() { return screen_width() / 6 & ~1; }

// The top edge follows the width and the bottom edge the height, as the bars do.
RECT test_window_rect() {
    return {0, status_bar_height(), screen_width(), screen_height() - softkey_bar_height()};
}

HWND create_shell_window(WNDPROC proc, HWND host, const RECT &rect, const char *caption, DWORD style, uintptr_t add_data) {
    MAINWINCREATE info;
    info.dwStyle = style;
    info.spCaption = caption;
    info.MainWindowProc = proc;
    info.lx = rect.left;
    info.ty = rect.top;
    info.rx = rect.right;
    info.by = rect.bottom;
    info.iBkColor = SysPixelIndex[18];
    info.dwAddData = add_data;
    info.hHosting = host;
    return CreateMainWindow(&info);
}

HWND create_shell_list(HWND parent, const RECT &rect, PLOGFONT font, SVITEM_DRAWFUNC draw, DWORD style, DWORD ex_style) {
    constexpr int ID_LIST = 21;
    const HWND list = CreateWindowEx("scrollview", "", style, ex_style, ID_LIST, rect.left, rect.top, RECTW(rect), RECTH(rect),
                                     parent, 0);
    SetWindowFont(list, font);
    scrollview_set_itemdraw(list, draw);
    return list;
}

void offer_shell_list(HWND list, NOTIFPROC chosen) {
    scrollview_set_current(list, 0, true);
    SetNotificationCallback(list, chosen);
    SetFocus(list);
}

void draw_top_line(HDC hdc) {
    SetPenWidth(hdc, 3);
    SetPenColor(hdc, SysPixelIndex[10]);
    MoveTo(hdc, 0, 0);
    LineTo(hdc, screen_width(), 0);
}

void paint_top_line(HWND hwnd) {
    HDC hdc = BeginPaint(hwnd);
    draw_top_line(hdc);
    EndPaint(hwnd, hdc);
}

void run_message_loop(HWND hwnd) {
    MSG msg;
    while (GetMessage(&msg, hwnd)) {
        TranslateMessage(&msg);
        DispatchMessage(&msg);
    }
    MainWindowThreadCleanup(hwnd);
}

void mmi_testwnd_InitLogFont() {
    const int w = screen_width();
    shell_fonts_reset();
    const int large = w < 1092 ? w / 12 : 90;
    g_font_title = shell_font('b', large);
    g_font_menu = shell_font('r', large);
    g_font_text = shell_font('r', w < 1380 ? w / 15 / 4 * 4 : 90);
    g_font_small_text = shell_font('r', w < 1932 ? w / 84 * 4 : 90);
    g_font_big = shell_font('m', 250);
    g_font_shared = shell_font('m', 25);
}
