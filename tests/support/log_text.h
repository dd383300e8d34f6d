// Collects what is logged while it lives: a workstation's log goes to standard error, a handset's to its log file.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "support/files.h"

class LogText {
public:
    LogText() : before_(files::get(FILE_PATH).size()) { testing::internal::CaptureStderr(); }
    ~LogText() {
        if (!taken_) testing::internal::GetCapturedStderr();
    }
    LogText(const LogText &) = delete;
    LogText &operator=(const LogText &) = delete;
    std::string take() {
        taken_ = true;
        std::string text = testing::internal::GetCapturedStderr();
        const std::string file = files::get(FILE_PATH);
        if (file.size() > before_) text += file.substr(before_);
        return text;
    }

private:
    static constexpr const char *FILE_PATH = "/dev/__vxo_log/main.log";
    size_t before_;
    bool taken_ = false;
};
