// A description of the screen, as a reader of it sees it: the window in front, its texts, the soft keys.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace vh {

struct ScreenText {
    std::string text;
    int left = 0, top = 0, right = 0, bottom = 0;
    int color = -1;
    int x() const { return (left + right) / 2; }
    int y() const { return (top + bottom) / 2; }
};

class ScreenView {
public:
    explicit ScreenView(nlohmann::json dump);
    int width() const { return width_; }
    int height() const { return height_; }
    // Texts of the frontmost visible window (bars do not count) and its controls, in drawing order.
    const std::vector<ScreenText> &front() const { return front_; }
    // Texts of all visible windows: what is behind included, since its last paint is remembered.
    const std::vector<ScreenText> &all() const { return all_; }
    // Left, middle and right soft key, as far as a bar is visible; else three empty texts.
    const std::vector<std::string> &soft_keys() const { return soft_keys_; }
    bool front_covers_screen() const { return front_covers_; }
    const std::string &front_caption() const { return front_caption_; }
    // A text of the front window (else of a bar): equal, or else containing `wanted`.
    std::optional<ScreenText> find(const std::string &wanted) const;
    bool front_shows(const std::string &wanted) const; // exactly this text, in the front window
    bool shows(const std::string &wanted) const { return find(wanted).has_value(); }
    // One line, for messages: caption, texts, soft keys.
    std::string summary() const;

private:
    void collect(const nlohmann::json &window, std::vector<ScreenText> &into);
    int width_ = 0, height_ = 0;
    bool front_covers_ = false;
    std::string front_caption_;
    std::vector<ScreenText> front_, all_;
    std::vector<std::string> soft_keys_{"", "", ""};
};

} // namespace vh
