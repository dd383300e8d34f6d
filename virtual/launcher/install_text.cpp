#include "launcher/launcher.h"

#include <fstream>
#include <iconv.h>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>

namespace vh {

namespace {
std::optional<std::string> to_gbk(std::string text) {
    const iconv_t converter = iconv_open("GBK", "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("this system cannot convert to GBK");
    const std::unique_ptr<void, int (*)(iconv_t)> owner(converter, iconv_close);
    std::string out(text.size() + 16, '\0'); // no character of UTF-8 is longer in GBK
    char *from = text.data(), *to = out.data();
    size_t left = text.size(), room = out.size();
    if (iconv(converter, &from, &left, &to, &room) == static_cast<size_t>(-1)) return std::nullopt;
    out.resize(out.size() - room);
    return out;
}

std::string with_cr_lf(const std::string &text) {
    std::string out;
    out.reserve(text.size() + text.size() / 16);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) out += '\r';
        out += text[i];
    }
    return out;
}
} // namespace

void install_text_gbk(const std::string &source, const std::string &destination) {
    std::ifstream in(source, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + source);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const std::optional<std::string> converted = to_gbk(text);
    std::ofstream out(destination, std::ios::binary | std::ios::trunc);
    out << (converted ? with_cr_lf(*converted) : text);
    if (!out.flush()) throw std::runtime_error("cannot write " + destination);
}

} // namespace vh
