#include "lint/source_text.h"

#include <algorithm>
#include <cstdio>
#include <iconv.h>
#include <stdexcept>

namespace vh {

namespace {
constexpr std::string_view BOM = "\xEF\xBB\xBF";

class Converter {
public:
    Converter(const char *to, const char *from) : m_handle(iconv_open(to, from)) {
        if (m_handle == reinterpret_cast<iconv_t>(-1))
            throw std::runtime_error(std::string("this system cannot convert to ") + to);
    }
    ~Converter() { iconv_close(m_handle); }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    // What cannot be converted becomes '?' and is appended to bad.
    std::string convert(const std::string &text, std::vector<std::string> &bad) const {
        std::string source = text, out(text.size() * 4 + 16, '\0'); // UTF-32 of ASCII is the longest
        char *from = source.data(), *to = out.data();
        size_t left = source.size(), room = out.size();
        while (left > 0 && iconv(m_handle, &from, &left, &to, &room) == static_cast<size_t>(-1)) {
            const size_t length = bad_length({from, left});
            bad.emplace_back(from, length);
            from += length, left -= length;
            *to++ = '?', --room;
            iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        }
        out.resize(out.size() - room);
        return out;
    }

private:
    // The whole UTF-8 character, so that a message can show it; one byte of anything else.
    static size_t bad_length(std::string_view text) {
        size_t length = 1;
        if (static_cast<unsigned char>(text[0]) >= 0xC0)
            while (length < text.size() && length < 4 &&
                   (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
                ++length;
        return length;
    }
    iconv_t m_handle;
};

bool is_utf8(const std::string &text) {
    std::vector<std::string> bad;
    Converter("UTF-32LE", "UTF-8").convert(text, bad);
    return bad.empty();
}
bool is_ascii(const std::string &text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string hex(const std::string &bytes) {
    std::string text;
    for (const char c : bytes) {
        char byte[8];
        snprintf(byte, sizeof byte, "%s%02X", text.empty() ? "" : " ",
                 static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += byte;
    }
    return text;
}
} // namespace

std::string utf8_from_gbk_text(const std::string &text) {
    std::vector<std::string> ignored;
    return Converter("UTF-8", "GBK").convert(text, ignored);
}

InstalledText as_installed(std::string bytes, bool installed) {
    InstalledText result;
    if (bytes.starts_with(BOM)) {
        result.findings.push_back({1, "a byte order mark: the first line is not read, and the installer "
                                      "converts nothing; save without it"});
        bytes.erase(0, BOM.size());
    }
    const bool utf8 = is_utf8(bytes);
    const bool source = utf8 && !installed;
    // A file that somebody edited on its way from a handset: the installer mends it, other roads do not.
    const bool mixed = bytes.find("\r\n") != std::string::npos;
    if (utf8 && installed && !is_ascii(bytes))
        result.findings.push_back(
            {1, "the texts are UTF-8, but the handset shows GBK: iconv -f UTF-8 -t GBK"});
    const Converter to_gbk("GBK", "UTF-8"), from_gbk("UTF-8", "GBK");
    int number = 0;
    for (size_t at = 0; at < bytes.size();) {
        const size_t feed = bytes.find('\n', at);
        std::string text = bytes.substr(at, feed == std::string::npos ? feed : feed - at);
        at = feed == std::string::npos ? bytes.size() : feed + 1;
        InstalledLine line{++number, {}, feed != std::string::npos, 0};
        if (text.ends_with('\r'))
            text.pop_back();
        else if (!source || mixed)
            line.whole_end = false;
        std::vector<std::string> bad;
        std::string converted = source ? to_gbk.convert(text, bad) : (from_gbk.convert(text, bad), text);
        for (const std::string &character : bad)
            result.findings.push_back(
                {number, source ? "'" + character + "' is not in GBK, so the installer converts nothing"
                                : "the bytes " + hex(character) + " are no GBK"});
        if (const size_t zero = converted.find('\0'); zero != std::string::npos) {
            result.findings.push_back({number, "a zero byte ends the line for the program"});
            converted.resize(zero);
        }
        line.text = std::move(converted);
        line.bytes = line.text.size() + (line.whole_end ? 2 : 1);
        result.lines.push_back(std::move(line));
    }
    return result;
}

} // namespace vh
