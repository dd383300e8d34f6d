// Who may come in: pure checks of what a browser sends.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vh::console {

// 64 hexadecimal digits of chance. Throws std::runtime_error.
std::string new_token();
// Takes the same time wherever they differ.
bool same_token(std::string_view given, std::string_view token);
// "127.0.0.1:PORT" or "localhost:PORT": another name that leads here is a page of somebody else's.
bool own_host(std::string_view host, uint16_t port);
// The same behind "http://".
bool own_origin(std::string_view origin, uint16_t port);
// The token in "Bearer TOKEN" or, among the subprotocols of a WebSocket, in "handset, TOKEN". Empty: there is none.
std::string_view bearer_token(std::string_view authorization);
std::string_view subprotocol_token(std::string_view protocols);
constexpr std::string_view SUBPROTOCOL = "handset";

} // namespace vh::console
