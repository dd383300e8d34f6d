#include "report/aging_run.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <optional>

namespace report {

namespace {
constexpr size_t NUMBERS = 6; // of a line of the trend in front of the cores: one of them is the phase
constexpr long DAY_S = 86400, PLAUSIBLE_S = 60 * DAY_S; // from the middle of a run to one of its points

std::vector<std::string_view> split(std::string_view text, char at) {
    std::vector<std::string_view> parts;
    for (size_t end; (end = text.find(at)) != std::string_view::npos; text.remove_prefix(end + 1)) parts.push_back(text.substr(0, end));
    parts.push_back(text);
    return parts;
}

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines = split(text, '\n');
    for (std::string_view &line : lines)
        if (line.ends_with('\r')) line.remove_suffix(1);
    if (lines.back().empty()) lines.pop_back();
    return lines;
}

template <class Number> std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// "key=value" lines.
std::map<std::string, std::string, std::less<>> pairs_of(std::string_view text) {
    std::map<std::string, std::string, std::less<>> pairs;
    for (const std::string_view line : lines_of(text.substr(0, text.find('\0'))))
        if (const size_t at = line.find('='); at != line.npos) pairs.emplace(line.substr(0, at), line.substr(at + 1));
    return pairs;
}
std::string value_of(const std::map<std::string, std::string, std::less<>> &pairs, std::string_view key) {
    const auto found = pairs.find(key);
    return found == pairs.end() ? "" : found->second;
}

// ---- trend ------------------------------------------------------------------------------------------------------

std::optional<Point> point_of(std::string_view line) {
    const std::vector<std::string_view> fields = split(line, ',');
    if (fields.size() < NUMBERS || fields[1].empty()) return std::nullopt;
    const std::optional<long> time = number<long>(fields[0]);
    std::vector<double> values;
    for (size_t i = 2; i < fields.size(); ++i) {
        const std::optional<double> value = number<double>(fields[i]);
        if (!value || !(*value >= -1e9 && *value <= 1e9)) return std::nullopt;
        values.push_back(*value);
    }
    if (!time) return std::nullopt;
    return Point{*time, std::string(fields[1]), values[0], values[1], values[2], values[3] / 10, {values.begin() + 4, values.end()}};
}

// In order of time; without points that a clock gone astray has put far away.
std::vector<Point> trend_of(std::string_view text) {
    std::vector<Point> points;
    for (const std::string_view line : lines_of(text))
        if (std::optional<Point> point = point_of(line)) points.push_back(std::move(*point));
    std::stable_sort(points.begin(), points.end(), [](const Point &a, const Point &b) { return a.time < b.time; });
    if (points.empty()) return points;
    const double middle = static_cast<double>(points[points.size() / 2].time);
    std::erase_if(points, [&](const Point &p) { return std::abs(static_cast<double>(p.time) - middle) > PLAUSIBLE_S; });
    return points;
}

std::vector<Band> bands_of(const std::vector<Point> &trend) {
    std::vector<Band> bands;
    for (size_t i = 0; i < trend.size(); ++i) {
        if (bands.empty() || bands.back().phase != trend[i].phase) {
            if (!bands.empty()) bands.back().to = trend[i].time;
            bands.push_back({trend[i].phase, i, i, trend[i].time, trend[i].time});
        }
        bands.back().last = i;
        bands.back().to = std::max(bands.back().to, trend[i].time);
    }
    return bands;
}

// ---- records and log ----------------------------------------------------------------------------------------------

std::vector<Record> records_of(std::string_view text) {
    std::vector<Record> records;
    for (const std::string_view line : lines_of(text)) {
        if (line.starts_with('[') && line.find(']') != line.npos)
            records.push_back({std::string(line.substr(1, line.find(']') - 1)), "", ""});
        else if (!records.empty() && line.starts_with("Result="))
            records.back().result = line.substr(7);
        else if (!records.empty() && line.starts_with("Comment="))
            records.back().comment = line.substr(8);
    }
    return records;
}

struct LogLine {
    tm time{};
    std::string_view tag, text;
};

// "11/23-12:48:48 [Reset] wanted: reboot 1 of 3"
std::optional<LogLine> log_line_of(std::string_view line) {
    LogLine l;
    char gap = 0;
    int used = 0;
    const std::string head(line.substr(0, 32));
    if (sscanf(head.c_str(), "%2d/%2d-%2d:%2d:%2d%c[%n", &l.time.tm_mon, &l.time.tm_mday, &l.time.tm_hour, &l.time.tm_min,
               &l.time.tm_sec, &gap, &used) != 6 || used == 0)
        return std::nullopt;
    const std::string_view rest = line.substr(static_cast<size_t>(used));
    const size_t end = rest.find("] ");
    if (end == rest.npos) return std::nullopt;
    --l.time.tm_mon;
    l.tag = rest.substr(0, end);
    l.text = rest.substr(end + 2);
    return l;
}

// The log tells neither year nor time zone: both follow from the time at which the run began, which is kept beside it.
class LogClock {
public:
    explicit LogClock(long started) : started_(started) {
        tm parts{};
        const time_t first = started;
        year_ = gmtime_r(&first, &parts) ? parts.tm_year : 70;
    }
    void begins(const LogLine &line) {
        const int year = year_;
        for (const int near : {0, -1, 1}) { // a time zone may put either side of it into another year
            year_ = year + near;
            offset_ = started_ > 0 ? started_ - seconds(line) : 0;
            if (std::abs(offset_) <= DAY_S) return;
        }
        year_ = year;
        offset_ = 0;
    }
    long time_of(const LogLine &line) {
        long time = seconds(line) + offset_;
        if (time + DAY_S * 180 < last_) { // New Year
            ++year_;
            time = seconds(line) + offset_;
        }
        return last_ = std::max(last_, time);
    }

private:
    long seconds(const LogLine &line) const {
        tm parts = line.time;
        parts.tm_year = year_;
        return timegm(&parts);
    }
    long started_, offset_ = 0, last_ = 0;
    int year_;
};

void read_log(std::string_view text, long started, AgingRun &run) {
    LogClock clock(started);
    std::vector<std::string> *verdict = nullptr; // its further lines have no time
    for (const std::string_view line : lines_of(text)) {
        const std::optional<LogLine> l = log_line_of(line);
        if (!l) {
            if (verdict) verdict->emplace_back(line);
            continue;
        }
        verdict = nullptr;
        if (l->tag == "AgingTest" && l->text == "Aging begin") clock.begins(*l);
        const long time = clock.time_of(*l);
        run.end = std::max(run.end, time);
        if (l->tag == "Cycle:") run.cycle = l->text;
        if (l->tag == "Aging") (verdict = &run.verdict)->assign(1, std::string(l->text));
        if (l->tag != "Reset") continue;
        if (l->text.starts_with("wanted: ")) run.resets.push_back({time, true, std::string(l->text.substr(8))});
        if (l->text.starts_with("UNWANTED in phase "))
            run.resets.push_back({time, false, std::string(l->text.substr(18, l->text.find(',', 18) - 18))});
    }
}

State state_of(const AgingRun &run, bool goes_on, bool switched_on) {
    if (goes_on) return switched_on ? State::running : State::cut_off;
    const std::string_view verdict = run.verdict.empty() ? "" : std::string_view(run.verdict[0]);
    if (verdict.find("PASS") != verdict.npos) return State::passed;
    if (verdict.find("FAIL") != verdict.npos) return State::failed;
    if (!verdict.empty()) return State::stopped;
    return run.empty() ? State::none : State::cut_off;
}
} // namespace

