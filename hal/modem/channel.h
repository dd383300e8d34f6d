// The modem's command channel: the attributes of /sys/class/modem/modem0.
//
//   command   "NUMBER OPERATION ARGUMENT..." is written in one write
//   answer    "NUMBER RESULT VALUE..." once the modem has answered that number; POLLPRI tells of each answer
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace modem {

bool open();
void close();
bool silent(); // the last command was not answered in time

struct Answer {
    int result = -1; // 0: done
    std::vector<std::string> values;
};
// Asks, and does not wait: for a modem that was silent.
bool tell(std::string_view operation, std::initializer_list<int> arguments = {});
// Asks and waits. result -1: no modem, not open, no answer in time, or the thread was asked to stop.
Answer ask(std::string_view operation, std::initializer_list<int> arguments = {});

} // namespace modem
