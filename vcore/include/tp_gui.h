// The windowing toolkit: main windows, controls, device contexts, hooks and the message loop.
//
// One GUI thread (the one that called InitGUI) owns all windows and runs every window procedure. Unless said
// otherwise a function belongs to the GUI thread; debug builds assert it. SendMessage, PostMessage,
// SendNotifyMessage, InvalidateRect, UpdateWindow and tp_gui_call are for any thread.
// Coordinates are pixels; rectangles include left/top and exclude right/bottom. Texts are GB18030.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

using HWND = uintptr_t;
using HDC = uintptr_t;
using UINT = unsigned int;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using DWORD = uint32_t;
using gal_pixel = uint32_t; // 0x00RRGGBB

constexpr HWND HWND_NULL = 0;
constexpr HWND HWND_DESKTOP = 1;             // host of top-level windows; never a real window
constexpr HWND HWND_INVALID = ~HWND{0};      // also "-1" of the dialog
constexpr HDC HDC_INVALID = 0;

struct RECT { int left, top, right, bottom; };
inline int RECTW(const RECT &r) { return r.right - r.left; }
inline int RECTH(const RECT &r) { return r.bottom - r.top; }

// ---- messages -------------------------------------------------------------------------------------------
constexpr UINT MSG_LBUTTONDOWN = 1;  // lParam: x | y << 16, client coordinates, 16 bits each, signed
constexpr UINT MSG_LBUTTONUP = 2;
constexpr UINT MSG_MOUSEMOVE = 5;    // only while a finger is down
constexpr UINT MSG_KEYDOWN = 16;     // wParam: operator key code
constexpr UINT MSG_KEYUP = 18;
constexpr UINT MSG_ACTIVE = 51;      // wParam 1: refresh status texts and soft keys
constexpr UINT MSG_SETFOCUS = 48;
constexpr UINT MSG_KILLFOCUS = 49;
constexpr UINT MSG_CREATE = 96;      // lParam: const MAINWINCREATE * or the control's additional data; -1 refuses
constexpr UINT MSG_DESTROY = 100;
constexpr UINT MSG_CLOSE = 102;
constexpr UINT MSG_COMMAND = 288;    // a control without callback notifies: wParam id | code << 16, lParam control
constexpr UINT MSG_TIMER = 324;      // wParam: timer id
constexpr UINT MSG_FONTCHANGED = 165;
constexpr UINT MSG_SETTEXT = 308;    // text of a control changed
constexpr UINT MSG_ERASEBKGND = 176; // wParam: HDC, lParam: const RECT * (client) or 0
constexpr UINT MSG_PAINT = 177;
constexpr UINT MSG_QUIT = 321;
constexpr UINT MSG_USER = 2048;      // first number free for the program

struct MSG { HWND hwnd; UINT message; WPARAM wParam; LPARAM lParam; };
using WNDPROC = LRESULT (*)(HWND, UINT, WPARAM, LPARAM);

inline int LOSWORD(LPARAM l) { return static_cast<int16_t>(l & 0xffff); }
inline int HISWORD(LPARAM l) { return static_cast<int16_t>((l >> 16) & 0xffff); }
inline LPARAM MAKELONG(int lo, int hi) { return static_cast<LPARAM>((lo & 0xffff) | ((hi & 0xffff) << 16)); }

// ---- start and loop -------------------------------------------------------------------------------------
// Maps the panel through tki_api_LCD_Get_Info / tki_api_LCD_Refresh (data symbols exported by the program) and
// makes the calling thread the GUI thread. 0 or -1 (no panel: windows still work, nothing is shown).
int InitGUI();
// Opens the input devices /dev/input/event* and the description socket /dev/socket/vxo_gui. 0, or -1 when no input
// device could be opened. Devices that appear later are not picked up.
int InitGUIIAL();
// Destroys all windows and forgets panel and input, so that a test can begin anew.
void TerminateGUI();

// Blocks until there is a message; 0 when a quit was posted for hwnd (or hwnd no longer exists), else 1.
int GetMessage(MSG *msg, HWND hwnd);
int TranslateMessage(const MSG *msg);           // kept for the loop's shape; returns 0
LRESULT DispatchMessage(const MSG *msg);
int PostQuitMessage(HWND hwnd);
// Handles what is pending now (sent, input, posted, timers, paint) without blocking; returns the number handled.
int tp_gui_pump();

