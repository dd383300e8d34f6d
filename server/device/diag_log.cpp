#include "device/diag_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
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

struct Free {
    void operator()(char *p) const { free(p); }
};

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
    return file;
}

void format_now(char (&text)[TIME_SIZE]) {
    const time_t now = tp_clock_time();
    tm parts{};
    localtime_r(&now, &parts);
    if (strftime(text, sizeof text, "%m/%d-%H:%M:%S ", &parts) == 0) text[0] = '\0';
}

// Out to the storage; a power cut right after loses nothing.
int put_line_locked(FILE *handle, const char *line) {
    const bool put = fputs(line, handle) >= 0 && fputc('\n', handle) != EOF && fflush(handle) == 0;
    if (put && (fsync(fileno(handle)) == 0 || errno == EINVAL)) return 0; // EINVAL: a pipe has no storage
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:write failed,errno=%s", "writetkilog", strerror(errno));
    return -1;
}

int write_log(const char *caller, bool with_time, FILE *handle, const char *tag, const char *format, va_list args) {
    const std::lock_guard lock(g_log_mutex);
    if (!handle) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:s_logFp is NULL.", caller);
        return -1;
    }
    if (!tag) tag = "";
    char message[MESSAGE_SIZE] = {};
    vsnprintf(message, sizeof message, format, args);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s:buf=%s.", caller, message);
    const size_t size = strlen(tag) + LINE_EXTRA;
    const std::unique_ptr<char, Free> line(static_cast<char *>(calloc(1, size)));
    if (!line) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:calloc failed", caller);
        return -1;
    }
    if (with_time) {
        char now[TIME_SIZE];
        format_now(now);
        snprintf(line.get(), size, "%s[%s] %s", now, tag, message);
    } else {
        snprintf(line.get(), size, "[%s]\n%s", tag, message);
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::%s", caller, __LINE__, line.get());
    return put_line_locked(handle, line.get());
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
