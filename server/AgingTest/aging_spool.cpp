#include "AgingTest/aging_spool.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "AgingTest/aging_files.h"
#include "base/log_door.h"
#include "base/sysfs.h"
#include "device/diag_log.h"

namespace {
namespace fs = std::filesystem;
constexpr const char *TAG = "AgingTest", *PENDING = "pending", *DROPPED = "dropped", *SUFFIX = ".json";

std::string path_of(const std::string &name) { return AGING_SPOOL + name; }

size_t size_of(const std::string &name) {
    std::error_code error;
    const auto size = fs::file_size(path_of(name), error);
    return error ? 0 : static_cast<size_t>(size);
}

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Until another message of so many bytes has its place.
void make_room(size_t bytes, const std::string &name) {
    std::vector<std::string> names = aging_spool_list();
    std::erase(names, name); // is replaced
    size_t all = bytes;
    for (const std::string &n : names) all += size_of(n);
    long dropped = 0;
    for (size_t i = 0; i < names.size() && (all > AGING_SPOOL_BYTES || names.size() - i >= AGING_SPOOL_FILES); ++i, ++dropped) {
        all -= size_of(names[i]);
        remove_file(path_of(names[i]).c_str());
    }
    if (!dropped) return;
    dropped += aging_spool_dropped();
    LOG_E(TAG, "the spool is full: %ld messages dropped so far", dropped);
    WriteFile(path_of(DROPPED).c_str(), dropped);
}
} // namespace

std::vector<std::string> aging_spool_list() {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(AGING_SPOOL, error))
        if (std::string name = entry.path().filename().string(); !aging_spool_kind(name).empty()) names.push_back(std::move(name));
    std::sort(names.begin(), names.end());
    return names;
}

bool aging_spool_put(const std::string &name, std::string_view text) {
    if (text.size() > AGING_SPOOL_BYTES) return false;
    mkdir_main(AGING_SPOOL);
    make_room(text.size(), name);
    return aging_replace_file(path_of(name).c_str(), text) == 0;
}

std::string aging_spool_get(const std::string &name) { return content_of(path_of(name)); }

void aging_spool_remove(const std::string &name) {
    const std::string path = path_of(name);
    remove_file(path.c_str());
    sync_file(path.c_str());
}

long aging_spool_dropped() { return std::max(0L, aging_number_in(path_of(DROPPED).c_str(), nullptr, 0)); }

std::string aging_spool_name(long run, int number, const char *kind) {
    char name[64];
    snprintf(name, sizeof name, "%012ld-%05d-%s%s", run, number, kind, SUFFIX);
    return name;
}

std::string aging_spool_kind(const std::string &name) {
    const size_t at = name.rfind('-');
    if (at == name.npos || !name.ends_with(SUFFIX) || name.size() < at + 1 + strlen(SUFFIX)) return "";
    const std::string kind = name.substr(at + 1, name.size() - at - 1 - strlen(SUFFIX));
    return kind == "result" || kind == "trend" ? kind : "";
}

std::string aging_spool_pending() { return content_of(path_of(PENDING)); }

bool aging_spool_set_pending(std::string_view text) {
    if (text.empty()) {
        aging_spool_remove(PENDING);
        return true;
    }
    mkdir_main(AGING_SPOOL);
    return aging_replace_file(path_of(PENDING).c_str(), text) == 0;
}
