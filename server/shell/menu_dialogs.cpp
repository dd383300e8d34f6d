// The dialogs that any part of the program asks the menu for.
#include "shell/menu_internal.h"

#include <cstdio>
#include <iterator>
#include <mutex>
#include <tp_globals.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/power.h"
#include "shell/dialog.h"
#include "shell/sequencer.h"
#include "shell/shell_actions.h"

std::atomic<int> g_dialogcouldshow{1};

namespace {

constexpr int KIND_BATTERY = 2, KIND_TOUCH_PANEL = 5;
constexpr int TP_FAILED = 3, TP_UNKNOWN = 1;

enum class Host { given, active };

struct Kind {
    int kind;
    const char *title, *message, *buttons[2];
    Host host;
    void (*action[2])(HWND menu); // by button
};

struct Shown {
    MmiDialog *dialog = DIALOG_NONE;
    int kind = 0;
    int idle_allowed = 0;
    int stale_answers = 0; // answers on the way from dialogs that were replaced
    // The dialog keeps its texts by reference.
    char title[CFG_TEXT] = {}, message[CFG_TEXT] = {}, button[2][CFG_TEXT] = {};

    bool up() const { return dialog && dialog != DIALOG_NONE; }
};
Shown shown;

std::atomic<int> tp_status{0};
bool tp_alert_pending = false;

// The dialog mutex is taken on the watcher's thread and given back on the GUI thread.
struct DialogMutex {
    tp_os_sema_t free = tp_os_sema_create(1);
    std::atomic<bool> held{false};
};
DialogMutex &dialog_mutex() {
    static DialogMutex mutex;
    return mutex;
}

void power_off(HWND) {
    if (g_shell_actions.power_off_entry) g_shell_actions.power_off_entry();
}

void fail_active_test(HWND) { SendMessage(GetActiveWindow(), MSG_QUIT_WITH_FAIL, 0, 0); }

void start_aging(HWND) {
    if (g_shell_actions.aging_start_entry)
        g_shell_actions.aging_start_entry();
    else
        LOG_D(MENU_TAG, "aging is not built in");
}

template <void (*entry)()> void start_run(HWND) { entry(); }

void stop_touch_panel_reports() {
    if (TKI_API_BatteryService_unregister_Observer)
        TKI_API_BatteryService_unregister_Observer(TKI_OBSERVER_TP,
                                                   reinterpret_cast<tki_observer>(Get_tpstatus_callback));
}

// A failed panel asks again until it is repaired; the other states are shown once.
void touch_panel_answered(HWND menu) {
    if (tp_status != TP_FAILED) {
        tp_alert_pending = true;
    } else {
        if (TKI_API_BatteryService_register_Observer)
            TKI_API_BatteryService_register_Observer(TKI_OBSERVER_TP,
                                                     reinterpret_cast<tki_observer>(Get_tpstatus_callback));
        SendMessage(menu, MSG_CREATEDIALG, 0, KIND_TOUCH_PANEL);
    }
    stop_touch_panel_reports();
}

// Kinds 7 to 9 act on button 1 only, which their single button never reports: keys 88 and 108 do. Choosing
// the button ("no") by key 60 starts nothing.
const Kind kinds[] = {
    {1, "title_PowerOff", "info_PowerOffNote", {"info_Yes", "info_No"}, Host::given, {power_off, nullptr}},
    {KIND_BATTERY, "title_BatteryCheck", nullptr, {"info_Yes", nullptr}, Host::active, {nullptr, nullptr}},
    {3, "info_Quit", "info_FailAndQuit", {"info_Yes", "info_No"}, Host::active, {fail_active_test, nullptr}},
    {KIND_TOUCH_PANEL, nullptr, nullptr, {"info_Yes", nullptr}, Host::active, {nullptr, nullptr}},
    {6, "title_AgingTest", "menu_StartTest", {"info_Yes", "info_No"}, Host::given, {start_aging, nullptr}},
    {7,
     "menu_AutoTest",
     "info_continuetest",
     {"info_No", nullptr},
     Host::given,
     {nullptr, start_run<mmi_AutoTestEntry>}},
    {8,
     "menu_AutoTest_EX",
     "info_continuetest",
     {"info_No", nullptr},
     Host::given,
     {nullptr, start_run<mmi_AutoTestEntry_Ex>}},
    {9,
     "menu_AutoTest_EX2",
     "info_continuetest",
     {"info_No", nullptr},
     Host::given,
     {nullptr, start_run<mmi_AutoTestEntry_Ex2>}},
};

const Kind *find_kind(int kind) {
    for (const Kind &k : kinds)
        if (k.kind == kind) return &k;
    return nullptr;
}

void copy_text(char (&out)[CFG_TEXT], const char *text) {
    std::snprintf(out, sizeof out, "%s", text ? text : "");
}

const char *touch_panel_message() {
    if (tp_status == TP_FAILED) return "title_TPFState";
    return tp_status == TP_UNKNOWN ? "title_TPUState" : "title_TPOState";
}

void fill_texts(const Kind &kind, WPARAM wParam) {
    if (kind.title)
        copy_text(shown.title, lang_text(kind.title));
    else
        copy_text(shown.title, "TP ERROR");
    if (kind.kind == KIND_BATTERY)
        copy_text(shown.message, reinterpret_cast<const char *>(wParam));
    else if (kind.kind == KIND_TOUCH_PANEL)
        copy_text(shown.message, lang_text(touch_panel_message()));
    else
        copy_text(shown.message, lang_text(kind.message));
    for (int i = 0; i < 2; ++i)
        if (kind.buttons[i]) copy_text(shown.button[i], lang_text(kind.buttons[i]));
}

MmiDialog *create(const Kind &kind, HWND menu, WPARAM wParam) {
    HWND host = kind.host == Host::given ? static_cast<HWND>(wParam) : GetActiveWindow();
    if (!IsMainWindow(host)) host = menu;
    fill_texts(kind, wParam);
    const char *buttons[2] = {shown.button[0], shown.button[1]};
    const int w = screen_width() / 8 * 7, h = screen_height() / 3;
    return CreateDialog(shown.title, shown.message, (screen_width() - w) / 2, (screen_height() - h) / 2, w, h,
                        host, menu, 1, buttons, kind.buttons[1] ? 2 : 1, 0);
}

// A newer request takes the place of a dialog that is up; an answer of it that is still on its way is not the
// newer dialog's.
void destroy_shown() {
    if (!shown.up()) return;
    if (dialog_answered(shown.dialog)) ++shown.stale_answers;
    DestroyDialog(shown.dialog);
    shown.dialog = DIALOG_NONE;
}

} // namespace

