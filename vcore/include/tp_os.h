// Threads and semaphores of the runtime.
//
// A thread is ended by asking: tp_os_thread_interrupt sets the thread's stop request and sends it SIGUSR1,
// whose only effect is that a wait returns early. Nothing is torn down from outside.
#pragma once

#include <cstdint>

struct TpThread;                    // owned by whoever created it; freed by tp_os_thread_join
using tp_os_thread_t = TpThread *;
struct TpSema;
using tp_os_sema_t = TpSema *;

// Prepares the layer: installs the SIGUSR1 handler (no SA_RESTART) and remembers the main thread.
// 0, or an errno value. Main thread, once, first thing in main; further calls do nothing.
int tp_os_thread_init();

// Starts entry(arg) on a thread named name (at most 15 bytes are kept). 0 and the handle, or an errno value.
int tp_os_thread_create(const char *name, void (*entry)(void *), void *arg, tp_os_thread_t *out);
// Waits for the thread's end and frees the handle; null does nothing. On the GUI thread the messages that other
// threads send are answered meanwhile, so a worker that reports by SendMessage never deadlocks with its joiner.
void tp_os_thread_join(tp_os_thread_t thread);
// Asks the thread to stop and interrupts its wait. Null and finished threads are accepted.
void tp_os_thread_interrupt(tp_os_thread_t thread);
// True once the thread's function has returned.
bool tp_os_thread_finished(tp_os_thread_t thread);
// Whether the calling thread was asked to stop. False on threads not made by tp_os_thread_create.
bool tp_os_thread_stop_requested();

// Counting semaphores. create: null when memory is short.
tp_os_sema_t tp_os_sema_create(int initial);
void tp_os_sema_delete(tp_os_sema_t sema);
void tp_os_sema_put(tp_os_sema_t sema);
// Takes one count, waiting at most timeout_ms (scaled; -1: for ever). 0, or -1 on time-out or stop request.
// A null handle with -1 parks the calling thread for ever.
int tp_os_sema_get(tp_os_sema_t sema, int64_t timeout_ms);
