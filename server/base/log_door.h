// The one log door: every line to the Android log goes through these macros, which put the function's name first.
//   LOGD(TAG, "%s begin", __func__) is written LOG_D(TAG, "begin").
// Agreed texts that begin with "%s" of the function name come out as "name text"; a text that needs another shape uses
// LOG_RAW. Any thread.
#pragma once

#include <android/log.h>

#define LOG_RAW(prio, tag, ...) __android_log_print(prio, tag, __VA_ARGS__)
#define LOG_D(tag, fmt, ...) __android_log_print(ANDROID_LOG_DEBUG, tag, "%s " fmt, __func__ __VA_OPT__(, ) __VA_ARGS__)
#define LOG_E(tag, fmt, ...) __android_log_print(ANDROID_LOG_ERROR, tag, "%s " fmt, __func__ __VA_OPT__(, ) __VA_ARGS__)

// For code that would log several lines: whether anybody reads them, asked once.
inline bool log_reads(int prio, const char *tag) { return __android_log_is_loggable(prio, tag, ANDROID_LOG_VERBOSE) != 0; }
