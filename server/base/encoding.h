// GB18030/GBK and UTF-8. What cannot be converted becomes '?'; nothing throws. Any thread.
#pragma once

#include <string>
#include <string_view>

std::string gbk_from_utf8(std::string_view utf8);
std::string utf8_from_gbk(std::string_view gbk);
