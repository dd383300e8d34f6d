// A text as a JSON string.
#pragma once

#include <string>
#include <string_view>

namespace vcore {

// In quotation marks, escaped; what is not UTF-8 becomes U+FFFD.
std::string json_quoted(std::string_view utf8);

} // namespace vcore
