// The lines of a configuration file as the program takes them in. Internal to this folder.
#pragma once

#include "lint/lint.h"

namespace vh {

constexpr size_t NAME_MAX_BYTES = 255;  // a domain, key, or pair of a list
constexpr size_t VALUE_MAX_BYTES = 254; // its CR is kept with it
constexpr size_t LINE_MAX_BYTES = 2047; // with CR LF

struct Entry {
    int line;
    std::string domain, key, value; // GBK, trimmed
};
struct Domain {
    int line;
    std::string name;
};
struct Entries {
    std::vector<Domain> domains; // in file order, a name that comes again stands again
    std::vector<Entry> entries;
};

// Reads the lines; what the program reads differently, or not at all, goes to findings.
Entries read_entries(const std::string &bytes, bool installed, std::vector<Finding> &findings);
std::string_view trimmed(std::string_view text);

} // namespace vh