// Synchronous: on the GUI thread a direct call of the window procedure; from another thread the procedure runs on
// the GUI thread and its result comes back. A dead window, or a GUI that ended, gives 0.
LRESULT SendMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
int PostMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);  // 0, or -1 for a dead window
int SendNotifyMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam); // asynchronous, before posted ones
// Runs fn(arg) on the GUI thread and returns its result; a direct call there. -1 when there is no GUI.
int tp_gui_call(int (*fn)(void *), void *arg);
bool tp_is_gui_thread();

// ---- windows --------------------------------------------------------------------------------------------
constexpr DWORD WS_CHILD = 0x40000000;
constexpr DWORD WS_CAPTION = 0x20000000; // accepted; main windows have no frame of their own
constexpr DWORD WS_VISIBLE = 0x08000000; // controls: shown from the start. Main windows wait for ShowWindow.
constexpr DWORD WS_BORDER = 0x00400000;

struct MAINWINCREATE {
    DWORD dwStyle = 0;
    DWORD dwExStyle = 0;
    const char *spCaption = "";
    WNDPROC MainWindowProc = nullptr;
    int lx = 0, ty = 0, rx = 0, by = 0; // screen rectangle
    gal_pixel iBkColor = 0;
    uintptr_t dwAddData = 0;
    HWND hHosting = HWND_DESKTOP;       // destroyed with, shown above its host
};

// Creates a hidden main window; MSG_CREATE has run when it returns. HWND_INVALID on failure or when MSG_CREATE
// returned -1.
HWND CreateMainWindow(const MAINWINCREATE *info);
// Destroys the window and the windows it hosts and activates the topmost visible window left.
int DestroyMainWindow(HWND hwnd);
int MainWindowCleanup(HWND hwnd);       // nothing is left to clean; kept for the loop's shape
int MainWindowThreadCleanup(HWND hwnd);
LRESULT DefaultMainWinProc(HWND, UINT, WPARAM, LPARAM);

constexpr int SW_HIDE = 0;
constexpr int SW_SHOW = 0x10;           // shows without activating
constexpr int SW_SHOWNORMAL = 0x100;    // shows, raises and activates: MSG_ACTIVE with wParam 1
int ShowWindow(HWND hwnd, int cmd);
bool IsWindow(HWND hwnd);
bool IsMainWindow(HWND hwnd);
bool IsWindowVisible(HWND hwnd);
HWND GetActiveWindow();                 // the main window that gets the keys, or HWND_NULL
HWND SetActiveWindow(HWND hwnd);        // raises it; returns the one active before
HWND GetParent(HWND hwnd);
HWND GetHosting(HWND hwnd);
bool GetWindowRect(HWND hwnd, RECT *out);   // screen coordinates
bool GetClientRect(HWND hwnd, RECT *out);   // 0,0,w,h
int MoveWindow(HWND hwnd, int x, int y, int w, int h);
int SetWindowText(HWND hwnd, const char *text); // copies; repaints a control. Any length
std::string GetWindowText(HWND hwnd);
gal_pixel SetWindowBkColor(HWND hwnd, gal_pixel color); // returns the old one; repaints
gal_pixel GetWindowBkColor(HWND hwnd);
gal_pixel SetWindowTextColor(HWND hwnd, gal_pixel color); // used by "static"; repaints
gal_pixel GetWindowTextColor(HWND hwnd);
uintptr_t SetWindowAdditionalData(HWND hwnd, uintptr_t data);
uintptr_t GetWindowAdditionalData(HWND hwnd);
DWORD GetWindowStyle(HWND hwnd);
int GetDlgCtrlID(HWND hwnd);
HWND GetDlgItem(HWND parent, int id);       // HWND_NULL when there is none

// Marks a client rectangle (null: all) for painting; erase: MSG_ERASEBKGND first. Painting waits for the queue
// to drain, so several calls cost one MSG_PAINT.
int InvalidateRect(HWND hwnd, const RECT *rect, bool erase);
int UpdateWindow(HWND hwnd, bool erase);    // InvalidateRect of all, then paints at once (sent to the GUI thread)

// ---- controls -------------------------------------------------------------------------------------------
using NOTIFPROC = void (*)(HWND hwnd, int id, int nc, uintptr_t add_data);

struct WNDCLASS {
    const char *spClassName;
    WNDPROC WinProc;
    gal_pixel iBkColor;
};
int RegisterWindowClass(const WNDCLASS *cls); // 0, or -1 when the name is taken
// x, y relative to the parent's client area. Caption is copied. HWND_INVALID on failure (unknown class).
HWND CreateWindowEx(const char *cls, const char *caption, DWORD style, DWORD ex_style, int id, int x, int y, int w,
                    int h, HWND parent, uintptr_t add_data);
