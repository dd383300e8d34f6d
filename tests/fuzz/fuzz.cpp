#include "fuzz.h"

#include <algorithm>
#include <android/log.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

// The log's texts are made, so that bad arguments show, and thrown away.
extern "C" int __android_log_print(int, const char *, const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length;
}

namespace fuzz {

std::string current_input;

namespace {
// Files of /etc are written: never outside a handset's root.
[[maybe_unused]] const bool g_in_sandbox = [] {
    if (access("/system/bin/mmi", F_OK) == 0) return true;
    fputs("fuzz targets run in the sandbox only: tools/fuzz, or tests/support/box BUILD-FOLDER PROGRAM\n", stderr);
    _exit(1);
}();
} // namespace

std::vector<Entry> &targets() {
    static std::vector<Entry> all;
    return all;
}

void broken(const char *promise, const char *file, int line) {
    fprintf(stderr, "%s:%d: broken promise: %s%s%s\n", file, line, promise,
            current_input.empty() ? "" : ", input ", current_input.c_str());
    abort();
}

uint8_t Bytes::byte() {
    if (m_left.empty()) return 0;
    const auto first = static_cast<uint8_t>(m_left.front());
    m_left.remove_prefix(1);
    return first;
}

std::string Bytes::text(size_t max) {
    const size_t length = std::min({static_cast<size_t>(byte()), max, m_left.size()});
    const std::string_view taken = m_left.substr(0, length);
    m_left.remove_prefix(length);
    return std::string(up_to_zero(taken));
}

ScratchFile::ScratchFile()
    : m_fd(memfd_create("scratch", MFD_CLOEXEC)), m_path("/proc/self/fd/" + std::to_string(m_fd)) {
    if (m_fd < 0) abort();
}

void ScratchFile::put(std::string_view text) const {
    if (ftruncate(m_fd, 0) != 0 || pwrite(m_fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) abort();
}

std::string ScratchFile::get() const {
    const off_t length = lseek(m_fd, 0, SEEK_END);
    std::string text(static_cast<size_t>(length), '\0');
    if (pread(m_fd, text.data(), text.size(), 0) != length) abort();
    return text;
}

} // namespace fuzz

#ifdef VXO_LIBFUZZER
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Bytes in({reinterpret_cast<const char *>(data), size});
    fuzz::targets().front().run(in);
    return 0;
}
#endif
