// Packets of the debug bridge: a header of six little-endian words (command, two arguments, length and sum of the data, the
// command's complement) and data.
#pragma once

#include <cstdint>
#include <string>

namespace bridge {

constexpr uint32_t word(const char (&name)[5]) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(name[i]);
    return value;
}
constexpr uint32_t CNXN = word("CNXN"); // version, largest data, banner: who is there
constexpr uint32_t OPEN = word("OPEN"); // sender's stream, 0, service
constexpr uint32_t OKAY = word("OKAY"); // sender's stream, receiver's stream: opened, or took what was written
constexpr uint32_t WRTE = word("WRTE"); // the same, bytes: the next only after an OKAY
constexpr uint32_t CLSE = word("CLSE"); // the same; 0 as the sender's: not opened

// From this version on nobody fills in or checks sums.
constexpr uint32_t VERSION_WITHOUT_SUMS = 0x01000001;
constexpr uint32_t VERSION_WITH_SUMS = 0x01000000;
constexpr size_t MAX_FIRST_DATA = 4096;       // until both have told their own
constexpr size_t MAX_DATA = 256 * 1024;       // ours

struct Packet {
    uint32_t command = 0, arg0 = 0, arg1 = 0;
    std::string data;
};

enum class Taken { packet, incomplete, garbage };
// Takes the first packet off `bytes`. garbage: this is not the bridge's language, or too long.
Taken take_packet(std::string &bytes, size_t max_data, bool with_sum, Packet &packet);
// The packet's bytes, always with a sum.
std::string packet_bytes(const Packet &packet);

void put_word(std::string &to, uint32_t value);
uint32_t get_word(const char *from);

} // namespace bridge
