#include "AgingTest/aging_trend.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#include "AgingTest/aging_files.h"
#include "base/log_door.h"
#include "config/main_config.h"
#include "device/diag_log.h"

namespace {
constexpr const char *TAG = "AgingTest";
constexpr size_t DROP = AGING_TREND_LINES / 10; // at once: rewriting the file costs

std::string head_line(size_t cores) {
    std::string text = "time,phase,level,voltage_mV,current_mA,temperature_C10";
    for (size_t i = 0; i < cores; ++i) text += ",cpu" + std::to_string(i);
    return text + "\n";
}

std::string line_of(const AgingTrendPoint &p) {
    char text[160];
    snprintf(text, sizeof text, "%ld,%s,%d,%d,%d,%d", p.time, p.phase, p.level, p.voltage, p.current, p.temperature);
    std::string line = text;
    for (const double load : p.cpu) {
        snprintf(text, sizeof text, ",%.1f", load);
        line += text;
    }
    return line + "\n";
}

size_t line_count(const std::string &path) {
    std::ifstream file(path);
    return static_cast<size_t>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
}

void drop_oldest(const std::string &path, size_t cores) {
    std::ifstream file(path);
    std::string line, kept = head_line(cores);
    for (size_t i = 0; std::getline(file, line); ++i)
        if (i > DROP) kept += line + "\n"; // the head line is one of them
    file.close();
    aging_replace_file(path.c_str(), kept);
}

// A line that a power cut has torn gets its end; false where the file cannot be read.
bool ends_line(int fd, off_t size) {
    char last = '\n';
    return size == 0 || (pread(fd, &last, 1, size - 1) == 1 && last == '\n');
}

bool append(const std::string &path, const std::string &head, const std::string &line) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    const off_t size = lseek(fd, 0, SEEK_END);
    const std::string text = (size == 0 ? head : ends_line(fd, size) ? "" : "\n") + line;
    bool put = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!put && ftruncate(fd, size) != 0) put = false; // half a line of a full storage
    put = fsync(fd) == 0 && put;
    close(fd);
    return put;
}

bool parse(const std::string &line, AgingTrendPoint &p) {
    int used = 0;
    if (sscanf(line.c_str(), "%ld,%15[a-z],%d,%d,%d,%d%n", &p.time, p.phase, &p.level, &p.voltage, &p.current,
               &p.temperature, &used) != 6)
        return false;
    const char *rest = line.c_str() + used;
    while (*rest == ',') {
        char *end = nullptr;
        p.cpu.push_back(strtod(rest + 1, &end));
        if (end == rest + 1) return false;
        rest = end;
    }
    return *rest == '\0';
}
} // namespace

std::string aging_trend_path() { return aging_log_path("agingtrend.csv"); }

bool aging_trend_write(const AgingTrendPoint &point) {
    const std::string path = aging_trend_path();
    static std::string counted;
    static size_t lines = 0;
    static bool failing = false; // told once
    if (counted != path || access(path.c_str(), F_OK) != 0) {
        mkdir_main(g_chAgingLogPath);
        counted = path;
        lines = line_count(path);
    }
    if (lines > AGING_TREND_LINES) {
        drop_oldest(path, point.cpu.size());
        lines = line_count(path);
    }
    const bool put = append(path, head_line(point.cpu.size()), line_of(point));
    if (put) lines += lines == 0 ? 2 : 1;
    if (!put && !failing) LOG_E(TAG, "%s is not written", path.c_str());
    failing = !put;
    return put;
}

std::vector<AgingTrendPoint> aging_trend_read(const char *path) {
    std::vector<AgingTrendPoint> points;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (AgingTrendPoint point; parse(line, point)) points.push_back(std::move(point));
    return points;
}
