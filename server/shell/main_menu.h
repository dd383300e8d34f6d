// The main menu: top window, message loop, opener of every dialog.
#pragma once

#include <atomic>
#include <cstdint>
#include <tp_gui.h>

constexpr UINT MSG_CREATEDIALG = 2149; // lParam: dialog kind
constexpr UINT MSG_QUIT_WITH_FAIL = 2150;
constexpr UINT MSG_CALLBACK = 2151;
constexpr UINT MSG_DIALOGBTN = 3936;   // wParam: button index

constexpr int KEY_PASS = 60, KEY_FAIL = 61, KEY_START = 62, KEY_CLOSE = 88, KEY_POWER_CODE = 1, KEY_VOLUP = 103,
              KEY_VOLDOWN = 108;

struct MainMenuRow {
    uint32_t index;
    char text[256];
    void (*entry)();
};

// Geometry that all windows share, from g_ptScreenInfo.
int screen_width();
int screen_height();
int status_bar_height();   // 10 + W/12
int softkey_bar_height();  // 10 + H/12
int row_height();          // W/6 rounded down to even
RECT test_window_rect();   // between the bars: (0, 10 + W/12) to (W, H - (10 + H/12))

// Creates a hidden main window in the shell's ground colour; HWND_INVALID on failure. GUI thread.
HWND create_shell_window(WNDPROC proc, HWND host, const RECT &rect, const char *caption = "", DWORD style = 0x28400000,
                         uintptr_t add_data = 0);

// A list of rows, and what makes it answer once it holds them. GUI thread.
HWND create_shell_list(HWND parent, const RECT &rect, PLOGFONT font, SVITEM_DRAWFUNC draw, DWORD style = 0x48400008,
                       DWORD ex_style = 0);
void offer_shell_list(HWND list, NOTIFPROC chosen); // first row current, focus
void draw_top_line(HDC hdc);       // of a window that begins below the status bar
void paint_top_line(HWND hwnd);    // the answer to MSG_PAINT of a window that has nothing else
void run_message_loop(HWND hwnd);  // until the window quits

extern PLOGFONT g_font_title, g_font_menu, g_font_text, g_font_small_text, g_font_big, g_font_shared; // fonts 1 to 6
void mmi_testwnd_InitLogFont();

extern std::atomic<HWND> g_main_menu_wnd; // 0 when there is no menu. Any thread
extern std::atomic<int> g_dialogcouldshow;
extern std::atomic<int> qrcode_refresh_flag; // the MMI-disabled flag
extern int g_bCoupleTest, g_bAgingTest;

void kmt_CreateMainMenuWnd();
void kmt_CreateMainMenuWnd1();
LRESULT mmi_ExampleWin_MenuWndProc(HWND, UINT, WPARAM, LPARAM);
LRESULT mmi_ExampleWin_MenuWndProc1(HWND, UINT, WPARAM, LPARAM);
// Sets one text of the battery bar: 0 left, 1 title, 2 right; null leaves it. abnormal_state 0 colours the bar normal,
// 1 as a warning, anything else leaves the colour. Always 0. Any thread.
int TitleInfoShow(const char *text, int index, int abnormal_state);
// Observer of TKI_OBSERVER_TP: remembers the touch panel's status and asks the menu for the alert. Any thread.
void Get_tpstatus_callback(int status);
// Paints one row as the menu does; the device list and the item list vary it. GUI thread.
void menu_draw_row(HWND sv, HSVITEM item, HDC hdc, RECT *rect, int highlight_color, bool fill_normal, int text_color);
// PC entries: clear / set the MMI-disabled flag. Result 1. Any thread.
int mmi_AutoTest_MMI_Enable();
int mmi_AutoTest_MMI_Disable();
