// Small files for tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace files {
inline void put(const std::string &path, const std::string &text) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}
inline std::string get(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
} // namespace files
