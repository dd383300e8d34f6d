#include "AgingTest/aging_resets.h"

#include <cstdlib>
#include <mutex>
#include <string_view>

#include "AgingTest/aging_files.h"
#include "base/log_door.h"
#include "device/diag_log.h"

namespace {
constexpr const char *TAG = "AgingTest", *NAME = "agingrun.txt";
constexpr const char *LINE_TAG = "Reset";

std::mutex g_mutex; // guards what follows
AgingAccount g_account;
bool g_read = false;

std::string value_of(std::string_view text, std::string_view key) {
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = text.substr(at, end - at);
        if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
            return std::string(line.substr(key.size() + 1));
        at = end + 1;
    }
    return "";
}

int count_of(std::string_view text, std::string_view key) { return std::max(0, atoi(value_of(text, key).c_str())); }

AgingAccount &account_locked() {
    if (g_read) return g_account;
    g_read = true;
    char text[AGING_FILE_MAX + 1] = {};
    ReadFileData(aging_main_path(NAME).c_str(), text, nullptr);
    g_account = {.running = value_of(text, "running") == "1",
                 .wanted = value_of(text, "wanted"),
                 .wanted_resets = count_of(text, "wanted_resets"),
                 .unwanted_resets = count_of(text, "unwanted_resets"),
                 .phase = value_of(text, "phase"),
                 .lost_phase = value_of(text, "lost_phase"),
                 .interrupted = value_of(text, "interrupted") == "1",
                 .failed_item = count_of(text, "failed_item")};
    return g_account;
}

bool keep_locked() {
    const AgingAccount &a = g_account;
    const auto number = [](const char *key, int value) { return std::string(key) + "=" + std::to_string(value) + "\n"; };
    const std::string text = number("running", a.running) + "wanted=" + a.wanted + "\n" +
                             number("wanted_resets", a.wanted_resets) + number("unwanted_resets", a.unwanted_resets) +
                             "phase=" + a.phase + "\nlost_phase=" + a.lost_phase + "\n" +
                             number("interrupted", a.interrupted) + number("failed_item", a.failed_item);
    return aging_replace_file(aging_main_path(NAME).c_str(), text) == 0;
}

// Into the diagnostic log, and into the run's, which is not open yet.
void tell(const std::string &text) {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s %s", "aging_account_boot", text.c_str());
    writetkilog(g_tki_log, LINE_TAG, "%s", text.c_str());
    const AgingLog log(AGING_TOTAL_LOG);
    writetkilog(log.file(), LINE_TAG, "%s", text.c_str());
}
} // namespace

AgingAccount aging_account() {
    const std::lock_guard lock(g_mutex);
    return account_locked();
}

bool aging_account_boot() {
    const std::lock_guard lock(g_mutex);
    AgingAccount &a = account_locked();
    const bool in_run = a.running || Check_AgingCfg_Exist();
    if (!in_run) return false;
    const bool wanted = !a.wanted.empty();
    std::string text;
    if (wanted) {
        ++a.wanted_resets;
        text = "wanted: " + a.wanted;
    } else {
        ++a.unwanted_resets;
        a.lost_phase = a.phase;
        a.interrupted = true;
        text = "UNWANTED in phase " + a.phase + ", number " + std::to_string(a.unwanted_resets);
    }
    a.wanted.clear();
    a.running = Check_AgingCfg_Exist(); // what goes on by itself; another run begins by aging_account_begin
    keep_locked();                      // before it is told: a cut between the two must not count it twice
    tell(text);
    return !wanted;
}

void aging_account_begin(bool anew) {
    const std::lock_guard lock(g_mutex);
    AgingAccount &a = account_locked();
    if (anew) {
        const AgingAccount before = a;
        a = {};
        if (before.interrupted) {
            a.unwanted_resets = before.unwanted_resets;
            a.lost_phase = before.lost_phase;
            a.interrupted = true;
        }
    }
    a.running = true;
    keep_locked();
}

void aging_account_end() {
    const std::lock_guard lock(g_mutex);
    AgingAccount &a = account_locked();
    a.running = a.interrupted = false;
    keep_locked();
}

void aging_account_phase(const char *phase) {
    const std::lock_guard lock(g_mutex);
    account_locked().phase = phase;
    keep_locked();
}

void aging_account_failure(int item) {
    const std::lock_guard lock(g_mutex);
    AgingAccount &a = account_locked();
    if (a.failed_item) return;
    a.failed_item = item;
    keep_locked();
}

bool aging_expect_reset(const char *reason) {
    const std::lock_guard lock(g_mutex);
    AgingAccount &a = account_locked();
    if (!a.running) return true;
    a.wanted = reason;
    return keep_locked();
}

void aging_reset_refused() {
    const std::lock_guard lock(g_mutex);
    if (account_locked().wanted.empty()) return;
    g_account.wanted.clear();
    keep_locked();
}
