// Windows and their order. Everything here belongs to the GUI thread except window_exists.
#pragma once

#include <array>
#include <cassert>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dc.h"
#include "region.h"

// A call from a foreign thread is our own fault: it stops a debug build. Before InitGUI there is no GUI thread to offend.
#define GUI_THREAD_ONLY() assert(vcore::on_gui_thread_or_none())

namespace vcore {

struct Window {
    HWND handle = HWND_NULL;
    bool is_main = false;
    WNDPROC proc = nullptr;
    std::string class_name; // "mainwin" for main windows
    std::string caption;    // GB18030
    DWORD style = 0, ex_style = 0;
    int id = 0;
    RECT rect{};            // screen coordinates, controls too
    bool visible = false;   // its own wish; shown only when all its parents are
    bool dying = false;
    bool refused = false;   // MSG_CREATE refused: MSG_DESTROY would find nothing to undo
    bool quit_posted = false;
    Window *parent = nullptr; // null too for a control that outlived its parent
    std::vector<Window *> children; // bottom first
    HWND host = HWND_DESKTOP;
    HWND focus = HWND_NULL;         // of a main window: the control that gets the keys
    gal_pixel bk_color = 0, text_color = 0;
    PLOGFONT font = nullptr;
    uintptr_t add_data = 0;
    NOTIFPROC notify = nullptr;
    // What has to be painted, screen coordinates.
    Region invalid;
    bool erase = false;
    bool paint_taken = false;  // the paint message being handled has opened a paint context
    uint64_t paint_round = 0;  // the round it was painted in; a window that invalidates itself waits for the next
    std::vector<PaintedText> texts;
    std::optional<std::array<std::string, 3>> softkeys;
};
using WindowRef = std::shared_ptr<Window>;

// ---- table (window.cpp)
// Null for a dead or foreign handle. Who runs the program's code keeps a copy, not the reference.
const WindowRef &window_find(HWND handle);
bool window_exists(HWND handle);             // any thread
WindowRef window_add();                      // a new window with a handle that was never used before
void window_forget(const Window &window);
Window *window_main_of(Window *window);
std::vector<Window *> &main_windows();       // bottom first
bool window_shown(const Window *window);     // visible with all its parents
void windows_destroy_all();
bool on_gui_thread_or_none();

// Calls the procedure; one that holds the GUI thread over 50 ms of its own is named in the log.
LRESULT window_call(const WindowRef &window, UINT message, WPARAM wParam, LPARAM lParam);
// The program's code is being called: a message loop that ends inside is not the outermost one.
class DispatchScope {
public:
    DispatchScope();
    ~DispatchScope();
    DispatchScope(const DispatchScope &) = delete;
    DispatchScope &operator=(const DispatchScope &) = delete;
};
int dispatch_depth();
void exclude_from_procedure_time(int64_t ns); // the GUI thread only waited
int64_t procedure_ended();                    // when the last one did, scaled monotonic nanoseconds
bool procedure_just_ended();                  // since this was asked last
void next_procedure_follows(bool at_once);    // at once: it begins when the last one ended

// ---- controls (control.cpp)
void controls_forget_classes();
void destroy_controls_of(Window &parent);
void detach_controls_of(Window &parent); // those still in their own MSG_DESTROY outlive the parent as orphans
void destroy_control(const WindowRef &control);

// ---- order and activation (order.cpp)
// Remembers what of every main window is seen; at its end what became seen is marked for painting.
class SeenChange {
public:
    SeenChange();
    ~SeenChange();
    SeenChange(const SeenChange &) = delete;
    SeenChange &operator=(const SeenChange &) = delete;

private:
    std::vector<std::pair<HWND, Region>> seen_;
    Region desktop_;
};
void window_raise(Window &window);           // with the windows it hosts above it
void window_activate(HWND window);           // MSG_ACTIVE 0 to the one before, 1 to the new one
void activate_topmost_if_lost();             // after hiding and destroying

// ---- regions (order.cpp)
Region visible_region(const Window &window, bool without_children); // screen coordinates
void invalidate_tree(Window &window, const Region &region, bool erase);
const WindowRef &window_at(int x, int y);    // the topmost shown window or control

// ---- painting (paint.cpp)
// The next window that has to be painted in this round, or null.
WindowRef paint_next();
bool paint_wanted();                         // in this or a later round
void paint_end_round();
void paint_show();                           // what was drawn; contexts that are open go on drawing on the hidden page
void paint_show_if_late();                   // between messages: the same after 8 ms of them, if nobody waits for a paint
void paint_forget_contexts();
// The paint message: erases, calls the procedure, and takes what is left of the invalid region.
LRESULT paint_dispatch(const WindowRef &window);
// What window and control procedures leave over: painting nothing but the background.
LRESULT default_paint_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
void paint_now(const WindowRef &window);     // with its controls

// ---- timers (timers.cpp)
void timers_of_window_end(HWND window);
bool timer_take_due(int64_t now, MSG &out);
bool timer_due(int64_t now);
int64_t timer_next();                        // scaled monotonic nanoseconds; -1 without timers
void timers_clear();

// ---- touch and keys (dispatch_input.cpp)
struct InputEvent {
    enum class Kind { key_down, key_up, touch_down, touch_move, touch_up } kind;
    int code = 0;        // operator key code
    int x = 0, y = 0;    // screen coordinates
};
// Runs the hooks and finds the window; false: swallowed or nobody's.
bool input_route(const InputEvent &event, MSG &out);
void input_window_ends(HWND window);
void input_forget_state();

} // namespace vcore
