// Looking names up in the table. Internal to this folder.
#pragma once

#include <optional>
#include <string_view>

#include "lint/lint.h"
#include "lint/names.h"

namespace vh {

std::vector<std::string> known_sections();
std::vector<std::string> known_keys(std::string_view section);
std::vector<std::string> known_pairs(std::string_view section, std::string_view key);
// Nothing when the name is not known.
std::optional<ValueKind> kind_of_key(std::string_view section, std::string_view key);
std::optional<ValueKind> kind_of_pair(std::string_view section, std::string_view key, std::string_view pair);
bool has(const std::vector<std::string> &names, std::string_view name);
// "; did you mean 'NAME'?" when one of the names is close, else nothing.
std::string hint(std::string_view name, const std::vector<std::string> &names);
// What is wrong with a value of that kind; empty when nothing is.
std::string fault_of_value(const std::string &value, ValueKind kind);

} // namespace vh
