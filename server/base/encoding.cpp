#include "base/encoding.h"

#include <algorithm>
#include <cerrno>
#include <iconv.h>

namespace {
class Converter {
public:
    Converter(const char *to, const char *from) : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (usable()) iconv_close(handle_);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;
    bool usable() const { return handle_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t handle() const { return handle_; }

private:
    iconv_t handle_;
};

// A platform without this code page still gets the ASCII part.
std::string ascii_only(std::string_view text) {
    std::string out(text);
    std::replace_if(out.begin(), out.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
    return out;
}

// Bytes of the unreadable character at the front of text: its whole sequence in UTF-8, one byte in GB18030.
size_t bad_length(std::string_view text, bool utf8) {
    size_t length = 1;
    while (utf8 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
    return length;
}

std::string convert(std::string_view text, const char *to, const char *from, bool utf8) {
    const Converter converter(to, from);
    if (!converter.usable()) return ascii_only(text);
    std::string out;
    while (!text.empty()) {
        char buffer[256];
        char *in = const_cast<char *>(text.data()); // iconv's signature; it does not write
        size_t in_left = text.size();
        char *put = buffer;
        size_t out_left = sizeof buffer;
        const size_t result = iconv(converter.handle(), &in, &in_left, &put, &out_left);
        const int error = errno;
        out.append(buffer, sizeof buffer - out_left);
        text.remove_prefix(text.size() - in_left);
        if (result != static_cast<size_t>(-1)) break;
        if (error == E2BIG) continue;
        out += '?';
        text.remove_prefix(error == EINVAL ? text.size() : bad_length(text, utf8));
    }
    return out;
}
} // namespace

std::string gbk_from_utf8(std::string_view utf8) { return convert(utf8, "GB18030", "UTF-8", true); }
std::string utf8_from_gbk(std::string_view gbk) { return convert(gbk, "UTF-8", "GB18030", false); }
