// INI profile files: reading, and that a write changes what it should and nothing else.
#include <algorithm>

#include "config/ini_profile.h"
#include "fuzz.h"

namespace {
constexpr int FIELD = 64;

bool plain(std::string_view text, std::string_view forbidden) {
    if (text.empty() || text.find_first_of(forbidden) != std::string_view::npos) return false;
    const std::string_view blanks = " \t";
    return blanks.find(text.front()) == std::string_view::npos && blanks.find(text.back()) == std::string_view::npos;
}

struct Name {
    std::string section, key;
    bool legal() const {
        return plain(section, "]\r\n\xff") && plain(key, "=\r\n\xff") && key.front() != ';' && key.front() != '[';
    }
};

// The value, or a mark that no file holds.
std::string read_value(const Name &name, int size, const char *path) {
    std::vector<char> out(static_cast<size_t>(size) + 1, '#');
    if (read_profile_string(name.section.c_str(), name.key.c_str(), out.data(), size, nullptr, path) != 0) {
        FUZZ_CHECK(std::count(out.begin(), out.end(), '#') == size + 1);
        return "\xff";
    }
    FUZZ_CHECK(out[static_cast<size_t>(size)] == '#' && fuzz::terminated(std::string_view(out.data(), static_cast<size_t>(size))));
    return out.data();
}

void check_positions(const Name &name, const std::string &text) {
    int p[6];
    const int found = parse_file(name.section.c_str(), name.key.c_str(), text.c_str(), &p[0], &p[1], &p[2],
                                 &p[3], &p[4], &p[5]);
    const int length = static_cast<int>(text.size());
    for (int at : p) FUZZ_CHECK(at >= -1 && at <= length);
    FUZZ_CHECK(found == 0 || (p[0] >= 0 && p[1] > p[0] && p[2] > p[1] && p[3] + 1 >= p[2] && p[4] > p[3]));
    FUZZ_CHECK(found == 0 || text.compare(static_cast<size_t>(p[2]), name.key.size(), name.key) == 0);
}

// Whether the header that a new key would go under ends with its line: otherwise the key lands in what
// follows it.
bool header_ends_line(const Name &name, const std::string &text) {
    int p[6];
    parse_file(name.section.c_str(), name.key.c_str(), text.c_str(), &p[0], &p[1], &p[2], &p[3], &p[4], &p[5]);
    if (p[1] < 0 || p[2] >= 0) return true;
    const auto behind = static_cast<size_t>(p[1]) + 1;
    return text[behind - 1] != ']' || behind >= text.size() || text[behind] == '\n' || text[behind] == '\r';
}
} // namespace

FUZZ_TARGET(ini_profile) {
    static const fuzz::ScratchFile file;
    const uint8_t fill = in.byte();
    const size_t filler = fill < 250 ? 0 : 16000 + fill % 250 * 100; // brings a small input to the size limit
    const Name name{in.text(12), in.text(12)}, neighbour{in.text(12), in.text(12)};
    const std::string value = in.text(40);
    const uint8_t room_for_value = in.byte();
    const std::string before = std::string(filler, ';') + (filler ? "\n" : "") + std::string(in.rest());
    file.put(before);

    auto buffer = fuzz::exact(INI_BUFFER_SIZE);
    int length = 0;
    const int loaded = load_ini_file(file.path(), buffer.data(), &length);
    FUZZ_CHECK(loaded == (before.size() < INI_BUFFER_SIZE ? 1 : -1));
    const std::string text = loaded == 1 ? buffer.data() : "";
    check_positions(name, text);
    read_value(name, 1 + room_for_value % FIELD, file.path());
    read_profile_int(name.section.c_str(), name.key.c_str(), 7, file.path());

    const bool sound = header_ends_line(name, text) && name.legal() && neighbour.legal();
    const int room = static_cast<int>(text.size() + value.size()) + 2;
    const std::string beside = read_value(neighbour, room, file.path());
    if (write_profile_string(name.section.c_str(), name.key.c_str(), value.c_str(), file.path()) != 0) {
        FUZZ_CHECK(file.get() == before);
        return;
    }
    FUZZ_CHECK(file.get().size() < INI_BUFFER_SIZE);
    if (!sound || !plain(value, "\r\n\xff")) return;
    FUZZ_CHECK(read_value(name, room, file.path()) == value);
    if (name.section != neighbour.section || name.key != neighbour.key)
        FUZZ_CHECK(read_value(neighbour, room, file.path()) == beside);
}