int DestroyWindow(HWND control);
int DestroyAllControls(HWND parent);
LRESULT DefaultControlProc(HWND, UINT, WPARAM, LPARAM);
NOTIFPROC SetNotificationCallback(HWND control, NOTIFPROC proc);
// Tells the control's callback (or the parent by MSG_COMMAND) that code nc happened.
void NotifyParent(HWND control, int id, int nc);
HWND SetFocus(HWND control);  // keys go to the focused control first, then to the main window's procedure
HWND GetFocus(HWND main_window);

// "static": a text. Centre, single line in the vertical centre; without SS_CENTERIMAGE the text begins at the top
// and breaks into lines.
constexpr DWORD SS_LEFT = 0x0;
constexpr DWORD SS_CENTER = 0x1;
constexpr DWORD SS_SIMPLE = 0x10;       // one line, left, centred vertically
constexpr DWORD SS_CENTERIMAGE = 0x100;

// "scrollview": rows of their own heights, one of them current; scrolls by dragging and follows the current row
// when it moves by key 103 (up) and 108 (down); key 60 or a tap chooses: notification SVN_CLICKED.
constexpr int SVN_CLICKED = 6;
struct SvItem;
using HSVITEM = SvItem *;
using SVITEM_DRAWFUNC = void (*)(HWND sv, HSVITEM item, HDC hdc, RECT *rect);
// Adds a row behind the last; text is copied. add_data is the program's. Null when memory is short.
HSVITEM scrollview_add_item(HWND sv, int height, uintptr_t add_data, const char *text);
void scrollview_reset_content(HWND sv);
// The key that chooses the current row: 60 at first. Other keys reach the main window; -1 leaves it all of them.
void scrollview_set_choose_key(HWND sv, int code);
void scrollview_set_itemdraw(HWND sv, SVITEM_DRAWFUNC draw); // null: the built-in painter
int scrollview_get_item_count(HWND sv);
// Makes row n (0-based) current and, with visible, scrolls it into view. -1 when there is no such row.
int scrollview_set_current(HWND sv, int n, bool visible);
int scrollview_get_current(HWND sv);                          // row number, or -1
HSVITEM scrollview_get_item(HWND sv, int n);                  // null when there is none
int scrollview_get_item_index(HWND sv, HSVITEM item);         // row number; -1 for a foreign item
uintptr_t scrollview_get_item_adddata(HSVITEM item);
void scrollview_set_item_adddata(HSVITEM item, uintptr_t add_data);
const char *scrollview_get_item_text(HSVITEM item);
void scrollview_set_item_text(HWND sv, HSVITEM item, const char *text); // repaints the row
bool scrollview_is_item_hilight(HWND sv, HSVITEM item);       // the current row
void scrollview_refresh_item(HWND sv, HSVITEM item);
int scrollview_get_scroll(HWND sv);                           // pixels scrolled off the top
int scrollview_get_content_height(HWND sv);                   // sum of the rows' heights

// ---- hooks, capture, timers -------------------------------------------------------------------------------
using MSGHOOK = int (*)(void *context, HWND dst, UINT message, WPARAM wParam, LPARAM lParam);
// See every key (or touch) before its window; result 1 swallows it. Both return the hook installed before; null
// removes. A touch hook gets screen coordinates; dst is HWND_NULL where no window would get it.
MSGHOOK RegisterKeyMsgHook(void *context, MSGHOOK hook);
MSGHOOK RegisterMouseMsgHook(void *context, MSGHOOK hook);

HWND SetCapture(HWND hwnd);   // touches go to hwnd wherever they are; returns the one before
void ReleaseCapture();
HWND GetCapture();

// Posts MSG_TIMER every speed x 10 ms (scaled). Setting an id again restarts it. 0 or -1. Ends with the window.
int SetTimer(HWND hwnd, int id, unsigned speed);
int KillTimer(HWND hwnd, int id);

// Delivers a key as if a device had sent it: hooks, then the active window. Any thread.
void tp_gui_inject_key(int code, bool down);

// Operator code to Linux input code (103 -> KEY_VOLUMEUP ...); 0 when there is none.
int scancode_convert_keycode(int scancode);
// Linux input code to operator code; codes without an entry stay as they are.
int tp_keycode_to_scancode(int keycode);

// ---- drawing --------------------------------------------------------------------------------------------
extern gal_pixel SysPixelIndex[32]; // the system colour table; all entries differ
constexpr int SYS_COLOR_COUNT = 32;

// GetClientDC draws at once, BeginPaint only inside what is invalid. Each must be given back.
HDC GetClientDC(HWND hwnd);
void ReleaseDC(HDC hdc);
HDC BeginPaint(HWND hwnd);
void EndPaint(HWND hwnd, HDC hdc);

