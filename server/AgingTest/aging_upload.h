// The upload of a run's records and trend to the broker of `uploadip`, by lib_vxo_mqtt.so, which is loaded at the first attempt;
// a handset without it says so and keeps what waits. Messages and topics: docs/aging-upload.md.
//
// What is to be sent lies in the spool (aging_spool.h) first, so neither a broker that is away nor a power cut loses it.
#pragma once

#include <string>

// Joins the network of this name and waits for it; false: not joined. Installed by appMain; null: there is no WiFi.
extern bool (*g_aging_join_network)(const char *ssid);

// A run is over: what the verdict will be. Durable before the verdict is; aging_upload_now collects it. Runner's thread.
void aging_upload_note(const char *verdict, const std::string &text, long seconds, int screen_state);
// Collects the messages of the run that was noted and sends all that waits, with its progress on the aging screen; joins the
// network if the broker is not reached without. Runner's thread.
void aging_upload_now();
// The same on a thread of its own. GUI thread.
void aging_upload_by_key();
// Sends what waits, by and by, as long as there is any; joins nothing and shows nothing. GUI thread.
void aging_upload_in_background();
// Ends either of the two threads. GUI thread.
void aging_upload_stop();
bool aging_uploading(); // any thread
bool aging_uploaded();  // nothing waits. Any thread

// "HOST:PORT", "HOST" or "[ADDRESS]:PORT". False: none of these.
bool aging_upload_server(const char *text, std::string *host, int *port);
std::string aging_upload_topic(const std::string &psn, const std::string &kind); // aging/PSN/KIND
