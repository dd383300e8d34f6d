// The syntax of the configuration files: lines, domains, parameter lists.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/log_door.h"
#include "config/config_lines.h"

namespace {
constexpr const char *TAG = "TKI_CONFIG";
constexpr const char *BLANKS = " \t\n"; // a carriage return stays

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

void put_text(char *out, std::string_view text) {
    const size_t length = std::min(text.size(), static_cast<size_t>(CFG_TEXT - 1));
    if (length > 0) memcpy(out, text.data(), length);
    out[length] = '\0';
}

// What stands between the brackets; empty when the line is malformed.
std::string_view domain_name(const char *line) {
    const char *open = strchr(line, '[');
    const char *close = strchr(line, ']');
    return open && close && close > open + 1 ? std::string_view(open + 1, close) : std::string_view();
}

bool has_domain(const char *line) {
    const size_t length = domain_name(line).size();
    return length > 0 && length < CFG_TEXT;
}
} // namespace

char *mmi_trim(char *text) {
    if (!text) return nullptr;
    char *first = text + strspn(text, BLANKS);
    for (char *end = first + strlen(first); end > first && strchr(BLANKS, end[-1]); --end) end[-1] = '\0';
    return first;
}

int mmi_parse_domain(const char *line, char *out) {
    if (!line || !out) return -1;
    const std::string_view name = domain_name(line);
    if (name.empty()) {
        LOG_E(TAG, "2222 fail.");
        return -1;
    }
    if (name.size() >= CFG_TEXT) {
        LOG_E(TAG, "11111 fail.");
        return -1;
    }
    put_text(out, name);
    return 0;
}

void mmi_parse_equal(const char *line, char *key, char *value) {
    if (!line || !key || !value) return;
    const char *equal = strchr(line, '=');
    if (!equal || equal - line >= CFG_TEXT) return;
    put_text(key, {line, static_cast<size_t>(equal - line)});
    // Trimmed before it is cut, so that blanks cost no room.
    put_text(value, trimmed(equal + 1));
}

std::optional<ConfigFile> ConfigFile::read(const char *path) {
    const std::unique_ptr<FILE, FileCloser> file(fopen(path, "re"));
    if (!file) return std::nullopt;
    ConfigFile result;
    char line[CONFIG_LINE] = {}, domain[CFG_TEXT] = {}, key[CFG_TEXT] = {}, value[CFG_TEXT] = {};
    size_t domain_at = 0;
    while (fgets(line, sizeof line, file.get())) {
        if (line[0] == '#') continue;
        if (line[0] == '[') {
            if (!has_domain(line)) {
                result.malformed_ = line;
                break;
            }
            mmi_parse_domain(line, domain);
            domain_at = result.keep(domain);
            continue;
        }
        if (!domain[0]) continue;
        key[0] = value[0] = '\0';
        mmi_parse_equal(line, key, value);
        const char *name = mmi_trim(key);
        const char *text = mmi_trim(value);
        if (*name && *text) result.lines_.push_back({domain_at, result.keep(name), result.keep(text)});
    }
    return result;
}

size_t ConfigFile::keep(const char *text) {
    const size_t at = texts_.size();
    texts_.append(text, strlen(text) + 1);
    return at;
}

int ConfigFile::scan(const char *caller, const LineVisitor &visit) const {
    const char *texts = texts_.data();
    for (const Line &line : lines_)
        if (!visit(texts + line.domain, texts + line.key, texts + line.value)) return 0;
    if (malformed_.empty()) return 0;
    char domain[CFG_TEXT];
    mmi_parse_domain(malformed_.c_str(), domain); // tells what is wrong
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s mmi_parse_domain fail.", caller);
    return -1;
}

int scan_config_file(const char *path, const char *caller, const LineVisitor &visit) {
    if (const ConfigFile *held = HeldConfig::find(path)) return held->scan(caller, visit);
    const std::optional<ConfigFile> file = ConfigFile::read(path);
    if (file) return file->scan(caller, visit);
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s open %s fail.", caller, path);
    return -1;
}

HeldConfig::HeldConfig(const char *path) : path_(path), file_(ConfigFile::read(path)) { newest_ = this; }
HeldConfig::~HeldConfig() { newest_ = nullptr; }
const ConfigFile *HeldConfig::find(const char *path) {
    return newest_ && newest_->file_ && newest_->path_ == path ? &*newest_->file_ : nullptr;
}

int tki_config_parse_parameter(const char *text, ConfigPara *records, int max) {
    if (!text || !records || strlen(text) < 3) return 0;
    int index = 0;
    std::string_view rest(text);
    while (true) {
        const size_t end = std::min(rest.find(';'), rest.size());
        const std::string_view element = rest.substr(0, std::min(end, static_cast<size_t>(CFG_TEXT - 1)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const size_t colon = element.find(':');
        if (colon == std::string_view::npos) break; // also the empty element behind the last
        if (colon == 0) continue;
        if (index >= max) {
            LOG_E(TAG, "paras_index=%d,max_paras_index=%d", index, max);
            break;
        }
        ConfigPara &record = records[index++];
        put_text(record.key, trimmed(element.substr(0, colon)));
        put_text(record.value, trimmed(element.substr(colon + 1)));
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::final paras_key=%s,paras_value=%s", __func__, record.key, record.value);
    }
    return index;
}

int tki_config_get_para_value(const ConfigPara *records, int count, const char *key, char *out, int n, const char *def) {
    if (!key || !out || n <= 0) return 0;
    const auto capacity = static_cast<size_t>(n);
    for (int i = 0; records && i < count; ++i) {
        // Unlike a file's key, which is a prefix of the one asked for, a record's key begins with it.
        if (strncmp(records[i].key, key, strlen(key)) != 0) continue;
        memcpy(out, records[i].value, strnlen(records[i].value, std::min(capacity, sizeof records[i].value)));
        break;
    }
    if (!out[0] && def) snprintf(out, capacity, "%s", def);
    return static_cast<int>(strnlen(out, capacity));
}
