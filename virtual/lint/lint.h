// Finds what bites in the two configuration files: lines that the program reads differently from what their
// writer meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vh {

enum class TextKind { config, language };

struct Finding {
    int line;
    std::string text;
};

// The findings of one file, by line. Unless installed, a text that can be converted from UTF-8 to GBK is
// judged as the handset gets it: converted, with CR LF. Everything else is judged byte for byte, as the
// program reads it.
std::vector<Finding> lint_text(const std::string &bytes, TextKind kind, bool installed);

// The same for files, as "FILE:LINE: text"; also whether the language that the configuration chooses is in
// the language file. An empty path is left out. Throws std::runtime_error when a file cannot be read.
std::vector<std::string> lint_files(const std::string &config, const std::string &language, bool installed);

} // namespace vh
