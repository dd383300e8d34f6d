// Scripts of PC commands: what is sent, what must be answered, and what must hold on the handset afterwards.
#include "cli/cli.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <optional>
#include <ostream>
#include <regex>
#include <sstream>
#include <thread>

namespace cli {

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds EFFECT_PATIENCE{20};
constexpr std::chrono::milliseconds LOOK_EVERY{20};

std::string trimmed(const std::string &text) {
    constexpr const char *BLANK = " \t\r\n";
    const size_t begin = text.find_first_not_of(BLANK);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(BLANK) + 1 - begin);
}

// The text behind a word at the line's beginning; nothing when the line begins otherwise.
std::optional<std::string> after_word(const std::string &line, const std::string &word) {
    if (!line.starts_with(word) || (line.size() > word.size() && line[word.size()] != ' ')) return std::nullopt;
    return trimmed(line.substr(word.size()));
}

std::vector<std::string> columns(const std::string &line) {
    std::vector<std::string> all;
    size_t begin = 0;
    for (size_t end; (end = line.find(" |", begin)) != std::string::npos; begin = end + 2)
        all.push_back(trimmed(line.substr(begin, end - begin)));
    all.push_back(trimmed(line.substr(begin)));
    return all;
}

// Windows but for the bars.
std::string open_windows(const vh::Client &handset) {
    const nlohmann::json dump = handset.dump(), windows = dump.value("windows", nlohmann::json::array());
    return std::to_string(std::count_if(windows.begin(), windows.end(), [&](const nlohmann::json &window) {
        const auto rect = window.value("rect", std::vector<int>(4));
        return window.value("visible", false) && rect[3] - rect[1] >= dump.value("height", 0) / 5;
    }));
}

std::string middle_pixel(const vh::Client &handset) {
    const nlohmann::json dump = handset.dump();
    char text[8];
    snprintf(text, sizeof text, "%06X", handset.pixel(dump.value("width", 0) / 2, dump.value("height", 0) / 2));
    return text;
}

std::string value_of(const vh::Client &handset, const std::string &what) {
    if (what == "windows") return open_windows(handset);
    if (what == "pixel") return middle_pixel(handset);
    if (what.starts_with("/data/") || what.starts_with("/cache/")) {
        std::ifstream file(handset.paths().root + what, std::ios::binary);
        if (!file) return "-";
        return trimmed({std::istreambuf_iterator<char>(file), {}});
    }
    if (!what.starts_with('/')) {
        const nlohmann::json status = handset.request({{"op", "status"}}), value = status.value(what, nlohmann::json());
        return value.is_string() ? value.get<std::string>() : value.dump();
    }
    try {
        return handset.attr(what);
    } catch (const vh::ClientError &) {
        return "-";
    }
}

class Script {
public:
    Script(const vh::Client &handset, std::ostream &out) : handset_(handset), out_(out) {}

    // What does not hold; empty when all does.
    std::string run(const std::string &line) {
        if (const auto wanted = after_word(line, "PATIENCE")) return patience_ms_ = std::stoi(*wanted) * 1000, "";
        if (const auto wanted = after_word(line, "STATUS")) return check_status(*wanted);
        if (const auto wanted = after_word(line, "REPLY")) return *wanted == trimmed(last_.text) ? "" : "REPLY " + last_.text;
        const std::vector<std::string> row = columns(line);
        if (row.size() < 2) return send(after_word(line, "SEND").value_or(line)), "";
        return run_row(row);
    }
    const std::string &last_command() const { return last_command_; }

private:
    void send(const std::string &command) {
        last_command_ = command;
        out_ << "> " << command << "\n";
        if (!link_) connect();
        last_ = link_->at(command, patience_ms_);
        out_ << "STATUS " << last_.status << "\n" << last_.text << (last_.text.empty() ? "" : "\n");
        out_.flush();
    }

    // A program that is starting answers soon.
    void connect() {
        for (const auto end = Clock::now() + EFFECT_PATIENCE; !link_; std::this_thread::sleep_for(LOOK_EVERY)) {
            try {
                link_.emplace(handset_);
                link_->at("", patience_ms_);
            } catch (const vh::ClientError &) {
                link_.reset();
                if (Clock::now() > end) throw;
            }
        }
    }

    std::string check_status(const std::string &wanted) const {
        return wanted == std::to_string(last_.status) ? "" : "STATUS " + std::to_string(last_.status) + " " + last_.text;
    }

    std::string run_row(const std::vector<std::string> &row) {
        if (row[1] == "-") {
            try {
                send(row[0]);
            } catch (const vh::ClientError &) {
                link_.reset();
            }
        } else {
            send(row[0]);
            if (const std::string wrong = check_status(row[1]); !wrong.empty()) return wrong;
            if (!std::regex_match(last_.text, std::regex(row.size() > 2 ? row[2] : ""))) return "REPLY " + last_.text;
        }
        std::istringstream conditions(row.size() > 3 ? row[3] : "");
        for (std::string condition; conditions >> condition;)
            if (const std::string wrong = wait_for(condition); !wrong.empty()) return wrong;
        return "";
    }

    std::string wait_for(const std::string &condition) const {
        const size_t sign = condition.find('=');
        const std::string what = condition.substr(0, sign), wanted = condition.substr(std::min(sign, condition.size() - 1) + 1);
        std::string seen;
        for (const auto end = Clock::now() + EFFECT_PATIENCE; Clock::now() < end; std::this_thread::sleep_for(LOOK_EVERY)) {
            try {
                if ((seen = value_of(handset_, what)) == wanted) return "";
            } catch (const vh::ClientError &error) { // between two boots
                seen = error.what();
            }
        }
        return what + "=" + seen + ", not " + wanted;
    }

    const vh::Client &handset_;
    std::ostream &out_;
    std::optional<vh::PcLink> link_;
    vh::PcLink::Reply last_;
    std::string last_command_;
    int patience_ms_ = 60000;
};
} // namespace

int run_pc_script(const vh::Client &handset, std::istream &script, std::ostream &out) {
    Script run(handset, out);
    std::string raw;
    int status = 0;
    for (int number = 1; std::getline(script, raw); ++number) {
        const std::string line = trimmed(raw);
        if (line.empty() || line[0] == '#') continue;
        std::string wrong;
        bool answers = true;
        try {
            wrong = run.run(line);
        } catch (const vh::ClientError &error) {
            wrong = error.what();
            answers = false;
        }
        if (wrong.empty()) continue;
        out << "FAIL line " << number << ": " << line << "\n     after: " << run.last_command() << "\n     got: " << wrong << "\n";
        status = 1;
        if (!answers) break;
    }
    return status;
}

} // namespace cli
