// Pictures as PNG files. Failures are thrown as std::runtime_error, whose text tells what is wrong with which file.
#pragma once

#include <cstdint>
#include <string>

namespace vh {

// Pixels are 0x00RRGGBB.
void write_png(const std::string &file, const uint32_t *pixels, uint32_t width, uint32_t height, uint32_t stride_bytes);
// Reads all of it, so that what a camera shows later is whole; "WIDTHxHEIGHT".
std::string check_png(const std::string &file);
// Bars of colour, each camera's in an order and a shape of its own; number 0 to 2.
void write_test_picture(const std::string &file, int number);

} // namespace vh
