#include "device/diag_log.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>
#include <stdio_ext.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <tp_clock.h>
#include <unistd.h>

#include "base/log_door.h"
#include "config/main_config.h"

FILE *g_tki_log = nullptr;

namespace {
constexpr const char *TAG = "TKILOG";
constexpr size_t PATH_SIZE = 256;
constexpr size_t BUILT_PATH_MAX = 4096;
constexpr int FILE_NAME_MAX = 100;
constexpr size_t MESSAGE_SIZE = 1024;
constexpr size_t TIME_SIZE = 32;
constexpr size_t LINE_EXTRA = 1156; // message, time and the brackets, beside the tag

std::mutex g_log_mutex;

int path_too_long() {
    fputs("Invalid path specified: too long\n", stderr);
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::Invalid path specified: too long", "mkdir_main", __LINE__);
    return 1;
}

// Makes one directory unless it is there.
int make_level(const std::string &path) {
    struct stat info {};
    if (stat(path.c_str(), &info) == 0) return 0;
    const int result = mkdir(path.c_str(), 0777);
    if (result == 0 || errno == EEXIST) return 0;
    const int error = errno;
    fprintf(stderr, "mkdir failed for %s, %s\n", path.c_str(), strerror(error));
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::mkdir failed for %s, %s", "mkdir_main", __LINE__, path.c_str(),
            strerror(error));
    errno = error;
    return result;
}

int ensure_directory_locked(const char *directory) {
    if (access(directory, F_OK) == 0) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s: directory %s is exist", "init_tki_log", directory);
        return 0;
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:%s not exist.", "init_tki_log", directory);
    if (mkdir_main(directory) == 0) return 0;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s: make dirctory fail errno = %d, strerrno = %s", "init_tki_log", errno,
            strerror(errno));
    return -1;
}

// All of it or nothing: what a full storage took of a line is cut off again, so that the next one begins a line.
bool write_whole(int fd, std::string_view bytes) {
    for (size_t put = 0; put < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + put, bytes.size() - put);
        if (n > 0) put += static_cast<size_t>(n);
        if (n >= 0 || errno == EINTR) continue;
        const int error = errno;
        struct stat info {};
        if (put > 0 && fstat(fd, &info) == 0 && ftruncate(fd, info.st_size - static_cast<off_t>(put)) != 0)
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:a part of a line stays", "writetkilog");
        errno = error;
        return false;
    }
    return true;
}

// A line that a power cut has left half written gets its end.
void end_torn_line(int fd) {
    struct stat info {};
    char last = '\n';
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size == 0) return;
    if (pread(fd, &last, 1, info.st_size - 1) == 1 && last != '\n') write_whole(fd, "\n");
}

FILE *open_locked(const char *directory, const char *filename) {
    char path[PATH_SIZE];
    const size_t length = strlen(directory);
    const bool needs_slash = length == 0 || directory[length - 1] != '/';
    if (needs_slash) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:L%d:path laster byte must /.", "init_tki_log", __LINE__);
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:L%d:path laster byte is /.", "init_tki_log", __LINE__);
    }
    snprintf(path, sizeof path, "%s%s%.*s", directory, needs_slash ? "/" : "", FILE_NAME_MAX, filename);
    errno = 0; // the line below tells it in either case
    FILE *file = fopen(path, "a+e");
    LOG_RAW(file ? ANDROID_LOG_DEBUG : ANDROID_LOG_ERROR, TAG,
            file ? "%s:L%d,open file %s oK,errno(%d):errstr(%s)" : "%s:L%d,open file %s failed,errno(%d):errstr(%s)",
            "init_tki_log", __LINE__, path, errno, strerror(errno));
    if (file) end_torn_line(fileno(file));
    return file;
}

// What holds for a whole second. Lines come many to a second, and asking for it costs more than the rest of a line.
struct Second {
    time_t time = -1;
    char text[TIME_SIZE] = {};
    size_t length = 0;
    bool echo = false; // somebody reads the Android log at this level
};

const Second &this_second_locked() {
    constinit static Second second;
    if (const time_t now = tp_clock_tick_time(); now != second.time) {
        tm parts{};
        localtime_r(&now, &parts);
        second.length = strftime(second.text, sizeof second.text, "%m/%d-%H:%M:%S ", &parts);
        second.echo = log_reads(ANDROID_LOG_DEBUG, TAG);
        second.time = now;
    }
    return second;
}

char *append(char *to, std::string_view text) { return std::copy(text.begin(), text.end(), to); }

// Text, %s and %d: most lines, at a fraction of what vsnprintf costs. The length, or nothing when the format has more.
std::optional<size_t> format_plain(char *out, const char *format, va_list args) {
    char *to = out, *const end = out + MESSAGE_SIZE - 1;
    const auto room = [&] { return static_cast<size_t>(end - to); };
    for (; *format; ++format) {
        if (*format != '%') {
            if (to < end) *to++ = *format;
        } else if (*++format == 's') {
            const char *text = va_arg(args, const char *);
            if (!text) return std::nullopt;
            to = append(to, {text, strnlen(text, room())});
        } else if (*format == 'd') {
            char digits[16];
            const char *behind = std::to_chars(digits, std::end(digits), va_arg(args, int)).ptr;
            to = append(to, {digits, std::min(static_cast<size_t>(behind - digits), room())});
        } else {
            return std::nullopt;
        }
    }
    return static_cast<size_t>(to - out);
}