AgingRun understand(const RunFiles &files) {
    AgingRun run;
    run.trend = trend_of(files.trend);
    run.bands = bands_of(run.trend);
    run.records = records_of(files.records);
    run.station = files.station;
    run.begin = number<long>(files.started).value_or(0);
    if (run.begin <= 0) run.begin = run.trend.empty() ? 0 : run.trend.front().time;
    read_log(files.log, run.begin, run);
    if (!run.trend.empty()) run.end = std::max(run.end, run.trend.back().time);
    run.end = std::max(run.end, run.begin);
    const auto account = pairs_of(files.account), product = pairs_of(files.product);
    run.wanted_resets = std::max(0, atoi(value_of(account, "wanted_resets").c_str()));
    run.unwanted_resets = std::max(0, atoi(value_of(account, "unwanted_resets").c_str()));
    run.interrupted = run.unwanted_resets > std::count_if(run.resets.begin(), run.resets.end(), [](const Reset &r) { return !r.wanted; });
    run.psn = value_of(product, "psn");
    run.software = value_of(product, "soft");
    run.hardware = value_of(product, "hard");
    run.state = state_of(run, value_of(account, "running") == "1", files.switched_on);
    return run;
}

const char *state_name(State state) {
    switch (state) {
    case State::running: return "RUNNING";
    case State::cut_off: return "CUT OFF";
    case State::passed: return "PASS";
    case State::failed: return "FAIL";
    case State::stopped: return "STOPPED";
    case State::none: break;
    }
    return "NO RUN";
}

} // namespace report
