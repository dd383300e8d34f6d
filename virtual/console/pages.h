// The files of the page, which are part of this program (console/page/, embedded by CMake).
#pragma once

#include <span>
#include <string_view>

namespace vh::console {

struct Page {
    std::string_view path, type, body; // path as it is asked for, e.g. "/app.js"
};
std::span<const Page> pages();

} // namespace vh::console
