// A configuration file in the form in which the handset has it. Internal to this folder.
#pragma once

#include "lint/lint.h"

namespace vh {

struct InstalledLine {
    int number;
    std::string text; // GBK, without CR and LF
    bool whole_end;   // ends in CR LF
    size_t bytes;     // with its end
};
struct InstalledText {
    std::vector<InstalledLine> lines;
    std::vector<Finding> findings; // about the encoding
};

InstalledText as_installed(std::string bytes, bool installed);
std::string utf8_from_gbk_text(const std::string &text); // for messages; what is no GBK becomes '?'

} // namespace vh
