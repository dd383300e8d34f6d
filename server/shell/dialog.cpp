#include "shell/dialog.h"

#include <memory>
#include <new>

#include "base/log_door.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"

namespace {

constexpr const char *TAG = "MMI_DIALOG";
constexpr int BUTTON_CLOSED = 3; // never a real button
constexpr int UNDERLINE = 4;

} // namespace

struct MmiDialog {
    HWND window = HWND_INVALID; // HWND_INVALID after it was closed
    int reserved = 0;
    const char *title = "", *message = "";
    int style = 0;
    HWND host = HWND_NULL, owner = HWND_NULL;
    RECT rect{}, title_rect{}, message_rect{}, button_row{}; // screen coordinates
    MSGHOOK saved_mouse = nullptr, saved_key = nullptr;
    int underline = UNDERLINE;
    int selection = -1;
    HWND title_control = HWND_INVALID, message_control = HWND_INVALID;
    int count = 0;
    std::unique_ptr<HWND[]> buttons;
    bool modal = false;    // the hooks are installed
    bool answered = false; // the answer is posted; nothing is chosen any more
};

namespace {

MmiDialog *latest = nullptr; // most recently created
bool closed = true;          // it was closed since

int button_width(const MmiDialog &dialog) { return RECTW(dialog.button_row) / dialog.count; }

void color_button(const MmiDialog &dialog, int index, int color) {
    if (index >= 0 && index < dialog.count) SetWindowBkColor(dialog.buttons[index], SysPixelIndex[color]);
}

// Index of the button at a screen position, -1 outside the row.
int button_at(const MmiDialog &dialog, int x, int y) {
    const RECT &row = dialog.button_row;
    if (dialog.count == 0 || x < row.left || x >= row.right || y < row.top || y >= row.bottom) return -1;
    const int index = (x - row.left) / button_width(dialog);
    return index < dialog.count ? index : dialog.count - 1; // the last button takes the rest of the division
}

int forward(void *context, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto *dialog = static_cast<MmiDialog *>(context);
    if (dialog && dialog->window != HWND_INVALID) PostMessage(dialog->window, message, wParam, lParam);
    return 1;
}

int hookMouseProc(void *context, HWND, UINT message, WPARAM wParam, LPARAM lParam) {
    return forward(context, message, wParam, lParam);
}

int hookKeyProc(void *context, HWND, UINT message, WPARAM wParam, LPARAM lParam) {
    return forward(context, message, wParam, lParam);
}

void restore_hooks(MmiDialog &dialog) {
    if (!dialog.modal) return;
    dialog.modal = false;
    RegisterKeyMsgHook(nullptr, dialog.saved_key);
    RegisterMouseMsgHook(nullptr, dialog.saved_mouse);
}

void answer(MmiDialog &dialog, int button) {
    if (dialog.answered) return;
    dialog.answered = true;
    restore_hooks(dialog);
    PostMessage(dialog.owner, MSG_DIALOGBTN, static_cast<WPARAM>(button), 0);
}

void press(MmiDialog &dialog, LPARAM position) {
    const int index = button_at(dialog, LOSWORD(position), HISWORD(position));
    if (index < 0) return;
    color_button(dialog, index, 22);
    dialog.selection = index;
    LOG_D(TAG, "button %d", index);
}

void move(MmiDialog &dialog, LPARAM position) {
    const int index = button_at(dialog, LOSWORD(position), HISWORD(position));
    if (dialog.selection < 0 || dialog.selection == index) return;
    color_button(dialog, dialog.selection, 21);
    dialog.selection = -1;
}

void press_key(MmiDialog &dialog, int code) {
    if (code ==
        KEY_FAIL) { // index 1 also on a dialog that has one button only: its owner knows what that means
        color_button(dialog, 1, 22);
        dialog.selection = 1;
    } else if (code == KEY_PASS) {
        color_button(dialog, 0, 22);
        dialog.selection = 0;
    } else if ((code == KEY_CLOSE || code == KEY_VOLDOWN) && dialog.count == 1) {
        dialog.selection = 1;
    }
}

void line(HDC hdc, int x0, int y0, int x1, int y1) {
    MoveTo(hdc, x0, y0);
    LineTo(hdc, x1, y1);
}

void paint(const MmiDialog &dialog) {
    const int width = RECTW(dialog.rect), bottom = RECTH(dialog.rect);
    const int row = dialog.message_rect.bottom - dialog.rect.top;
    HDC hdc = BeginPaint(dialog.window);
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[7]);
    line(hdc, 0, row, width - 1, row);
    for (int i = 1; i < dialog.count; ++i) {
        const int x = i * button_width(dialog) - 1;
        line(hdc, x, row, x, bottom - 1);
    }
    SetPenColor(hdc, SysPixelIndex[22]);
    for (int i = 0; i < dialog.underline; ++i) {
        const int y = dialog.title_rect.bottom - dialog.rect.top + i;
        line(hdc, 0, y, width - 1, y);
    }
    EndPaint(dialog.window, hdc);
}

