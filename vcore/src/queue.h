// What other threads hand to the GUI thread, and how they wait for its answer.
#pragma once

#include <tp_gui.h>
#include <vector>

#include "window.h"

namespace vcore {

// ---- any thread
bool gui_exists();
bool queue_post(const MSG &msg);      // false when the queue is full
bool queue_notify(const MSG &msg);
void queue_input(const InputEvent &event);
void queue_invalidate(HWND window, const RECT *rect, bool erase);
// Has the GUI thread run a function or a window procedure and waits for the result; `otherwise` when there is no GUI
// or it ends first.
LRESULT queue_call(int (*fn)(void *), void *arg, LRESULT otherwise);
LRESULT queue_send(const MSG &msg);

// ---- GUI thread
void queue_open();                    // the calling thread becomes the GUI thread
void queue_close();                   // forgets everything, releases who waits
// A GUI that does not accept answers who sends with nothing, at once.
void queue_accept(bool accepting);
bool queue_accepting();
int queue_answer_sent();              // runs what was sent; the number of calls
bool queue_take(MSG &out);            // notifications first, then posted messages; skips dead windows
bool queue_take_input(InputEvent &out);
void queue_apply_invalidations();
int queue_wake_fd();
// Arms the wake descriptor; false when there is work, so that nobody needs to wait.
bool queue_before_wait();
void queue_after_wait();
void queue_wait_for_sent();           // until something is sent, or gui_wake

} // namespace vcore
