// The line reader that the main configuration and the language file share. Internal to this folder.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/main_config.h"

constexpr int CONFIG_LINE = 2048; // bytes of a line with its terminator; a longer one reads as two

// Sees each line of a domain whose trimmed key and value both hold something; false ends the scan. The lines of a domain
// come with the same pointer for its name.
using LineVisitor = std::function<bool(const char *domain, const char *key, const char *value)>;

// The key lines of a file, up to the first malformed bracket line.
class ConfigFile {
public:
    static std::optional<ConfigFile> read(const char *path); // nothing when it cannot be opened
    // Calls visit for the lines in order. -1 when it meets the malformed line.
    int scan(const char *caller, const LineVisitor &visit) const;

private:
    struct Line {
        size_t domain, key, value; // where they begin in texts_
    };
    size_t keep(const char *text);
    std::string texts_, malformed_;
    std::vector<Line> lines_;
};

// Calls visit for the key lines of the file in order. -1 when it cannot be opened or a bracket line is malformed; log
// lines name the caller.
int scan_config_file(const char *path, const char *caller, const LineVisitor &visit);

// As long as this lives, the thread's scans of the file see it as it was in the beginning: a step that looks up many keys
// reads it once. Short-lived, and one at a time: a change of the file is to be seen by the next step.
class HeldConfig {
public:
    explicit HeldConfig(const char *path);
    ~HeldConfig();
    HeldConfig(const HeldConfig &) = delete;
    HeldConfig &operator=(const HeldConfig &) = delete;
    static const ConfigFile *find(const char *path);

private:
    std::string_view path_;
    std::optional<ConfigFile> file_;
    static inline thread_local const HeldConfig *newest_ = nullptr;
};
