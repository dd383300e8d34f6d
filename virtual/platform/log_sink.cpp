// A workstation has no log daemon: records go as lines to /dev/__vxo_log/main.log when the handset has one, otherwise they
// keep liblog's own way (standard error). One write per record to a file opened for appending: lines never mix, nothing is lost.
#include <android/log.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include <cutils/properties.h>

namespace {
int g_log_fd = -1;

void write_record(const __android_logger_data *record, const char *message) {
    if (!record || !message) return;
    char line[4352];
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    static const char LETTERS[] = "??VDIWEFS";
    const char letter = record->priority >= 2 && record->priority <= 8 ? LETTERS[record->priority] : '?';
    int n = snprintf(line, 256, "%02d-%02d %02d:%02d:%02d.%03ld %5d %5d %c %.64s: ", parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec, now.tv_nsec / 1000000, getpid(), gettid(), letter,
                     record->tag ? record->tag : "");
    size_t length = strlen(message);
    while (length && message[length - 1] == '\n') --length;
    size_t used = static_cast<size_t>(n);
    for (size_t i = 0; i < length && used < sizeof line - 3; ++i) {
        const char c = message[i];
        if (c == '\n' || c == '\r') {
            line[used++] = '\\';
            line[used++] = c == '\n' ? 'n' : 'r';
        } else {
            line[used++] = c;
        }
    }
    line[used++] = '\n';
    [[maybe_unused]] const ssize_t written = write(g_log_fd, line, used);
}

// Runs when the library is loaded, before main.
__attribute__((constructor)) void install_log_sink() {
    g_log_fd = open("/dev/__vxo_log/main.log", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    char level[PROPERTY_VALUE_MAX];
    property_get("persist.vxo.log.level", level, "3");
    __android_log_set_minimum_priority(atoi(level));
    if (g_log_fd >= 0) __android_log_set_logger(write_record);
}
} // namespace
