#include "console/gate.h"

#include <cerrno>
#include <stdexcept>
#include <sys/random.h>

namespace vh::console {

std::string new_token() {
    unsigned char bytes[32];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) throw std::runtime_error("no random numbers");
    std::string token;
    for (const unsigned char byte : bytes) {
        constexpr char DIGITS[] = "0123456789abcdef";
        token += DIGITS[byte >> 4];
        token += DIGITS[byte & 15];
    }
    return token;
}

bool same_token(std::string_view given, std::string_view token) {
    volatile unsigned char difference = given.size() == token.size() ? 0 : 1;
    for (size_t i = 0; i < token.size(); ++i)
        difference = static_cast<unsigned char>(difference | ((i < given.size() ? given[i] : 0) ^ token[i]));
    return !token.empty() && difference == 0;
}

bool own_host(std::string_view host, uint16_t port) {
    const std::string suffix = ":" + std::to_string(port);
    return host == "127.0.0.1" + suffix || host == "localhost" + suffix;
}

bool own_origin(std::string_view origin, uint16_t port) {
    constexpr std::string_view SCHEME = "http://";
    return origin.starts_with(SCHEME) && own_host(origin.substr(SCHEME.size()), port);
}

std::string_view bearer_token(std::string_view authorization) {
    constexpr std::string_view SCHEME = "Bearer ";
    return authorization.starts_with(SCHEME) ? authorization.substr(SCHEME.size()) : std::string_view();
}

std::string_view subprotocol_token(std::string_view protocols) {
    const size_t comma = protocols.find(',');
    if (comma == std::string_view::npos || protocols.substr(0, comma) != SUBPROTOCOL) return {};
    const size_t begin = protocols.find_first_not_of(' ', comma + 1);
    return begin == std::string_view::npos ? std::string_view() : protocols.substr(begin);
}

} // namespace vh::console
