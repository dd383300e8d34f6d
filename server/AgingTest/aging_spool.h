// Messages that wait for the broker, in "/cache/aging_upload/": a file each, "RUN-NUMBER-KIND.json", that lies there from
// before the first attempt to send it until the broker has acknowledged it. Oldest first. What is bounded: AGING_SPOOL_BYTES and
// AGING_SPOOL_FILES; beyond, the oldest go and are counted.
//
// One thread at a time writes; reading is for any.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

inline constexpr char AGING_SPOOL[] = "/cache/aging_upload/";
constexpr size_t AGING_SPOOL_BYTES = 16 << 20, AGING_SPOOL_FILES = 2000;

// Names without the folder, oldest first.
std::vector<std::string> aging_spool_list();
// Durable when it returns true. The same name replaces.
bool aging_spool_put(const std::string &name, std::string_view text);
std::string aging_spool_get(const std::string &name);
// Durable as well: what the broker has is not sent again behind a power cut.
void aging_spool_remove(const std::string &name);
long aging_spool_dropped(); // messages given up for want of room, since ever

std::string aging_spool_name(long run, int number, const char *kind);
// "result" or "trend"; empty where the name is none of ours.
std::string aging_spool_kind(const std::string &name);
// What became of a run that is over and whose messages are not all in the spool yet; empty: there is none.
std::string aging_spool_pending();
bool aging_spool_set_pending(std::string_view text); // empty: none
