#include "lint/known.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace vh {

namespace {
bool is_item(std::string_view section) {
    return std::find(std::begin(ITEM_SECTIONS), std::end(ITEM_SECTIONS), section) != std::end(ITEM_SECTIONS);
}

bool section_matches(const KnownName &row, std::string_view section) {
    if (!row.section) return is_item(section);
    const std::string_view name = row.section;
    return name.starts_with('*') ? is_item(section) && section.ends_with(name.substr(1)) : name == section;
}

bool key_matches(const KnownName &row, std::string_view key) {
    return row.key == std::string_view("*") || row.key == key;
}

template <class Accept, class Name> std::vector<std::string> collect(Accept accept, Name name) {
    std::vector<std::string> names;
    for (const KnownName &row : KNOWN_NAMES)
        if (accept(row)) names.emplace_back(name(row));
    return names;
}

// Changes of one letter that turn a into b, without regard to case.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const bool same =
                tolower(static_cast<unsigned char>(a[i])) == tolower(static_cast<unsigned char>(b[j]));
            const size_t above = row[j + 1];
            row[j + 1] = std::min({above + 1, row[j] + 1, diagonal + (same ? 0 : 1)});
            diagonal = above;
        }
    }
    return row.back();
}

bool is_number(std::string_view text, bool decimal) {
    if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
    const size_t point = decimal ? text.find('.') : std::string_view::npos;
    const auto digits = [](std::string_view part) {
        return !part.empty() && part.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return point == std::string_view::npos ? digits(text)
                                           : digits(text.substr(0, point)) && digits(text.substr(point + 1));
}
} // namespace

std::vector<std::string> known_sections() {
    std::vector<std::string> names(std::begin(ITEM_SECTIONS), std::end(ITEM_SECTIONS));
    for (const KnownName &row : KNOWN_NAMES)
        if (row.section && *row.section != '*' && !has(names, row.section)) names.emplace_back(row.section);
    return names;
}

std::vector<std::string> known_keys(std::string_view section) {
    return collect([&](const KnownName &row) { return !row.pair && section_matches(row, section); },
                   [](const KnownName &row) { return row.key; });
}

std::vector<std::string> known_pairs(std::string_view section, std::string_view key) {
    return collect(
        [&](const KnownName &row) {
            return row.pair && section_matches(row, section) && key_matches(row, key);
        },
        [](const KnownName &row) { return row.pair; });
}

std::optional<ValueKind> kind_of_key(std::string_view section, std::string_view key) {
    for (const KnownName &row : KNOWN_NAMES)
        if (!row.pair && section_matches(row, section) && row.key == key) return row.kind;
    return std::nullopt;
}

std::optional<ValueKind> kind_of_pair(std::string_view section, std::string_view key, std::string_view pair) {
    for (const KnownName &row : KNOWN_NAMES)
        if (row.pair && section_matches(row, section) && key_matches(row, key) && row.pair == pair)
            return row.kind;
    return std::nullopt;
}

bool has(const std::vector<std::string> &names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string hint(std::string_view name, const std::vector<std::string> &names) {
    const auto nearest =
        std::min_element(names.begin(), names.end(), [&](const std::string &a, const std::string &b) {
            return distance(name, a) < distance(name, b);
        });
    if (nearest == names.end() || distance(name, *nearest) > std::max<size_t>(2, name.size() / 4)) return "";
    return "; did you mean '" + *nearest + "'?";
}

std::string fault_of_value(const std::string &value, ValueKind kind) {
    if (kind == ValueKind::number && !is_number(value, false)) return "'" + value + "' is no whole number";
    if (kind == ValueKind::decimal && !is_number(value, true)) return "'" + value + "' is no number";
    return "";
}

} // namespace vh
