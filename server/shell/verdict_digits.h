// The verdicts of the production stations as digits.
#pragma once

#include <cstdint>
#include <string>

// Decodes the flag area into g_testinfo: one digit per tested station before the operator's ones, at most
// 100, and last the overall digit of the preview station (1 passed, 2 failed, 0 not tested). GUI thread.
std::string verdict_digits(const uint8_t *area);
