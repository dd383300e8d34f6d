#include "shell/barcode.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/log_door.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"

namespace {
constexpr char TAG[] = "BARCODE";

std::string g_text;
BITMAP g_code;

int note_height() { return 4 * GetLogFontHeight(g_font_text); }

// As many whole pixels to a module as the screen has room for.
bool make_code(int room) {
    if (MakeBitmapOfQrCode(&g_code, g_text.c_str(), 1) != 0) return false;
    const int module = std::clamp(room / g_code.bmWidth, 1, 22);
    UnloadBitmap(&g_code);
    return MakeBitmapOfQrCode(&g_code, g_text.c_str(), module) == 0;
}

bool start();
int stop() {
    UnloadBitmap(&g_code);
    return 0;
}

void paint(HWND hwnd, HDC hdc) {
    if (!g_code.pixels) return;
    RECT client{};
    GetClientRect(hwnd, &client);
    const int left = (client.right - g_code.bmWidth) / 2, top = status_bar_height();
    FillBoxWithBitmap(hdc, left, top, g_code.bmWidth, g_code.bmHeight, &g_code);
    RECT note{0, top + g_code.bmHeight, client.right, client.bottom};
    SetBkMode(hdc, BM_TRANSPARENT);
    SetTextColor(hdc, SysPixelIndex[19]);
    DrawText(hdc, g_text.c_str(), -1, &note, DT_CENTER | DT_WORDBREAK);
}

bool proc(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT *result);
TestWindow g_window{.domain = "BARCODE", .keys = {"", "", "softkeybar_back"}, .pass_by_key = false, .start = start,
                    .stop = stop, .caption = "Barcode", .proc = proc, .paint = paint};

bool start() {
    RECT client{};
    GetClientRect(g_window.hwnd, &client);
    if (!make_code(std::min(client.right, client.bottom - status_bar_height() - note_height()))) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "no code for a text of %zu bytes", g_text.size());
        return false;
    }
    if (SaveBitmapToFile(&g_code, BARCODE_PICTURE) != 0)
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "cannot write %s: %s", BARCODE_PICTURE, strerror(errno));
    return true;
}

bool proc(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    *result = 0;
    const bool back = message == MSG_LBUTTONUP || (message == MSG_KEYDOWN && wParam == KEY_PASS);
    if (back) test_frame_close(g_window);
    return back;
}
} // namespace

void barcode_show(const char *title_key, const char *text) {
    test_frame_close(g_window);
    g_window.title_key = title_key;
    g_text = text;
    test_frame_open(g_window);
}
