#include "AgingTest/aging_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <unistd.h>
#include <utility>

#include "base/log_door.h"
#include "base/sysfs.h"
#include "config/config_store.h"
#include "config/ini_profile.h"
#include "config/main_config.h"
#include "device/diag_log.h"

FILE *g_aging_log = nullptr, *g_agingresult_log = nullptr;

namespace {
constexpr const char *TAG = "AgingTest";
constexpr const char *g_chRebootFile = "rebootAging.txt", *AUTO_TIMES = "AutoAgingTimes.txt";
constexpr const char *AUTO_KEY = "vxo.autoageing";
constexpr const char *SECTION = "AGINGSETTING", *CYCLE_KEY = "currentnum";
constexpr int AUTO_STARTS = 2; // boots that start by themselves; the next one clears the marker

constexpr long HOUR_S = 3600, MINUTE_S = 60;

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};

std::string reboot_file() { return aging_main_path(g_chRebootFile); }

int write_failed(const char *path) {
    const int error = errno;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s open %s fail.strerror(%d)=%s.", "WriteFile", path, error, strerror(error));
    return -1;
}

bool put_whole(const char *path, std::string_view text) {
    const std::unique_ptr<FILE, FileCloser> file(fopen(path, "we"));
    return file && fwrite(text.data(), 1, text.size(), file.get()) == text.size() && fflush(file.get()) == 0 &&
           fsync(fileno(file.get())) == 0;
}

void sync_folder_of(const std::string &path) {
    const int fd = open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    fsync(fd);
    close(fd);
}

int open_log(FILE **handle, const char *caller, const char *name) {
    if (init_tki_log(handle, g_chAgingLogPath, name) == 0) return 0;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:L%d:init_tki_log(%s) fail.", caller, __LINE__, name);
    return -1;
}

int close_log(FILE **handle, const char *caller, const char *name) {
    if (*handle) return uninit_tkilog(std::exchange(*handle, nullptr));
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:L%d:uninit_tkilog(%s) fail.", caller, __LINE__, name);
    return -1;
}
} // namespace

std::string aging_main_path(const char *name) { return std::string(g_chLogPath) + name; }
std::string aging_log_path(const char *name) { return std::string(g_chAgingLogPath) + name; }

int ReadFileData(const char *path, char *out, const char *def) {
    const std::unique_ptr<FILE, FileCloser> file(fopen(path, "re"));
    if (!file) {
        LOG_D(TAG, "open %s fail.", path);
        return -1;
    }
    char buffer[AGING_FILE_MAX] = {};
    const size_t got = fread(buffer, 1, sizeof buffer, file.get());
    if (ferror(file.get())) { // a folder in its place, a storage that fails
        LOG_D(TAG, "read %s fail.", path);
        return -1;
    }
    memcpy(out, buffer, got);
    if (!out[0] && def) memcpy(out, def, strlen(def));
    return 0;
}

int aging_replace_file(const char *path, std::string_view text) {
    const std::string fresh = std::string(path) + ".new";
    if (!put_whole(fresh.c_str(), text) || rename(fresh.c_str(), path) != 0) {
        const int result = write_failed(path);
        remove_file(fresh.c_str());
        return result;
    }
    sync_folder_of(path);
    return 0;
}

int WriteFile(const char *path, long value) { return aging_replace_file(path, std::to_string(value)); }

long aging_number_in(const char *path, const char *empty, long otherwise) {
    char text[AGING_FILE_MAX + 1] = {};
    return ReadFileData(path, text, empty) == 0 ? strtol(text, nullptr, 10) : otherwise;
}

bool Check_AgingCfg_Exist() { return file_readable(reboot_file().c_str()); }

int AgingTest_Get_CfgValue(char *out, const char *def) { return ReadFileData(reboot_file().c_str(), out, def); }

int AgingTest_Set_CfgValue(long value) { return WriteFile(reboot_file().c_str(), value); }

void Delete_AgingRebootFile() {
    if (!Check_AgingCfg_Exist()) return;
    const std::string path = reboot_file();
    std::error_code error;
    std::filesystem::remove_all(path, error); // whatever stands there
    if (error) LOG_E(TAG, "%s stays: %s", path.c_str(), error.message().c_str());
    sync_file(path.c_str());
}

int check_auto_aging() {
    char marker[sizeof(CfgRecord::value) + 1] = {};
    cfg_get(AUTO_KEY, marker, "0");
    if (marker[0] != '1' || Check_AgingCfg_Exist()) return 0;
    const std::string path = aging_main_path(AUTO_TIMES);
    const long started = std::max(0L, aging_number_in(path.c_str(), "0", 0));
    if (started >= AUTO_STARTS) {
        aging_clear_auto_start();
        return 0;
    }
    // Where the starts cannot be counted this one is the last: they must not go on for ever.
    if (WriteFile(path.c_str(), started + 1) != 0) cfg_set(AUTO_KEY, "0");
    return 1;
}

void aging_clear_auto_start() {
    cfg_set(AUTO_KEY, "0");
    WriteFile(aging_main_path(AUTO_TIMES).c_str(), 0);
}

int aging_current_cycle() { return std::max(0, read_profile_int(SECTION, CYCLE_KEY, 0, g_chAgingSettingFilePath)); }

void aging_set_current_cycle(int number) {
    const char *path = g_chAgingSettingFilePath;
    if (write_profile_int(SECTION, CYCLE_KEY, number, path) != 0) {
        LOG_E(TAG, "%s is damaged or full, and is written anew", path);
        remove_file(path);
        write_profile_int(SECTION, CYCLE_KEY, number, path);
    }
    sync_file(path);
}

int agingresult_initlog() { return open_log(&g_agingresult_log, __func__, AGING_RESULT_LOG); }
int aging_initlog() { return open_log(&g_aging_log, __func__, AGING_TOTAL_LOG); }
int agingresult_uninitlog() { return close_log(&g_agingresult_log, __func__, AGING_RESULT_LOG); }
int aging_uninitlog() { return close_log(&g_aging_log, __func__, AGING_TOTAL_LOG); }

void aging_duration(long seconds, int *hours, int *minutes) {
    *hours = static_cast<int>(seconds / HOUR_S);
    *minutes = static_cast<int>((seconds % HOUR_S + MINUTE_S - 1) / MINUTE_S);
    if (*minutes < 60) return;
    *minutes -= 60;
    ++*hours;
}

AgingLog::AgingLog(const char *name) { open_log(&file_, "AgingLog", name); }
void AgingLog::close() {
    if (file_) uninit_tkilog(std::exchange(file_, nullptr));
}
