#include "client/client.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vh {

namespace {
constexpr int CONTROL_TIMEOUT_MS = 120000; // an exec may take its time

std::string option(const std::string &name) { return name == "default" ? "" : " -n " + name; }

// Reads until `stop` says so, the peer closes or the time is up.
std::string read_until(int fd, int timeout_ms, bool (*stop)(const std::string &)) {
    std::string text;
    char buffer[65536];
    while (!stop(text)) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, timeout_ms) <= 0) break;
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}

bool write_all(int fd, const std::string &text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}
} // namespace

bool Client::exists() const {
    struct stat s{};
    return stat(paths_.root.c_str(), &s) == 0 && S_ISDIR(s.st_mode);
}

bool Client::answers() const {
    Fd fd(connect_unix(paths_.control_socket()));
    return static_cast<bool>(fd);
}

nlohmann::json Client::request(const nlohmann::json &what) const {
    Fd fd(connect_unix(paths_.control_socket()));
    if (!fd)
        throw ClientError("handset '" + name_ + "' is not running; start it with: ./handset boot" + option(name_));
    if (!write_all(fd.get(), what.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n"))
        throw ClientError("the launcher of handset '" + name_ + "' hung up: " + strerror(errno));
    const std::string text = read_until(fd.get(), CONTROL_TIMEOUT_MS, [](const std::string &t) {
        return !t.empty() && t.back() == '\n';
    });
    const nlohmann::json answer = nlohmann::json::parse(text, nullptr, false);
    if (!answer.is_object())
        throw ClientError("the launcher of handset '" + name_ + "' gave no answer; look at it with: ./handset status" +
                          option(name_));
    if (!answer.value("ok", false)) throw ClientError(answer.value("error", "the launcher refused without saying why"));
    return answer;
}

nlohmann::json Client::options() const {
    std::ifstream file(paths_.options());
    nlohmann::json found = nlohmann::json::parse(file, nullptr, false);
    return found.is_object() ? found : nlohmann::json::object();
}

double Client::speed() const {
    const nlohmann::json all = options();
    const auto found = all.find("speed");
    return found != all.end() && found->is_number() ? std::max(1.0, found->get<double>()) : 1.0;
}

bool Client::sleeps() const { return request({{"op", "status"}}).value("sleeps", false); }

nlohmann::json Client::battery(nlohmann::json values) const {
    values["op"] = "battery";
    return request(values);
}

void Client::require_awake() const {
    if (sleeps())
        throw ClientError("handset '" + name_ + "' is asleep; press a key: ./handset key power" + option(name_));
}

nlohmann::json Client::dump() const {
    require_awake();
    Fd fd(connect_unix(paths_.gui_socket()));
    if (!fd) {
        request({{"op", "status"}}); // says so when the whole handset is off
        throw ClientError("the program on handset '" + name_ + "' shows no screen yet; see: ./handset log" + option(name_));
    }
    std::string text;
    for (int waited = 0; waited < 10000; waited += 250) { // it may fall asleep over it
        pollfd answer{fd.get(), POLLIN, 0};
        if (poll(&answer, 1, 250) == 1) {
            text = read_until(fd.get(), 10000, [](const std::string &) { return false; });
            break;
        }
        require_awake();
    }
    nlohmann::json screen = nlohmann::json::parse(text, nullptr, false);
    if (!screen.is_object()) throw ClientError("the program did not describe its screen; see: ./handset log" + option(name_));
    return screen;
}

std::string Client::attr(const std::string &path) const {
    const nlohmann::json answer = request({{"op", "attr"}, {"path", path}});
    return answer.value("value", "");
}

void Client::set_attr(const std::string &path, const std::string &value) const {
    request({{"op", "attr"}, {"path", path}, {"value", value}});
}

void Client::fault(const std::string &path, const std::string &kind) const {
    request({{"op", "fault"}, {"path", path}, {"fault", kind}});
}

Client::Outcome Client::exec(const std::vector<std::string> &argv) const {
    const nlohmann::json answer = request({{"op", "exec"}, {"argv", argv}});
    return {answer.value("status", 1), answer.value("output", "")};
}

// ---- result flags: station i lies in byte i/4, bits (3 - i%4) * 2 ----

int Client::station(int number) const {
    if (number < 0 || number >= STATION_COUNT) throw ClientError("a station is a number from 0 to 1023");
    Fd fd(open(paths_.part("vxoflag").c_str(), O_RDONLY | O_CLOEXEC));
    unsigned char byte = 0;
    if (!fd || pread(fd.get(), &byte, 1, number / 4) != 1)
        throw ClientError("handset '" + name_ + "' has no flag partition yet; boot it once: ./handset boot" + option(name_));
    return byte >> ((3 - number % 4) * 2) & 3;
}

void Client::set_station(int number, int value) const {
    station(number);
    Fd fd(open(paths_.part("vxoflag").c_str(), O_RDWR | O_CLOEXEC));
    unsigned char byte = 0;
    const int shift = (3 - number % 4) * 2;
    bool good = fd && pread(fd.get(), &byte, 1, number / 4) == 1;
    byte = static_cast<unsigned char>((byte & ~(3 << shift)) | (value & 3) << shift);
    good = good && pwrite(fd.get(), &byte, 1, number / 4) == 1 && fsync(fd.get()) == 0;
    if (!good) throw ClientError("cannot write " + paths_.part("vxoflag") + ": " + strerror(errno));
}

std::string verdict_name(int value) {
    static const char *const NAMES[] = {"untested", "pass", "fail", "invalid"};
    return NAMES[value & 3];
}

// ---- PC link ----

PcLink::PcLink(const Client &client) : socket_(connect_unix(client.paths().pc_socket())), name_(client.name()) {
    if (!socket_)
        throw ClientError("handset '" + name_ + "' takes no PC commands; start it with: ./handset boot" + option(name_));
}

void PcLink::fill(int timeout_ms) {
    pollfd p{socket_.get(), POLLIN, 0};
    const int ready = poll(&p, 1, timeout_ms);
    if (ready == 0) throw ClientError("the handset did not answer in time; see: ./handset log" + option(name_));
    char buffer[8192];
    const ssize_t n = ready < 0 ? -1 : recv(socket_.get(), buffer, sizeof buffer, 0);
    if (n > 0) pending_.append(buffer, static_cast<size_t>(n));
    else if (n == 0 || errno != EINTR)
        throw ClientError("the PC channel is closed (the program is starting, restarting or has ended); see: ./handset status" +
                          option(name_));
}

std::string PcLink::read_line(int timeout_ms) {
    size_t end;
    while ((end = pending_.find('\n')) == std::string::npos) fill(timeout_ms);
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return line;
}

std::string PcLink::read_bytes(size_t count, int timeout_ms) {
    while (pending_.size() < count) fill(timeout_ms);
    std::string bytes = pending_.substr(0, count);
    pending_.erase(0, count);
    return bytes;
}

PcLink::Reply PcLink::at(const std::string &command, int timeout_ms) {
    if (!write_all(socket_.get(), command + "\n"))
        throw ClientError("the PC channel of handset '" + name_ + "' is closed; see: ./handset status" + option(name_));
    const std::string head = read_line(timeout_ms);
    int status = 0;
    unsigned length = 0;
    if (sscanf(head.c_str(), "%d %u", &status, &length) != 2 || length > 1U << 20)
        throw ClientError("the handset answered out of form: '" + head + "'");
    std::string reply = read_bytes(length, timeout_ms);
    read_bytes(1, timeout_ms);
    return {status, std::move(reply)};
}

} // namespace vh
