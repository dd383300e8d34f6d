// The "static" control: a text on its own background.
#include "controls.h"

#include "dc.h"

namespace {

UINT text_format(DWORD style, PLOGFONT font, const RECT &box) {
    const UINT side = (style & SS_CENTER) && !(style & SS_SIMPLE) ? DT_CENTER : DT_LEFT;
    if (style & SS_SIMPLE) return DT_LEFT | DT_SINGLELINE | DT_VCENTER;
    if (!(style & SS_CENTERIMAGE)) return side | DT_WORDBREAK;
    // Where two lines have room, a long text takes them; a title's bar has room for one.
    const bool one_line = RECTH(box) < 2 * GetLogFontHeight(font);
    return side | DT_VCENTER | (one_line ? DT_SINGLELINE : DT_WORDBREAK);
}

void paint(HWND hwnd) {
    RECT box{};
    if (!GetClientRect(hwnd, &box)) return;
    const HDC hdc = BeginPaint(hwnd);
    SetBrushColor(hdc, GetWindowBkColor(hwnd));
    FillBox(hdc, 0, 0, RECTW(box), RECTH(box));
    const std::string text = GetWindowText(hwnd);
    const PLOGFONT font = GetWindowFont(hwnd);
    SelectFont(hdc, font);
    SetTextColor(hdc, GetWindowTextColor(hwnd));
    SetBkMode(hdc, BM_TRANSPARENT);
    DrawText(hdc, text.c_str(), static_cast<int>(text.size()), &box,
             text_format(GetWindowStyle(hwnd), font, box));
    EndPaint(hwnd, hdc);
}

} // namespace

LRESULT static_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        SetWindowTextColor(hwnd, SysPixelIndex[19]);
        return 0;
    case MSG_ERASEBKGND: // painting fills everything anyway
        return 1;
    case MSG_PAINT:
        paint(hwnd);
        return 0;
    default:
        return DefaultControlProc(hwnd, message, wParam, lParam);
    }
}