// At most MESSAGE_SIZE bytes with the zero behind it; the length.
size_t format_message(char *out, const char *format, va_list args) {
    va_list again;
    va_copy(again, args);
    const std::optional<size_t> plain = format_plain(out, format, args);
    if (plain) out[*plain] = '\0';
    else if (vsnprintf(out, MESSAGE_SIZE, format, again) < 0) out[0] = '\0';
    va_end(again);
    return plain ? *plain : strlen(out);
}

// Out to the storage; a power cut right after loses nothing. A storage that fails is told once, until a line goes through.
int put_line_locked(FILE *handle, std::string_view line) {
    static const FILE *failing = nullptr;
    // Nothing stays behind in the stream, so the line goes past it in one piece.
    const int fd = fileno(handle);
    const bool put = (__fpending(handle) == 0 || fflush(handle) == 0) && write_whole(fd, line);
    if (put && (fsync(fd) == 0 || errno == EINVAL)) { // EINVAL: a pipe has no storage
        if (failing == handle) failing = nullptr;
        return 0;
    }
    if (failing != handle) LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:write failed,errno=%s", "writetkilog", strerror(errno));
    failing = handle;
    return -1;
}

// Room for a line with this tag, kept from line to line; null when memory is short. Threads may still log while the process
// ends, so nothing frees it.
char *line_buffer_locked(size_t tag_length) {
    static char *buffer = nullptr;
    static size_t size = 0;
    if (const size_t wanted = tag_length + LINE_EXTRA; wanted > size) {
        free(buffer);
        buffer = static_cast<char *>(calloc(1, wanted));
        size = buffer ? wanted : 0;
    }
    return buffer;
}

int write_log(const char *caller, bool with_time, FILE *handle, const char *tag, const char *format, va_list args) {
    const std::lock_guard lock(g_log_mutex);
    if (!handle) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:s_logFp is NULL.", caller);
        return -1;
    }
    const Second &second = this_second_locked();
    const std::string_view tag_text = tag ? tag : "";
    char *const line = line_buffer_locked(tag_text.size());
    if (!line) {
        char message[MESSAGE_SIZE];
        format_message(message, format, args);
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:buf=%s.", caller, message);
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:calloc failed", caller);
        return -1;
    }
    memcpy(line, second.text, sizeof second.text); // whole: a length known beforehand costs no call
    char *end = append(append(line + (with_time ? second.length : 0), "["), tag_text);
    char *const message = append(end, with_time ? "] " : "]\n");
    end = message + format_message(message, format, args);
    if (second.echo) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:buf=%s.", caller, message);
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::%s", caller, __LINE__, line);
    }
    *end++ = '\n';
    return put_line_locked(handle, {line, static_cast<size_t>(end - line)});
}
} // namespace

int mkdir_main(const char *path) {
    if (!path || strnlen(path, PATH_SIZE) >= PATH_SIZE) return path_too_long();
    char parts[PATH_SIZE];
    memcpy(parts, path, strlen(path) + 1);
    std::string built = path[0] == '/' ? "/" : "";
    char *rest = nullptr;
    for (char *part = strtok_r(parts, "/", &rest); part; part = strtok_r(nullptr, "/", &rest)) {
        if (built.size() + strlen(part) + 2 > BUILT_PATH_MAX) return path_too_long();
        built.append(part).append("/");
        if (const int result = make_level(built); result != 0) return result;
    }
    return 0;
}

int init_tki_log(FILE **handle, const char *directory, const char *filename) {
    if (!handle || !directory || !filename) return -1;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s: begin,logfilename=%s.", __func__, filename);
    FILE *file = nullptr;
    {
        const std::lock_guard lock(g_log_mutex);
        if (ensure_directory_locked(directory) != 0) {
            *handle = nullptr;
            return -1;
        }
        file = open_locked(directory, filename);
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:L%d::s_logFp=%p, end", __func__, __LINE__, static_cast<void *>(file));
    *handle = file;
    return file ? 0 : -1;
}

int tki_initlog() {
    if (init_tki_log(&g_tki_log, g_chLogPath, "tki.log") == 0) return 0;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:L%d:init_tki_log(tki.log) fail.", __func__, __LINE__);
    return -1;
}

int writetkilog(FILE *handle, const char *tag, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int result = write_log(__func__, true, handle, tag, format, args);
    va_end(args);
    return result;
}

int writetkilog_NoTime(FILE *handle, const char *tag, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int result = write_log(__func__, false, handle, tag, format, args);
    va_end(args);
    return result;
}

int uninit_tkilog(FILE *handle) {
    const std::lock_guard lock(g_log_mutex);
    if (handle) fclose(handle);
    return 0;
}

int Conver_time2ASC(long seconds, long nanoseconds, char *out, int size) {
    LOG_RAW(ANDROID_LOG_DEBUG, "ALARM", "time L%d -> %ld.%09ld\n", __LINE__, seconds, nanoseconds);
    if (!out || size <= 0) return -1;
    out[0] = '\0';
    const time_t when = static_cast<time_t>(seconds);
    tm parts{};
    char text[PATH_SIZE]; // asctime's form, for years of any length
    if (!gmtime_r(&when, &parts) || strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y\n", &parts) == 0) return -1;
    snprintf(out, std::min(static_cast<size_t>(size), PATH_SIZE), "%s", text);
    return 0;
}