void forget_window(MmiDialog &dialog) {
    restore_hooks(dialog);
    dialog.window = HWND_INVALID;
    if (latest == &dialog) closed = true;
}

void close_window(MmiDialog &dialog) {
    const HWND window = dialog.window;
    if (window == HWND_INVALID) return;
    forget_window(dialog);
    DestroyAllControls(window);
    DestroyMainWindow(window);
}

void confirm(MmiDialog &dialog) {
    if (dialog.selection < 0 || dialog.answered) return;
    answer(dialog, dialog.selection);
    SendMessage(dialog.window, MSG_CLOSE, 0, 0);
}

LRESULT DialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto *dialog = reinterpret_cast<MmiDialog *>(GetWindowAdditionalData(hwnd));
    if (!dialog || dialog->window != hwnd) return DefaultMainWinProc(hwnd, message, wParam, lParam);
    switch (message) {
    case MSG_LBUTTONDOWN:
        press(*dialog, lParam);
        break;
    case MSG_MOUSEMOVE:
        move(*dialog, lParam);
        break;
    case MSG_KEYDOWN:
        press_key(*dialog, static_cast<int>(wParam));
        break;
    case MSG_PAINT:
        paint(*dialog);
        return 0;
    case MSG_CLOSE:
        close_window(*dialog);
        return 0;
    case MSG_DESTROY: // the host went away below the dialog: the input must not stay caught, the owner must
                      // not wait
        answer(*dialog, BUTTON_CLOSED);
        forget_window(*dialog);
        break;
    case MSG_ERASEBKGND:
        break;
    default: // a choice made on press is confirmed by the release, or by whatever else comes
        confirm(*dialog);
        if (dialog->window == HWND_INVALID) return 0;
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void set_rects(MmiDialog &dialog, int x, int y, int w, int h) {
    dialog.rect = {x, y, x + w, y + h};
    dialog.title_rect = {x, y, x + w, y + h / 3 - UNDERLINE};
    dialog.message_rect = {x, y + h / 3, x + w, y + 2 * h / 3};
    dialog.button_row = {x, y + 2 * h / 3 + 1, x + w, y + h};
}

bool create_window(MmiDialog &dialog) {
    MAINWINCREATE info;
    info.dwStyle = 0x28400008;
    info.MainWindowProc = DialogProc;
    info.lx = dialog.rect.left;
    info.ty = dialog.rect.top;
    info.rx = dialog.rect.right;
    info.by = dialog.rect.bottom;
    info.iBkColor = SysPixelIndex[7];
    info.dwAddData = reinterpret_cast<uintptr_t>(&dialog);
    info.hHosting = dialog.host;
    dialog.window = CreateMainWindow(&info);
    return dialog.window != HWND_INVALID;
}

HWND create_text(const MmiDialog &dialog, const char *text, DWORD style, int id, const RECT &screen,
                 char weight) {
    const int size = screen_width() < 1092 ? screen_width() / 12 : 90;
    const UINT format = style == 0x8400001 ? DT_WORDBREAK : DT_SINGLELINE;
    HWND control =
        CreateWindowEx("static", text, style, 0, id, screen.left - dialog.rect.left,
                       screen.top - dialog.rect.top, RECTW(screen), RECTH(screen), dialog.window, 0);
    if (control == HWND_INVALID) return control;
    SetWindowBkColor(control, SysPixelIndex[21]);
    HDC hdc = GetClientDC(control);
    SetWindowFont(control,
                  shell_font_fitting(hdc, text, RECTW(screen) - 4, RECTH(screen), format, weight, size));
    ReleaseDC(hdc);
    return control;
}

bool create_buttons(MmiDialog &dialog, const char *const *texts) {
    for (int i = 0; i < dialog.count; ++i) {
        RECT box = dialog.button_row;
        box.left += i * button_width(dialog);
        if (i < dialog.count - 1) box.right = box.left + button_width(dialog) - 1;
        dialog.buttons[i] = create_text(dialog, texts[i], 0x8400101, i + 1, box, 'r');
        if (dialog.buttons[i] == HWND_INVALID) return false;
    }
    return true;
}

} // namespace

