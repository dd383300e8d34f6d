// What the production wrote about this handset: names of software and hardware, serial numbers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace factory {
struct ProductTexts {
    std::optional<std::string> software, hardware, psn, board, flash;
};
// Nothing when the partition cannot be read; single texts are nothing when the partition does not hold them.
std::optional<ProductTexts> product_texts_read();
// One value of the partition; nothing when it cannot be read or does not hold it.
std::optional<std::string> product_text(std::string_view key);
// The value of the first line "key=value"; nothing when there is none.
std::optional<std::string> product_value(std::string_view text, std::string_view key);
} // namespace factory