constexpr int BM_OPAQUE = 0;
constexpr int BM_TRANSPARENT = 1;
gal_pixel SetBrushColor(HDC hdc, gal_pixel c);
gal_pixel SetPenColor(HDC hdc, gal_pixel c);
int SetPenWidth(HDC hdc, int width);
gal_pixel SetTextColor(HDC hdc, gal_pixel c);
gal_pixel SetBkColor(HDC hdc, gal_pixel c);
int SetBkMode(HDC hdc, int mode);
void FillBox(HDC hdc, int x, int y, int w, int h);              // brush colour
void MoveTo(HDC hdc, int x, int y);
void LineTo(HDC hdc, int x, int y);                             // pen colour and width, end point included
void Rectangle(HDC hdc, int x0, int y0, int x1, int y1);        // outline, pen
void FillCircle(HDC hdc, int cx, int cy, int r);                // brush
void SetPixel(HDC hdc, int x, int y, gal_pixel c);

struct LOGFONT;
using PLOGFONT = LOGFONT *;
// Family "song" is /system/fonts/song.ttc (or .ttf, .otf); unknown families use it. weight: r, m, b. Size in pixels.
// Null when no font file can be read. Released with DestroyLogFont.
PLOGFONT CreateLogFont(const char *type, const char *family, const char *charset, char weight, char slant, char flip,
                       char other, char underline, char struckout, int size, int rotation);
void DestroyLogFont(PLOGFONT font);
PLOGFONT SelectFont(HDC hdc, PLOGFONT font);        // returns the one before
PLOGFONT SetWindowFont(HWND hwnd, PLOGFONT font);   // repaints
PLOGFONT GetWindowFont(HWND hwnd);
int GetLogFontHeight(PLOGFONT font);                // line height in pixels
int GetTextWidth(PLOGFONT font, const char *text, int len); // of one line, pixels; len -1: to the terminator

constexpr UINT DT_LEFT = 0x0;
constexpr UINT DT_CENTER = 0x1;
constexpr UINT DT_RIGHT = 0x2;
constexpr UINT DT_VCENTER = 0x4;
constexpr UINT DT_BOTTOM = 0x8;
constexpr UINT DT_WORDBREAK = 0x10;  // Latin at blanks, Chinese anywhere; a word wider than the box breaks inside
constexpr UINT DT_SINGLELINE = 0x20; // line feeds are blanks
constexpr UINT DT_NOCLIP = 0x100;
constexpr UINT DT_CALCRECT = 0x400;  // only sets rect to what the text needs
// Line feeds start lines. Returns the height used. Text that is not GB18030 draws a box per bad byte.
int DrawText(HDC hdc, const char *text, int len, RECT *rect, UINT format);
int TextOut(HDC hdc, int x, int y, const char *text);   // one line, top left corner

struct BITMAP { int bmWidth = 0, bmHeight = 0; uint32_t *pixels = nullptr; }; // XRGB8888, owned by the bitmap
// PNG or uncompressed BMP (24 or 32 bits), at most 4096x4096. 0, or negative: -1 cannot open, -2 not a picture.
int LoadBitmapFromFile(HDC hdc, BITMAP *bmp, const char *path);
void UnloadBitmap(BITMAP *bmp);
int FillBoxWithBitmap(HDC hdc, int x, int y, int w, int h, const BITMAP *bmp); // scaled into the box; 0 or -1
// Writes a PNG, durably; what stood at the path stays until the new file is whole. 0, or -1 with errno. Any thread.
int SaveBitmapToFile(const BITMAP *bmp, const char *path);
// The text as a QR code with its light margin, `module` (1 to 22) pixels to a module; given back with UnloadBitmap. Loads
// lib_vxo_qr.so at its first use. 0, or -1: no such library, or more text than a code holds (2331 bytes). Any thread.
int MakeBitmapOfQrCode(BITMAP *bmp, const char *text, int module);

// ---- description ------------------------------------------------------------------------------------------
// The screen as JSON in UTF-8: {"width","height","active","windows":[{"class","caption","rect":[l,t,r,b],"visible",
// "id","softkeys":[..]?,"texts":[{"text","rect","color"}],"children":[..]}]}, topmost window last. Texts are those of
// each window's last paint in screen coordinates; color is the index in SysPixelIndex, -1 for other pixels. "active" is
// the caption of the active window, "" without one. "windows" holds hidden main windows too, with "visible" false.
std::string tp_gui_dump();
// Sets the soft key texts that the description shows for a window (the shell's soft key bar).
void tp_gui_describe_softkeys(HWND bar, const char *left, const char *middle, const char *right);
