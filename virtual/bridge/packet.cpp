#include "bridge/packet.h"

#include <cstddef>
#include <numeric>

namespace bridge {

namespace {
constexpr size_t HEADER = 24;

uint32_t sum_of(const std::string &data) {
    return std::accumulate(data.begin(), data.end(), uint32_t{0},
                           [](uint32_t sum, char byte) { return sum + static_cast<unsigned char>(byte); });
}
} // namespace

void put_word(std::string &to, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) to += static_cast<char>(value >> shift & 0xFF);
}

uint32_t get_word(const char *from) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(from[i]);
    return value;
}

Taken take_packet(std::string &bytes, size_t max_data, bool with_sum, Packet &packet) {
    if (bytes.size() < HEADER) return Taken::incomplete;
    uint32_t header[6];
    for (size_t i = 0; i < 6; ++i) header[i] = get_word(bytes.data() + 4 * i);
    const auto &[command, arg0, arg1, length, sum, complement] = header;
    if (command != ~complement || length > max_data) return Taken::garbage;
    if (bytes.size() < HEADER + length) return Taken::incomplete;
    packet = {command, arg0, arg1, bytes.substr(HEADER, length)};
    bytes.erase(0, HEADER + length);
    return with_sum && sum_of(packet.data) != sum ? Taken::garbage : Taken::packet;
}

std::string packet_bytes(const Packet &packet) {
    std::string bytes;
    bytes.reserve(HEADER + packet.data.size());
    for (const uint32_t value : {packet.command, packet.arg0, packet.arg1, static_cast<uint32_t>(packet.data.size()),
                                 sum_of(packet.data), ~packet.command})
        put_word(bytes, value);
    return bytes + packet.data;
}

} // namespace bridge
