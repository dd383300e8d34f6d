#include "client/screen_text.h"

#include <algorithm>

namespace vh {

namespace {
std::vector<int> rect_of(const nlohmann::json &thing) {
    const auto rect = thing.find("rect");
    if (rect == thing.end() || !rect->is_array() || rect->size() != 4) return {0, 0, 0, 0};
    return rect->get<std::vector<int>>();
}
} // namespace

ScreenView::ScreenView(nlohmann::json dump) : width_(dump.value("width", 0)), height_(dump.value("height", 0)) {
    for (const nlohmann::json &window : dump.value("windows", nlohmann::json::array())) {
        if (!window.value("visible", false)) continue;
        collect(window, all_);
        const std::vector<int> rect = rect_of(window);
        if (rect[3] - rect[1] < height_ / 5) continue; // a bar
        front_.clear();
        collect(window, front_);
        front_caption_ = window.value("caption", "");
        front_covers_ = rect[0] <= 0 && rect[1] <= 0 && rect[2] >= width_ && rect[3] >= height_;
    }
}

void ScreenView::collect(const nlohmann::json &window, std::vector<ScreenText> &into) {
    if (!window.value("visible", false)) return;
    for (const nlohmann::json &text : window.value("texts", nlohmann::json::array())) {
        const std::vector<int> r = rect_of(text);
        into.push_back({text.value("text", ""), r[0], r[1], r[2], r[3], text.value("color", -1)});
    }
    if (window.contains("softkeys")) {
        soft_keys_ = window["softkeys"].get<std::vector<std::string>>();
        soft_keys_.resize(3);
    }
    for (const nlohmann::json &child : window.value("children", nlohmann::json::array())) collect(child, into);
}

std::optional<ScreenText> ScreenView::find(const std::string &wanted) const {
    for (const std::vector<ScreenText> *texts : {&front_, &all_}) {
        for (const ScreenText &text : *texts)
            if (text.text == wanted) return text;
        for (const ScreenText &text : *texts)
            if (!wanted.empty() && text.text.find(wanted) != std::string::npos) return text;
    }
    return std::nullopt;
}

bool ScreenView::front_shows(const std::string &wanted) const {
    return std::any_of(front_.begin(), front_.end(), [&](const ScreenText &text) { return text.text == wanted; });
}

std::string ScreenView::summary() const {
    std::string line = "window '" + front_caption_ + "', texts";
    for (const ScreenText &text : front_) line += " [" + text.text + "]";
    line += ", soft keys";
    for (const std::string &key : soft_keys_) line += " [" + key + "]";
    return line;
}

} // namespace vh
