// The log door of the device libraries: one line per call, the function's name first. Any thread.
#pragma once

#include <android/log.h>

#define HAL_LOG_D(tag, fmt, ...)                                                                             \
    __android_log_print(ANDROID_LOG_DEBUG, tag, "%s " fmt, __func__ __VA_OPT__(, ) __VA_ARGS__)
#define HAL_LOG_E(tag, fmt, ...)                                                                             \
    __android_log_print(ANDROID_LOG_ERROR, tag, "%s " fmt, __func__ __VA_OPT__(, ) __VA_ARGS__)
