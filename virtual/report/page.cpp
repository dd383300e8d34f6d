#include "report/page.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>

#include "report/plot.h"
#include "report/text.h"

namespace report {

namespace {
constexpr int CORE_HEIGHT = 60;
constexpr const char *PHASES[] = {"begin", "reboot", "suspend", "video", "camera", "cpu", "stopped"};

constexpr const char *STYLE = R"(
:root{color-scheme:light dark;--ground:#fff;--ink:#1c2128;--soft:#59636e;--rule:#d6dbe1;--grid:#e9ecf0;--line:#0b57b0;
--good:#1a7f37;--bad:#c4201d;--wait:#9a6700;--card:#f6f8fa;--band:.17;
--begin:#8c959f;--reboot:#2a78d6;--suspend:#8250df;--video:#e08600;--camera:#1f9d55;--cpu:#d6336c;--stopped:#59636e}
@media (prefers-color-scheme:dark){:root{--ground:#15191e;--ink:#e6eaef;--soft:#9aa5b1;--rule:#39414b;--grid:#262d35;--line:#7ab7ff;
--good:#57c26e;--bad:#ff7b72;--wait:#e3b341;--card:#1d232a;--band:.26}}
*{box-sizing:border-box}
body{margin:0 auto;padding:24px 20px 48px;max-width:1040px;background:var(--ground);color:var(--ink);
font:15px/1.45 system-ui,"DejaVu Sans",sans-serif}
h1{font-size:22px;margin:0}h2{font-size:16px;margin:30px 0 8px}
header{display:flex;gap:16px;align-items:center;flex-wrap:wrap;margin-bottom:12px}
.verdict{font-weight:700;font-size:18px;padding:3px 14px;border:2px solid;border-radius:6px}
.good{color:var(--good)}.bad{color:var(--bad)}.wait{color:var(--wait)}.soft{color:var(--soft)}
.facts{display:grid;grid-template-columns:repeat(auto-fit,minmax(190px,1fr));gap:8px;margin:14px 0 0;padding:0}
.facts div{background:var(--card);border-radius:6px;padding:8px 12px}
.facts dt{color:var(--soft);font-size:12px}.facts dd{margin:0;font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
.wide{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-variant-numeric:tabular-nums}
th,td{text-align:left;padding:5px 14px 5px 0;border-bottom:1px solid var(--rule);vertical-align:top;overflow-wrap:anywhere}
th{font-size:12px;color:var(--soft);font-weight:600}td.n,th.n{text-align:right;white-space:nowrap}
.key{display:flex;flex-wrap:wrap;gap:4px 18px;color:var(--soft);font-size:13px;margin:0 0 6px;padding:0;list-style:none}
.key li{display:flex;align-items:center;gap:6px}
svg{display:block;width:100%;height:auto;margin:6px 0 12px;break-inside:avoid}
.key svg{width:18px;height:12px;margin:0;overflow:visible}
svg text{fill:var(--ink);font:12px system-ui,"DejaVu Sans",sans-serif}
svg .name{font-weight:600;font-size:13px}svg .unit,svg .tick{fill:var(--soft);font-weight:400}svg .phase{fill:var(--soft);font-size:11px}
.line{fill:none;stroke:var(--line);stroke-width:1.8;stroke-linejoin:round;stroke-linecap:round}
.grid{stroke:var(--grid)}.axis{fill:none;stroke:var(--soft)}
.band{fill:var(--begin);fill-opacity:var(--band)}
.wanted line{stroke:var(--ink);stroke-width:1}.wanted path{fill:var(--ink)}
.unwanted line{stroke:var(--bad);stroke-width:2}.unwanted path{fill:none;stroke:var(--bad);stroke-width:2.5}
@media print{:root{color-scheme:light;--ground:#fff;--ink:#000;--soft:#444;--rule:#bbb;--grid:#ddd;--line:#0b57b0;--good:#1a7f37;
--bad:#c4201d;--wait:#9a6700;--card:#fff;--band:.2}
body{max-width:none;padding:0;font-size:11pt;print-color-adjust:exact;-webkit-print-color-adjust:exact}
.facts div{border:1px solid var(--rule)}h2{break-after:avoid}tr{break-inside:avoid}}
)";

std::string date(long seconds) {
    const time_t time = seconds;
    tm parts{};
    char line[64] = "-";
    if (seconds > 0 && gmtime_r(&time, &parts)) strftime(line, sizeof line, "%Y-%m-%d %H:%M:%S UTC", &parts);
    return line;
}

std::string full_duration(long seconds) {
    const long whole = std::max(0L, seconds);
    return text("%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
}

struct Range {
    double low = std::numeric_limits<double>::infinity(), high = -std::numeric_limits<double>::infinity(), sum = 0;
    int count = 0;
    void add(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
        sum += value;
        ++count;
    }
    std::string shown(const char *unit, int decimals) const {
        return count ? text("%.*f to %.*f %s", decimals, low, decimals, high, unit) : "-";
    }
};

Range range_of(const AgingRun &run, const Band &band, const std::function<double(const Point &)> &value) {
    Range range;
    for (size_t i = band.first; i <= band.last; ++i) range.add(value(run.trend[i]));
    return range;
}

double mean_load(const Point &p) {
    double sum = 0;
    for (const double load : p.cpu) sum += load;
    return p.cpu.empty() ? 0 : sum / static_cast<double>(p.cpu.size());
}

const char *colour_of(State state) {
    return state == State::passed ? "good" : state == State::failed ? "bad" : "wait";
}

std::string fact(const char *name, const std::string &value) {
    return text("<div><dt>%s</dt><dd>", name) + escaped(value) + "</dd></div>\n";
}

std::string head(const AgingRun &run, const std::string &name) {
    std::string out = "<header><h1>Aging run of handset " + escaped(name) + "</h1><span class=\"verdict " + colour_of(run.state) + "\">" +
                      state_name(run.state) + "</span></header>\n";
    for (const std::string &line : run.verdict) out += "<div class=\"soft\">" + escaped(line) + "</div>\n";
    const Band all{"", 0, run.trend.empty() ? 0 : run.trend.size() - 1, 0, 0};
    const auto over = [&](auto value) { return run.trend.empty() ? Range{} : range_of(run, all, value); };
    out += "<dl class=\"facts\">\n" + fact("PSN", run.psn) + fact("Software, hardware", run.software + ", " + run.hardware) +
           fact("Started", date(run.begin)) + fact(run.state == State::running ? "Running for" : "Lasted",
                                                   full_duration(run.end - run.begin) + " h:min:s") +
           fact("Cycle", run.cycle.empty() ? "-" : run.cycle) +
           fact("Station 176 (burn-in)", run.station == 1 ? "pass" : run.station == 2 ? "fail" : "not tested") +
           fact("Resets, planned / unplanned", text("%d / %d", run.wanted_resets, run.unwanted_resets)) +
           fact("Battery temperature", over([](const Point &p) { return p.temperature; }).shown("\u00b0C", 1)) +
           fact("Battery level", over([](const Point &p) { return p.level; }).shown("%", 0)) + "</dl>\n";
    return out;
}

// The one record that is a figure: tenths of a degree.
std::string comment_of(const Record &r) {
    char *end = nullptr;
    const long tenths = r.name == "Temperature" ? strtol(r.comment.c_str(), &end, 10) : 0;
    return end && end != r.comment.c_str() && *end == '\0' ? text("%.1f \u00b0C at most", static_cast<double>(tenths) / 10) : r.comment;
}

std::string records(const AgingRun &run) {
    std::string out = "<h2>Records</h2>\n";
    if (run.records.empty()) return out + "<p class=\"soft\">No phase has ended yet.</p>\n";
    out += "<div class=\"wide\"><table><tr><th class=\"n\">No.</th><th>Phase</th><th>Result</th><th>Count, duration or figure</th></tr>\n";
    int number = 0;
    for (const Record &r : run.records)
        out += text("<tr><td class=\"n\">%d</td><td>", ++number) + escaped(r.name) + "</td><td class=\"" + (r.good() ? "good" : "bad") + "\">" +
               escaped(r.result.empty() ? "-" : r.result) + "</td><td>" + escaped(comment_of(r)) + "</td></tr>\n";
    return out + "</table></div>\n";
}

std::string phases(const AgingRun &run) {
    if (run.bands.empty()) return "";
    std::string out = "<h2>Phases</h2>\n<div class=\"wide\"><table><tr><th>Phase</th><th class=\"n\">Began after</th><th class=\"n\">Lasted</th>"
                      "<th class=\"n\">Temperature</th><th class=\"n\">Battery level</th><th class=\"n\">Mean CPU load</th></tr>\n";
    for (const Band &b : run.bands) {
        const Range load = range_of(run, b, mean_load);
        out += "<tr><td>" + escaped(b.phase) + "</td><td class=\"n\">" + full_duration(b.from - run.begin) + "</td><td class=\"n\">" +
               full_duration(b.to - b.from) + "</td><td class=\"n\">" +
               range_of(run, b, [](const Point &p) { return p.temperature; }).shown("\u00b0C", 1) + "</td><td class=\"n\">" +
               text("%.0f to %.0f %%", run.trend[b.first].level, run.trend[b.last].level) + "</td><td class=\"n\">" +
               text("%.1f %%", load.sum / std::max(1, load.count)) + "</td></tr>\n";
    }
    return out + "</table></div>\n";
}

std::string resets(const AgingRun &run) {
    std::string out = "<h2>Resets</h2>\n";
    if (run.interrupted)
        out += text("<p class=\"bad\">%d unplanned in all; those before this start of the run are counted and not listed.</p>\n", run.unwanted_resets);
    if (run.resets.empty()) return out + "<p class=\"soft\">None since this start of the run.</p>\n";
    out += "<div class=\"wide\"><table><tr><th class=\"n\">After</th><th>When</th><th>Kind</th><th>Reason, or the phase that it cut off</th></tr>\n";
    for (const Reset &r : run.resets)
        out += "<tr><td class=\"n\">" + full_duration(r.time - run.begin) + "</td><td>" + date(r.time) + "</td><td" +
               (r.wanted ? ">planned" : " class=\"bad\">UNPLANNED") + "</td><td>" + escaped(r.what) + "</td></tr>\n";
    return out + "</table></div>\n";
}

std::string legend(const AgingRun &run) {
    std::string out = "<ul class=\"key\">";
    for (const char *phase : PHASES)
        if (std::any_of(run.bands.begin(), run.bands.end(), [&](const Band &b) { return b.phase == phase; }))
            out += text("<li><svg viewBox=\"0 0 18 12\"><rect class=\"band %s\" width=\"18\" height=\"12\"/></svg>phase %s</li>", phase, phase);
    return out + "<li><svg viewBox=\"0 0 18 12\"><g class=\"wanted\"><line x1=\"9\" y1=\"0\" x2=\"9\" y2=\"6\"/><path d=\"M9 5l-4 7h8z\"/></g></svg>"
                 "planned reset</li><li><svg viewBox=\"0 0 18 12\"><g class=\"unwanted\"><line x1=\"9\" y1=\"-2\" x2=\"9\" y2=\"8\"/>"
                 "<path d=\"M5 4l8 8m0 -8l-8 8\"/></g></svg>unplanned reset</li></ul>\n";
}

std::string plots(const AgingRun &run) {
    if (run.trend.empty()) return "<h2>Trend</h2>\n<p class=\"soft\">None is kept yet: the first point comes after ten seconds.</p>\n";
    std::string out = "<h2>Trend</h2>\n" + legend(run);
    const Plot plain[] = {{"Battery temperature", "\u00b0C", 150, 0, 0, 10, [](const Point &p) { return p.temperature; }},
                          {"Battery level", "%", 150, 0, 100, 0, [](const Point &p) { return p.level; }},
                          {"Battery voltage", "mV", 110, 0, 0, 100, [](const Point &p) { return p.voltage; }},
                          {"Battery current (negative: discharging)", "mA", 110, 0, 0, 100, [](const Point &p) { return p.current; }}};
    for (const Plot &plot : plain) out += svg(run, plot);
    size_t cores = 0;
    for (const Point &p : run.trend) cores = std::max(cores, p.cpu.size());
    for (size_t core = 0; core < cores; ++core)
        out += svg(run, {"Load of CPU" + std::to_string(core), "%", CORE_HEIGHT, 0, 100, 0,
                         [core](const Point &p) { return core < p.cpu.size() ? p.cpu[core] : std::nan(""); }});
    return out;
}

std::string band_colours() {
    std::string out;
    for (const char *phase : PHASES) out += text(".%s{fill:var(--%s)}", phase, phase);
    return out + "\n";
}
} // namespace

std::string page(const AgingRun &run, const std::string &name) {
    return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" content=\"width=device-width\">"
           "<meta name=\"color-scheme\" content=\"light dark\">\n<title>Aging run of " + escaped(name) + ": " + state_name(run.state) + "</title><style>" +
           STYLE + band_colours() + "</style></head>\n<body>\n" + head(run, name) + records(run) + plots(run) + phases(run) + resets(run) +
           "<p class=\"soft\">Written " + date(time(nullptr)) + "; times of the handset's own clock.</p>\n</body></html>\n";
}

} // namespace report
