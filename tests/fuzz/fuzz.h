// What the fuzz targets share. A target is one file: FUZZ_TARGET(name) { ... data and size are the input ...
// return 0; } Under libFuzzer each is a program of its own; elsewhere all are one test that runs the saved
// inputs (corpus_test.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

using Target = int (*)(const uint8_t *data, size_t size);
struct Entry {
    const char *name;
    Target run;
};
std::vector<Entry> &targets();
inline bool add(const Entry &entry) { return targets().push_back(entry), true; }

extern std::string
    current_input; // named when a promise breaks; empty under libFuzzer, which keeps the input itself
[[noreturn]] void broken(const char *promise, const char *file, int line);

// Takes an input apart, front to back; zeros and empty texts once it is used up.
class Bytes {
public:
    Bytes(const uint8_t *data, size_t size) : m_left(reinterpret_cast<const char *>(data), size) {}
    uint8_t byte();
    std::string text(size_t max); // a length byte and that many bytes up to the first zero, at most max
    std::string_view rest() const { return m_left; }
    bool empty() const { return m_left.empty(); }

private:
    std::string_view m_left;
};

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

// A buffer of its own, zeroed, exactly that long, so that the address sanitizer sees the first byte too far.
inline std::vector<char> exact(size_t size) { return std::vector<char>(size); }
inline bool terminated(const char *text, size_t size) {
    return std::string_view(text, size).find('\0') != std::string_view::npos;
}

} // namespace fuzz

#define FUZZ_CHECK(promise) ((promise) ? void() : fuzz::broken(#promise, __FILE__, __LINE__))

#ifdef VXO_LIBFUZZER
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
#define FUZZ_TARGET(name) extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
#else
#define FUZZ_TARGET(name)                                                                                    \
    static int fuzz_##name(const uint8_t *data, size_t size);                                                \
    [[maybe_unused]] static const bool added_##name = fuzz::add({#name, fuzz_##name});                       \
    static int fuzz_##name([[maybe_unused]] const uint8_t *data, [[maybe_unused]] size_t size)
#endif