MmiDialog *CreateDialog(const char *title, const char *message, int x, int y, int w, int h, HWND host,
                        HWND owner, int style, const char *const *buttons, int n, int reserved) {
    LOG_D(TAG, "one button %d", n == 1);
    std::unique_ptr<MmiDialog> dialog(new (std::nothrow) MmiDialog);
    if (!dialog || n < 0 || (n > 0 && !buttons)) return DIALOG_NONE;
    if (n > 0) dialog->buttons.reset(new (std::nothrow) HWND[static_cast<size_t>(n)]);
    if (n > 0 && !dialog->buttons) return DIALOG_NONE;
    for (int i = 0; i < n; ++i) dialog->buttons[i] = HWND_INVALID;
    dialog->title = title ? title : "";
    dialog->message = message ? message : "";
    dialog->style = style;
    dialog->reserved = reserved;
    dialog->host = host;
    dialog->owner = owner;
    dialog->count = n;
    set_rects(*dialog, x, y, w, h);
    if (!create_window(*dialog)) return DIALOG_NONE;
    latest = dialog.get();
    closed = false;
    dialog->title_control = create_text(*dialog, dialog->title, 0x8400010, n + 1, dialog->title_rect, 'b');
    dialog->message_control =
        create_text(*dialog, dialog->message, 0x8400001, n + 2, dialog->message_rect, 'r');
    if (dialog->title_control == HWND_INVALID || dialog->message_control == HWND_INVALID ||
        !create_buttons(*dialog, buttons)) {
        DestroyDialog(dialog.release());
        return DIALOG_NONE;
    }
    return dialog.release();
}

int DoModal(MmiDialog *dialog) {
    if (!dialog || dialog == DIALOG_NONE || dialog->window == HWND_INVALID || dialog->answered) return 0;
    ShowWindow(dialog->window, SW_SHOWNORMAL);
    if (!dialog->modal) { // shown again: the hooks to go back to are kept already
        dialog->saved_mouse = RegisterMouseMsgHook(dialog, hookMouseProc);
        dialog->saved_key = RegisterKeyMsgHook(dialog, hookKeyProc);
        dialog->modal = true;
    }
    return 1;
}

void DestroyDialog(MmiDialog *dialog) {
    if (dialog && dialog != DIALOG_NONE) {
        close_window(*dialog);
        if (latest == dialog) latest = nullptr;
        delete dialog;
    }
    LOG_D(TAG, "end");
}

bool dialog_answered(const MmiDialog *dialog) {
    return dialog && dialog != DIALOG_NONE && (dialog->answered || dialog->window == HWND_INVALID);
}

int CloseButton() {
    return tp_gui_call(
               [](void *) {
                   if (closed || !latest || latest->answered) return 0;
                   answer(*latest, BUTTON_CLOSED);
                   return 1;
               },
               nullptr) == 1;
}
