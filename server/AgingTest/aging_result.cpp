#include "AgingTest/aging_result.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "base/log_door.h"

AgingResultItem *g_aging_results = nullptr;

namespace {
constexpr const char *TAG = "TKI_AGINGRESULT";
constexpr size_t LINE_SIZE = 2048;
constexpr size_t NAME_MAX_BYTES = 256;
constexpr std::string_view NAME_END = "\r\n";

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};

// The list belongs to the process; leak checkers find it through here.
struct ListOwner {
    ~ListOwner() { aging_results_forget(); }
} g_owner;

// Appends what fits behind a terminated text, whole GBK characters only. Whether it was all.
bool append(char (&text)[AGING_RESULT_TEXT], std::string_view more) {
    size_t used = strlen(text), at = 0;
    while (at < more.size()) {
        const size_t width = static_cast<unsigned char>(more[at]) > 0x80 && at + 1 < more.size() ? 2 : 1;
        if (used + width >= sizeof text) break;
        memcpy(text + used, more.data() + at, width);
        used += width;
        at += width;
    }
    text[used] = '\0';
    return at == more.size();
}

std::optional<std::string_view> phase_name(std::string_view line) {
    const size_t close = line.find(']');
    if (close == std::string_view::npos || close < 2 || close - 1 > NAME_MAX_BYTES) return std::nullopt;
    return line.substr(1, close - 1);
}

AgingResultItem *new_item(int index, std::string_view name) {
    auto *item = new (std::nothrow) AgingResultItem{};
    if (!item) return nullptr;
    char cut[AGING_RESULT_TEXT - NAME_END.size()];
    const size_t length = std::min(name.size(), sizeof cut - 1);
    memcpy(cut, name.data(), length);
    append(item->name, std::string_view(cut, length));
    append(item->name, NAME_END);
    item->index = index;
    item->lines = 1;
    return item;
}

// Reads the phases in order; their number, or -1 at a malformed bracket line.
int read_phases(FILE *file, const char *caller) {
    AgingResultItem **end = &g_aging_results;
    AgingResultItem *current = nullptr;
    int count = 0;
    bool room = true; // in the current text
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, file)) {
        if (line[0] == '#') continue;
        if (line[0] != '[') {
            if (!current) continue;
            if (room) room = append(current->text, line);
            ++current->lines;
            continue;
        }
        const auto name = phase_name(line);
        if (!name) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s mmi_parse_domain fail.", caller);
            return -1;
        }
        current = count < AGING_RESULT_MAX ? new_item(count, *name) : nullptr;
        if (!current) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s no room for more than %d results", caller, count);
            return count;
        }
        *end = current;
        end = &current->next;
        room = true;
        ++count;
    }
    return count;
}
} // namespace

int aging_results_read(const char *path) {
    aging_results_forget();
    if (!path) return -1;
    const std::unique_ptr<FILE, FileCloser> file(fopen(path, "re"));
    if (!file) {
        LOG_E(TAG, "open %s fail.", path);
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::Get_CfgValue fail.", __func__, __LINE__);
        return -1;
    }
    const int count = read_phases(file.get(), __func__);
    if (count < 0) aging_results_forget();
    return count;
}

void aging_results_forget() {
    while (g_aging_results) delete std::exchange(g_aging_results, g_aging_results->next);
}
