// What the fuzz targets share. A target is one file: FUZZ_TARGET(name) { ... takes `in` apart ... } Under libFuzzer each is a
// program of its own; elsewhere all are one test that runs the saved inputs (corpus_test.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

extern std::string current_input; // named when a promise breaks; empty under libFuzzer, which keeps the input itself
[[noreturn]] void broken(const char *promise, const char *file, int line);

// Takes an input apart, front to back; zeros and empty texts once it is used up.
class Bytes {
public:
    explicit Bytes(std::string_view input) : m_left(input) {}
    uint8_t byte();
    std::string text(size_t max); // a length byte and that many bytes up to the first zero, at most max
    std::string_view rest() const { return m_left; }

private:
    std::string_view m_left;
};

struct Entry {
    const char *name;
    void (*run)(Bytes &in);
};
std::vector<Entry> &targets();
inline bool add(const Entry &entry) { return targets().push_back(entry), true; }

// A file in memory with a path.
class ScratchFile {
public:
    ScratchFile();
    const char *path() const { return m_path.c_str(); }
    void put(std::string_view text) const;
    std::string get() const;

private:
    int m_fd;
    std::string m_path;
};

// A buffer of its own, exactly that long, so that the address sanitizer sees the first byte too far.
inline std::vector<char> exact(size_t size, char fill = '\0') { return std::vector<char>(size, fill); }
template <class Text> bool terminated(const Text &text) {
    return std::string_view(std::data(text), std::size(text)).find('\0') != std::string_view::npos;
}
inline std::string_view up_to_zero(std::string_view text) { return text.substr(0, text.find('\0')); }

} // namespace fuzz

#define FUZZ_CHECK(promise) ((promise) ? void() : fuzz::broken(#promise, __FILE__, __LINE__))

// The target's body: takes its input apart from `in`.
#define FUZZ_TARGET(name)                                                                                    \
    static void fuzz_##name(fuzz::Bytes &in);                                                                \
    [[maybe_unused]] static const bool added_##name = fuzz::add({#name, fuzz_##name});                       \
    static void fuzz_##name([[maybe_unused]] fuzz::Bytes &in)
