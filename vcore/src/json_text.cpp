#include "json_text.h"

#include <algorithm>
#include <cstdio>

namespace vcore {
namespace {
// Bytes of the well-formed character at the front: no surrogates, nothing overlong, nothing beyond U+10FFFF. 0: none.
size_t character_size(std::string_view s) {
    const auto byte = [s](size_t i) { return static_cast<unsigned char>(s[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return 1;
    const size_t size = lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
    if (size == 0 || s.size() < size) return 0;
    for (size_t i = 1; i < size; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    const unsigned second = byte(1);
    const bool bad = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) || (lead == 0xF0 && second < 0x90) ||
                     (lead == 0xF4 && second >= 0x90);
    return bad ? 0 : size;
}

void append_ascii(std::string &out, char c) {
    if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
    } else if (c == '\n') {
        out += "\\n";
    } else if (static_cast<unsigned char>(c) < 0x20) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        out += escape;
    } else {
        out += c;
    }
}
} // namespace

std::string json_quoted(std::string_view utf8) {
    std::string out = "\"";
    out.reserve(utf8.size() + 2);
    while (!utf8.empty()) {
        // Most texts are plain to their end.
        const auto plain = static_cast<size_t>(
            std::find_if_not(utf8.begin(), utf8.end(), [](char c) { return c >= 0x20 && c != '"' && c != '\\' && c < 0x7f; }) - utf8.begin());
        out += utf8.substr(0, plain);
        utf8.remove_prefix(plain);
        if (utf8.empty()) break;
        const size_t size = character_size(utf8);
        if (size == 1) append_ascii(out, utf8.front());
        else if (size == 0) out += "\xEF\xBF\xBD";
        else out += utf8.substr(0, size);
        utf8.remove_prefix(size ? size : 1);
    }
    return out + '"';
}
} // namespace vcore