LRESULT menu_create_dialog(HWND menu, WPARAM wParam, int number) {
    const Kind *kind = find_kind(number);
    const bool replaces = shown.up();
    const int allowed = replaces ? shown.idle_allowed : g_bOsIsCanIdle.load();
    SetIdleWakeupStatus(0);
    Set_OsCanIdleAllowed(0);
    if (!kind || (number == KIND_TOUCH_PANEL && tp_alert_pending)) {
        if (replaces)
            DoModal(shown.dialog);
        else
            Set_OsCanIdleAllowed(allowed);
        return 0;
    }
    destroy_shown();
    shown.kind = number;
    shown.idle_allowed = allowed;
    shown.dialog = create(*kind, menu, wParam);
    if (shown.up()) {
        DoModal(shown.dialog);
        g_dialogcouldshow = 0;
        g_iCreateDialog = 1;
    } else if (!replaces) {
        Set_OsCanIdleAllowed(allowed); // only a dialog that is seen keeps the handset awake
    } else {
        menu_drop_dialog();
    }
    return 0;
}

void menu_dialog_button(HWND menu, int button) {
    if (shown.stale_answers > 0) {
        --shown.stale_answers;
        return;
    }
    if (!shown.up()) return;
    const Kind *kind = find_kind(shown.kind);
    destroy_shown();
    shown.stale_answers = 0;
    menu_dialog_unlock();
    Set_OsCanIdleAllowed(shown.idle_allowed);
    g_iCreateDialog = 0;
    g_dialogcouldshow = 1;
    if (!kind) return;
    if (kind->kind == KIND_TOUCH_PANEL)
        touch_panel_answered(menu);
    else if (button >= 0 && button < 2 && kind->action[button])
        kind->action[button](menu);
}

void menu_drop_dialog() {
    const bool was_up = g_iCreateDialog != 0;
    destroy_shown();
    shown.stale_answers = 0;
    menu_dialog_unlock();
    if (!was_up) return;
    Set_OsCanIdleAllowed(shown.idle_allowed);
    g_iCreateDialog = 0;
    g_dialogcouldshow = 1;
}

bool menu_dialog_lock() {
    if (tp_os_sema_get(dialog_mutex().free, -1) != 0) return false;
    dialog_mutex().held = true;
    return true;
}

void menu_dialog_unlock() {
    if (dialog_mutex().held.exchange(false)) tp_os_sema_put(dialog_mutex().free);
}

// The library's thread must not wait for the GUI thread here: that may be waiting for this callback's end.
void Get_tpstatus_callback(int status) {
    LOG_D(MENU_TAG, "status=%d", status);
    tp_status = status;
    SendNotifyMessage(g_main_menu_wnd, MSG_CREATEDIALG, 0, KIND_TOUCH_PANEL);
}
