#include <modem/channel.h>

#include <array>
#include <cerrno>
#include <common/file.h>
#include <common/hal_log.h>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <tp_clock.h>
#include <tp_os.h>
#include <unistd.h>
#include <vxo_signalcoupling.h>

namespace modem {

namespace {
constexpr char TAG[] = "MODEM";
constexpr char COMMAND[] = "/sys/class/modem/modem0/command", ANSWER[] = "/sys/class/modem/modem0/answer";
constexpr int64_t LIMIT_NS = int64_t{VXO_MODEM_ANSWER_MS} * 1000000;

hal::UniqueFd g_command, g_answer;
// Begins anywhere: an answer to the program that ran before must not be taken for ours.
unsigned g_number = 0;
bool g_silent = false;

std::optional<Answer> answer_to(unsigned number) {
    std::array<char, 4096> text;
    const ssize_t n = hal::read_at(g_answer.get(), text, 0);
    std::istringstream words(std::string(text.data(), n < 0 ? 0 : static_cast<size_t>(n)));
    unsigned answered = 0;
    Answer answer;
    if (!(words >> answered >> answer.result) || answered != number) return std::nullopt;
    for (std::string value; words >> value;) answer.values.push_back(value);
    return answer;
}

std::optional<Answer> wait_for(unsigned number) {
    const int64_t end = tp_clock_mono_ns() + LIMIT_NS;
    while (true) {
        if (auto answer = answer_to(number)) return answer;
        const int64_t rest = end - tp_clock_mono_ns();
        g_silent = rest <= 0;
        if (g_silent) return std::nullopt;
        pollfd changed{g_answer.get(), POLLPRI, 0};
        if (tp_clock_poll(&changed, 1, rest) < 0 && errno == EINTR && tp_os_thread_stop_requested()) return std::nullopt;
        if (changed.revents & POLLNVAL) return std::nullopt;
    }
}
} // namespace

bool open() {
    g_command = hal::open_file(COMMAND, O_WRONLY);
    if (g_command.valid()) g_answer = hal::open_file(ANSWER, O_RDONLY);
    g_number = static_cast<unsigned>(tp_clock_mono_ns() / 1000) & 0x3fffffff;
    g_silent = false;
    if (g_answer.valid()) return true;
    HAL_LOG_E(TAG, "no modem: %s: %s", g_command.valid() ? ANSWER : COMMAND, strerror(errno));
    close();
    return false;
}

bool silent() { return g_silent; }

void close() {
    g_command.reset();
    g_answer.reset();
}

bool tell(std::string_view operation, std::initializer_list<int> arguments) {
    std::string command = std::to_string(++g_number) + " ";
    command += operation;
    for (const int argument : arguments) command += " " + std::to_string(argument);
    if (g_command.valid() && hal::write_all(g_command.get(), command)) return true;
    HAL_LOG_E(TAG, "\"%s\" not taken: %s", command.c_str(), g_command.valid() ? strerror(errno) : "not open");
    return false;
}

Answer ask(std::string_view operation, std::initializer_list<int> arguments) {
    if (!tell(operation, arguments)) return {};
    const std::optional<Answer> answer = wait_for(g_number);
    if (!answer) HAL_LOG_E(TAG, "no answer to %u %.*s", g_number, static_cast<int>(operation.size()), operation.data());
    return answer.value_or(Answer());
}

} // namespace modem
