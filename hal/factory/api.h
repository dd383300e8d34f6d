// What every file of the factory library shares.
#pragma once

#include <common/hal_log.h>
#include <tki_factory.h>

#define FACTORY_TAG "FACTORY"
// A function of the library's interface. noexcept: nothing may unwind into a caller that is C.
#define TKI_API(result) extern "C" __attribute__((visibility("default"))) result
