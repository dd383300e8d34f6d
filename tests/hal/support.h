// What the tests of the device libraries share: the loaded libraries, a file system to write on, and the log.
#pragma once

#include <chrono>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "support/files.h"

namespace hal_test {

inline void *library(const char *name) {
    void *handle = dlopen(name, RTLD_NOW);
    if (!handle) ADD_FAILURE() << dlerror();
    return handle;
}
inline void *factory() {
    static void *handle = library("lib_factory.so");
    return handle;
}
inline void *core_device() {
    static void *handle = library("libvxo_vcoredevice.so");
    return handle;
}
template <typename Function> Function bind(void *from, const char *name) {
    void *found = dlsym(from, name);
    if (!found) ADD_FAILURE() << "no symbol " << name;
    return reinterpret_cast<Function>(found);
}

inline void put(const std::filesystem::path &path, const std::string &text) { files::put(path, text); }
inline std::string content(const std::filesystem::path &path) { return files::get(path); }

// Waits for a condition with a generous limit; the tests' own patience runs on the wall clock.
template <typename Condition> bool eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Collects the log (standard error in the box) while it lives.
class LogCapture {
public:
    LogCapture() : m_saved(dup(2)), m_file(tmpfile()) { dup2(fileno(m_file), 2); }
    ~LogCapture() {
        dup2(m_saved, 2);
        close(m_saved);
        fclose(m_file);
    }
    size_t count(const std::string &text) const {
        std::string log(static_cast<size_t>(lseek(fileno(m_file), 0, SEEK_END)), '\0');
        [[maybe_unused]] const ssize_t n = pread(fileno(m_file), log.data(), log.size(), 0);
        size_t found = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size())) ++found;
        return found;
    }

private:
    int m_saved;
    FILE *m_file;
};

} // namespace hal_test
