// Joining the factory's access point, watching the link, leaving it.
//
// The state is g_wifi_state (shell/shell_actions.h): 0 not tried, 1 failed or disconnected, 2 connected. After each change
// the main menu gets MSG_CALLBACK or MSG_ACTIVE, sent, so whoever waits for these threads must answer sent messages (Worker
// does). Threads are made on the GUI thread, by the functions below; they end at once when they are stopped, whatever they
// wait for. What a stopped one has left open is put in order by the next.
#pragma once

// Starts the connection thread without its own screen; one that runs is stopped first. Any thread.
void WiFiConThreadStart();
// Whether it runs, as a probe with signal 0 would tell: 0, or 3 (no such thread). Any thread.
int wifi_probe_connect();
// Logs what the probe tells; a running thread is stopped. True when there was one. Not for the GUI thread.
bool wifi_stop_connect();

// Leaves the network and takes the interface down; takes two seconds and more. mode 1: the monitor thread and the menu are not
// told. Any thread but the GUI's.
void wifi_close_thread(int mode);
// The same, mode 0, on a thread of its own, in place of a connection thread. GUI thread.
void wifi_close_soon();

// Looks every ten seconds whether the link holds. GUI thread.
void wifi_status_monitor_thread_start();
int wifi_probe_monitor();
