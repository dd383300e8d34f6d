// The description of the screen as JSON.
#include <tp_gui.h>

#include <algorithm>
#include <iconv.h>
#include <string_view>

#include "json_text.h"
#include "panel.h"
#include "window.h"

namespace vcore {
namespace {
constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

class GbToUtf8 {
public:
    GbToUtf8() : handle_(iconv_open("UTF-8", "GB18030")) {}
    ~GbToUtf8() {
        if (ok()) iconv_close(handle_);
    }
    GbToUtf8(const GbToUtf8 &) = delete;
    GbToUtf8 &operator=(const GbToUtf8 &) = delete;

    std::string convert(const std::string &text) {
        if (!ok()) return text;
        // Room for the worst at once: the converter starts over for what does not fit.
        std::string out(text.size() * REPLACEMENT.size(), '\0');
        char *in = const_cast<char *>(text.data()), *to = out.data();
        size_t left = text.size(), room = out.size();
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        while (left > 0 && iconv(handle_, &in, &left, &to, &room) == static_cast<size_t>(-1)) {
            to = std::copy(REPLACEMENT.begin(), REPLACEMENT.end(), to);
            room -= REPLACEMENT.size();
            ++in;
            --left;
        }
        out.resize(out.size() - room);
        return out;
    }

private:
    bool ok() const { return handle_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t handle_;
};

std::string utf8(const std::string &gb_text) {
    static GbToUtf8 converter;
    return converter.convert(gb_text);
}

void add_rect(std::string &out, const RECT &r) {
    out += "\"rect\":[" + std::to_string(r.left) + ',' + std::to_string(r.top) + ',' + std::to_string(r.right) + ',' +
           std::to_string(r.bottom) + ']';
}

void add_text(std::string &out, const PaintedText &text) {
    out += "{\"text\":" + json_quoted(text.utf8) + ',';
    add_rect(out, text.rect);
    out += ",\"color\":" + std::to_string(text.color) + '}';
}

template <class Items, class Add> void add_list(std::string &out, const char *name, const Items &items, Add add) {
    out += std::string(",\"") + name + "\":[";
    bool first = true;
    for (const auto &item : items) {
        if (!first) out += ',';
        first = false;
        add(out, item);
    }
    out += ']';
}

void add_window(std::string &out, const Window &w) {
    out += "{\"class\":" + json_quoted(w.class_name) + ",\"caption\":" + json_quoted(utf8(w.caption)) + ',';
    add_rect(out, w.rect);
    out += std::string(",\"visible\":") + (window_shown(&w) ? "true" : "false") + ",\"id\":" + std::to_string(w.id);
    if (w.softkeys)
        add_list(out, "softkeys", *w.softkeys, [](std::string &o, const std::string &key) { o += json_quoted(utf8(key)); });
    add_list(out, "texts", w.texts, add_text);
    add_list(out, "children", w.children, [](std::string &o, const Window *child) { add_window(o, *child); });
    out += '}';
}
} // namespace
} // namespace vcore

using namespace vcore;

std::string tp_gui_dump() {
    GUI_THREAD_ONLY();
    const RECT screen = panel_rect();
    const WindowRef active = window_find(GetActiveWindow());
    std::string out = "{\"width\":" + std::to_string(RECTW(screen)) + ",\"height\":" + std::to_string(RECTH(screen)) +
                      ",\"active\":" + json_quoted(active ? utf8(active->caption) : std::string());
    add_list(out, "windows", main_windows(), [](std::string &o, const Window *w) { add_window(o, *w); });
    return out + '}';
}

void tp_gui_describe_softkeys(HWND bar, const char *left, const char *middle, const char *right) {
    GUI_THREAD_ONLY();
    if (const WindowRef w = window_find(bar)) w->softkeys = {left ? left : "", middle ? middle : "", right ? right : ""};
}
