// The line reader that the main configuration and the language file share. Internal to this folder.
#pragma once

#include <functional>

#include "config/main_config.h"

constexpr int CONFIG_LINE = 2048; // bytes of a line with its terminator; a longer one reads as two

// Sees each line of a domain whose trimmed key and value both hold something; false ends the scan.
using LineVisitor = std::function<bool(const char *domain, const char *key, const char *value)>;

// Calls visit for the key lines of the file in order. -1 when it cannot be opened or a bracket line is malformed; log
// lines name the caller.
int scan_config_file(const char *path, const char *caller, const LineVisitor &visit);
