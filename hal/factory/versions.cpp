#include <array>
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/versions.h>
#include <fcntl.h>

namespace factory {
static constexpr const char *PARTITION = "/dev/block/bootdevice/by-name/vxoprod";
static constexpr size_t VALUE_MAX = 255;

std::optional<std::string> product_value(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        if (line.size() <= key.size() || !line.starts_with(key) || line[key.size()] != '=') continue;
        line = hal::trim_end(line.substr(key.size() + 1)).substr(0, VALUE_MAX);
        std::string value;
        // A partition that was never written properly must not put control codes on the screen or on the PC's line.
        for (const char c : line)
            if (static_cast<unsigned char>(c) >= ' ' && c != 0x7f) value += c;
        return value;
    }
    return std::nullopt;
}

static std::optional<std::string> read_partition() {
    std::array<char, 4096> bytes;
    const hal::UniqueFd fd = hal::open_file(PARTITION, O_RDONLY);
    const ssize_t n = fd.valid() ? hal::read_at(fd.get(), bytes, 0) : -1;
    if (n < 0) {
        HAL_LOG_E(FACTORY_TAG, "%s: %s", PARTITION, strerror(errno));
        return std::nullopt;
    }
    return std::string(bytes.data(), strnlen(bytes.data(), static_cast<size_t>(n)));
}

std::optional<std::string> product_text(std::string_view key) {
    const auto partition = read_partition();
    return partition ? product_value(*partition, key) : std::nullopt;
}

std::optional<ProductTexts> product_texts_read() {
    const auto partition = read_partition();
    if (!partition) return std::nullopt;
    const std::string_view text = *partition;
    ProductTexts texts{product_value(text, "soft"), product_value(text, "hard"), product_value(text, "psn"),
                       product_value(text, "board"), product_value(text, "flash")};
    const auto internal = product_value(text, "soft_internal");
    if (internal && texts.software) *texts.software += "\n" + *internal;
    return texts;
}
} // namespace factory

static int get_text(std::optional<std::string> factory::ProductTexts::*which, char *out, int size) {
    if (!out || size <= 0) return -1;
    out[0] = '\0';
    const auto texts = factory::product_texts_read();
    if (!texts || !((*texts).*which)) return -1;
    const std::string &text = *((*texts).*which);
    const size_t length = std::min(text.size(), static_cast<size_t>(size) - 1);
    memcpy(out, text.data(), length);
    out[length] = '\0';
    return static_cast<int>(length);
}

using factory::ProductTexts;
TKI_API(int) tki_api_GetSoftVersion(char *out, int size) noexcept { return get_text(&ProductTexts::software, out, size); }
TKI_API(int) tki_api_GetHardVersion(char *out, int size) noexcept { return get_text(&ProductTexts::hardware, out, size); }
TKI_API(int) tki_api_GetPSN(char *out, int size) noexcept { return get_text(&ProductTexts::psn, out, size); }
TKI_API(int) tki_api_GetBoardNum(char *out, int size) noexcept { return get_text(&ProductTexts::board, out, size); }
TKI_API(int) tki_api_GetFlashType(char *out, int size) noexcept { return get_text(&ProductTexts::flash, out, size); }
