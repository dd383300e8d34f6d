#include "config/ini_profile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {
constexpr unsigned char TEXT_END = 0xFF; // a data byte like the loader's end mark: such files are plain text

using Buffer = std::array<char, INI_BUFFER_SIZE>;

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};
using OpenFile = std::unique_ptr<FILE, FileCloser>;

bool is_break(char c) { return c == '\n' || c == '\r'; }
bool is_blank(char c) { return c == ' ' || c == '\t'; }

// First and last character; an empty range ends before it starts.
struct Range {
    size_t begin = 0;
    size_t end = 0; // one behind the last
};

Range trimmed(std::string_view text, Range r) {
    while (r.begin < r.end && is_blank(text[r.begin])) ++r.begin;
    while (r.end > r.begin && is_blank(text[r.end - 1])) --r.end;
    return r;
}
std::string_view part(std::string_view text, Range r) { return text.substr(r.begin, r.end - r.begin); }

bool begins_header(std::string_view text, size_t at) {
    return at < text.size() && text[at] == '[' && (at == 0 || is_break(text[at - 1]));
}

struct Match {
    bool section_found = false, key_found = false;
    Range section, key, value;
};

// Whether the line holds the key; fills key and value then.
bool match_line(std::string_view text, Range line, std::string_view key, Match &match) {
    if (line.begin == line.end || text[line.begin] == ';' || text[line.begin] == '=') return false;
    const size_t equal = part(text, line).find('=');
    if (equal == std::string_view::npos) return false;
    const Range name = trimmed(text, {line.begin, line.begin + equal});
    if (part(text, name) != key) return false;
    match.key = name;
    Range value{line.begin + equal + 1, line.end};
    while (value.begin < value.end && is_blank(text[value.begin])) ++value.begin;
    match.value = trimmed(text, value);
    return true;
}

// Walks the lines behind a section's header until the next header. Returns where it stopped.
size_t walk_section(std::string_view text, size_t at, std::string_view key, Match &match) {
    while (at < text.size() && is_blank(text[at])) ++at;
    while (at < text.size() && !begins_header(text, at)) {
        const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
        if (match_line(text, {at, end}, key, match)) {
            match.key_found = true;
            return end;
        }
        at = end + 1;
    }
    return at;
}

Match search(std::string_view text, std::string_view section, std::string_view key) {
    Match match;
    size_t at = 0;
    while (!match.key_found && (at = text.find('[', at)) < text.size()) {
        if (!begins_header(text, at)) {
            ++at;
            continue;
        }
        const size_t close = std::min(text.find(']', at), text.size());
        if (part(text, trimmed(text, {at + 1, close})) != section) {
            ++at;
            continue;
        }
        match.section_found = true;
        match.section = {at, std::min(close + 1, text.size())};
        at = walk_section(text, close + 1, key, match); // a repeated section may follow
    }
    return match;
}

std::string_view text_of(const char *buffer) { return {buffer, strnlen(buffer, INI_BUFFER_SIZE)}; }

// The old text with the new value in it.
std::string rewritten(std::string_view old, std::string_view section, std::string_view key, std::string_view value) {
    const Match match = search(old, section, key);
    std::string text(old);
    if (match.key_found) return text.replace(match.value.begin, match.value.end - match.value.begin, value);
    const std::string line = std::string(key).append("=").append(value).append("\n");
    const bool closed = match.section_found && old[match.section.end - 1] == ']';
    if (closed) {
        // One character is taken for the header's line break. With CR LF the new line lands between the two: accepted.
        if (match.section.end == text.size()) text += '\n'; // the header ends the text
        return text.insert(match.section.end + 1, line);
    }
    if (!text.empty()) text += '\n';
    return text.append("[").append(section).append("]\n").append(line);
}

int write_text(const std::string &text, const char *path) {
    // In place, as the file's other readers expect: its inode, owner and rights stay.
    FILE *file = fopen(path, "we");
    if (!file) return -1;
    const bool put = fputs(text.c_str(), file) >= 0;
    const bool closed = fclose(file) == 0; // a full file system may tell only now
    return put && closed ? 0 : -1;
}
} // namespace

int load_ini_file(const char *path, char *buffer, int *size) {
    *size = 0;
    const OpenFile file(fopen(path, "re"));
    if (!file) return errno == ENOENT ? 0 : -1;
    const size_t got = fread(buffer, 1, INI_BUFFER_SIZE, file.get());
    if (got == INI_BUFFER_SIZE || ferror(file.get())) {
        buffer[0] = '\0';
        return -1;
    }
    const auto *end = static_cast<const char *>(memchr(buffer, TEXT_END, got));
    const size_t length = end ? static_cast<size_t>(end - buffer) : got;
    buffer[length] = '\0';
    *size = static_cast<int>(length);
    return 1;
}

int parse_file(const char *section, const char *key, const char *buffer, int *sec_s, int *sec_e, int *key_s, int *key_e,
               int *value_s, int *value_e) {
    const Match match = search(text_of(buffer), section, key);
    const auto put = [](bool found, Range r, int *first, int *last) {
        *first = found ? static_cast<int>(r.begin) : -1;
        *last = found ? static_cast<int>(r.end) - 1 : -1;
    };
    put(match.section_found, match.section, sec_s, sec_e);
    put(match.key_found, match.key, key_s, key_e);
    put(match.key_found, match.value, value_s, value_e);
    return match.key_found ? 1 : 0;
}

int read_profile_string(const char *section, const char *key, char *out, int size, const char *def, const char *path) {
    if (!section || !key || !out || size <= 0 || !path) return -1;
    const auto capacity = static_cast<size_t>(size);
    Buffer buffer{};
    int length = 0;
    if (load_ini_file(path, buffer.data(), &length) == 1) {
        const std::string_view text = text_of(buffer.data());
        const Match match = search(text, section, key);
        if (match.key_found) {
            const std::string_view value = part(text, match.value).substr(0, capacity - 1);
            memset(out, 0, capacity);
            memcpy(out, value.data(), value.size());
            return 0;
        }
    }
    if (def) { // strncpy's way: filled up with zeros, no terminator when the default fills it
        const size_t copied = strnlen(def, capacity);
        memset(out, 0, capacity);
        memcpy(out, def, copied);
    }
    return -1;
}

int read_profile_int(const char *section, const char *key, int def, const char *path) {
    char text[32] = {};
    if (read_profile_string(section, key, text, sizeof text, nullptr, path) != 0) return def;
    return atoi(text);
}

int write_profile_string(const char *section, const char *key, const char *value, const char *path) {
    if (!section || !key || !value || !path) return -1;
    Buffer buffer{};
    int length = 0;
    if (load_ini_file(path, buffer.data(), &length) < 0) return -1;
    const std::string_view old = text_of(buffer.data());
    const std::string text = rewritten(old, section, key, value);
    if (text.size() >= INI_BUFFER_SIZE) return -1; // nobody could read it again
    if (write_text(text, path) == 0) return 0;
    if (!old.empty()) write_text(std::string(old), path); // a full disk: the old text had room
    return -1;
}

int write_profile_int(const char *section, const char *key, int value, const char *path) {
    char text[64];
    snprintf(text, sizeof text, "%d", value);
    return write_profile_string(section, key, text, path);
}
