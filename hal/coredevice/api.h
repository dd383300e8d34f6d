// What every file of the core-device library shares.
#pragma once

#include <common/hal_log.h>
#include <vxo_vcoredevice.h>

// A function of the library's interface. noexcept: nothing may unwind into a caller that is C.
#define VXO_API(result) extern "C" __attribute__((visibility("default"))) result
