#include "report/plot.h"
#include "report/text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace report {

namespace {
constexpr int WIDTH = 960, LEFT = 64, RIGHT = 12, TOP = 26, BOTTOM = 40;
constexpr int AREA = WIDTH - LEFT - RIGHT;
constexpr long GAP_S = 60;                                       // a line does not cross a longer silence
constexpr long SECONDS_BELOW = 600;
constexpr int TIME_TICKS = 10, VALUE_TICKS = 4, LABEL_PX = 7;    // of one character of a band's label
constexpr long TIME_STEPS[] = {1, 2, 5, 10, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800};

struct Axis {
    double low = 0, high = 1, step = 1;
    int decimals() const { return step >= 1 ? 0 : step >= 0.1 ? 1 : 2; }
};

// Round steps: 1, 2 or 5 times a power of ten.
Axis axis_of(double low, double high) {
    const double rough = std::max(high - low, 1e-6) / VALUE_TICKS, power = std::pow(10, std::floor(std::log10(rough)));
    double step = power * 10;
    for (const double factor : {5.0, 2.0, 1.0})
        if (power * factor >= rough) step = power * factor;
    return {std::floor(low / step) * step, std::ceil(high / step) * step, step};
}

Axis axis_of(const AgingRun &run, const Plot &plot) {
    double low = plot.low, high = plot.high;
    bool first = low == 0 && high == 0;
    for (const Point &p : run.trend) {
        const double value = plot.value(p);
        if (std::isnan(value)) continue;
        low = first ? value : std::min(low, value);
        high = first ? value : std::max(high, value);
        first = false;
    }
    if (const double missing = plot.least_span - (high - low); missing > 0) {
        low -= missing / 2;
        high += missing / 2;
    }
    return axis_of(low, high);
}

class Drawing {
public:
    Drawing(const AgingRun &run, const Plot &plot)
        : run_(run), plot_(plot), axis_(axis_of(run, plot)), span_(std::max(1L, run.end - run.begin)) {}

    std::string whole() const {
        return text("<svg viewBox=\"0 0 %d %d\" role=\"img\" aria-label=\"", WIDTH, TOP + plot_.height + BOTTOM) +
               escaped(plot_.title + ", " + plot_.unit) + " over the time of the run\">\n" + bands() + grid() + line() + resets() +
               text("<text class=\"name\" x=\"%d\" y=\"16\">", LEFT) + escaped(plot_.title) + "<tspan class=\"unit\">, " +
               escaped(plot_.unit) + "</tspan></text>\n</svg>\n";
    }

private:
    double x(long time) const {
        const double share = static_cast<double>(time - run_.begin) / static_cast<double>(span_);
        return LEFT + AREA * std::clamp(share, 0.0, 1.0);
    }
    double y(double value) const {
        return TOP + plot_.height * (1 - std::clamp((value - axis_.low) / (axis_.high - axis_.low), 0.0, 1.0));
    }

    std::string bands() const {
        std::string out;
        for (const Band &band : run_.bands) {
            const double left = x(band.from), width = std::max(1.0, x(band.to) - left);
            const std::string name = escaped(band.phase);
            out += text("<g><title>") + name + text(" from %s to %s</title><rect class=\"band ", clock(band.from).c_str(), clock(band.to).c_str()) +
                   name + text("\" x=\"%.1f\" y=\"%d\" width=\"%.1f\" height=\"%d\"/>", left, TOP, width, plot_.height);
            if (width > static_cast<double>(LABEL_PX * band.phase.size() + 4))
                out += text("<text class=\"phase\" x=\"%.1f\" y=\"%d\">", left + 3, TOP + 11) + name + "</text>";
            out += "</g>\n";
        }
        return out;
    }

    std::string clock(long time) const { return duration_text(time - run_.begin, shows_seconds(run_)); }

    std::string grid() const {
        std::string out;
        const int bottom = TOP + plot_.height;
        for (int i = 0; axis_.low + i * axis_.step <= axis_.high + axis_.step / 2; ++i) {
            const double value = axis_.low + i * axis_.step, at = y(value);
            out += text("<line class=\"grid\" x1=\"%d\" y1=\"%.1f\" x2=\"%d\" y2=\"%.1f\"/>", LEFT, at, LEFT + AREA, at) +
                   text("<text class=\"tick\" text-anchor=\"end\" x=\"%d\" y=\"%.1f\">%.*f</text>\n", LEFT - 6, at + 4, axis_.decimals(), value);
        }
        long step = TIME_STEPS[std::size(TIME_STEPS) - 1];
        for (size_t i = std::size(TIME_STEPS); i-- > 0;)
            if (span_ / TIME_STEPS[i] <= TIME_TICKS) step = TIME_STEPS[i];
        for (long at = 0; at <= span_; at += step)
            out += text("<line class=\"axis\" x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\"/>", x(run_.begin + at), bottom, x(run_.begin + at), bottom + 5) +
                   text("<text class=\"tick\" text-anchor=\"middle\" x=\"%.1f\" y=\"%d\">", x(run_.begin + at), bottom + 18) +
                   duration_text(at, shows_seconds(run_)) + "</text>\n";
        return out + text("<path class=\"axis\" d=\"M%d %dV%dH%d\"/>", LEFT, TOP, bottom, LEFT + AREA) +
               text("<text class=\"unit\" text-anchor=\"end\" x=\"%d\" y=\"%d\">time since the start, %s</text>\n", LEFT + AREA, bottom + 34,
                    shows_seconds(run_) ? "min:s" : "h:min");
    }

    bool reset_between(long a, long b) const {
        return std::any_of(run_.resets.begin(), run_.resets.end(), [&](const Reset &r) { return r.time > a && r.time <= b; });
    }

    // Of all points of a pixel column the lowest and the highest, in their order.
    std::string line() const {
        std::string path;
        const Point *last = nullptr;
        bool fresh = true;
        const auto put = [&](const Point &p) {
            path += text("%s%.1f %.1f", fresh ? "M" : "L", x(p.time), y(plot_.value(p)));
            if (fresh) path += "h0"; // so that a point alone shows
            fresh = false;
        };
        for (size_t i = 0; i < run_.trend.size();) {
            const Point &p = run_.trend[i];
            if (std::isnan(plot_.value(p))) {
                ++i;
                continue;
            }
            if (last && (p.time - last->time > GAP_S || reset_between(last->time, p.time))) fresh = true;
            const Point *low = &p, *high = &p;
            const auto column = static_cast<int>(x(p.time));
            for (last = &p; ++i < run_.trend.size() && static_cast<int>(x(run_.trend[i].time)) == column;) {
                const double value = plot_.value(run_.trend[i]);
                if (std::isnan(value) || run_.trend[i].time - last->time > GAP_S) break;
                last = &run_.trend[i];
                if (value < plot_.value(*low)) low = last;
                if (value > plot_.value(*high)) high = last;
            }
            put(*std::min(low, high));
            if (low != high) put(*std::max(low, high));
        }
        return path.empty() ? "" : "<path class=\"line\" d=\"" + path + "\"/>\n";
    }

    std::string resets() const {
        std::string out;
        const int bottom = TOP + plot_.height;
        for (const Reset &r : run_.resets) {
            const double at = x(r.time);
            out += std::string("<g class=\"") + (r.wanted ? "wanted" : "unwanted") + "\"><title>" +
                   (r.wanted ? "planned reset at " : "UNPLANNED reset at ") + clock(r.time) + ": " + escaped(r.what) + "</title>" +
                   text("<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\"/>", at, r.wanted ? bottom - 10 : TOP, at, bottom) +
                   (r.wanted ? text("<path d=\"M%.1f %dl-4 7h8z\"/>", at, bottom - 1)
                             : text("<path d=\"M%.1f %dl8 8m0 -8l-8 8\"/>", at - 4, bottom - 4)) +
                   "</g>\n";
        }
        return out;
    }

    const AgingRun &run_;
    const Plot &plot_;
    Axis axis_;
    long span_;
};

// Length of the UTF-8 sequence at the beginning of a text; 0: none.
size_t sequence(std::string_view t) {
    const auto byte = [&](size_t i) { return i < t.size() ? static_cast<uint8_t>(t[i]) : uint8_t{0}; };
    const uint8_t first = byte(0);
    const size_t length = first >= 0xF0 && first <= 0xF4 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
    if (length == 0 || first > 0xF4) return 0;
    if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) || (first == 0xF0 && byte(1) < 0x90) ||
        (first == 0xF4 && byte(1) > 0x8F))
        return 0;
    for (size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    return length;
}
} // namespace

bool shows_seconds(const AgingRun &run) { return run.end - run.begin < SECONDS_BELOW; }

std::string duration_text(long seconds, bool with_seconds) {
    const char *sign = seconds < 0 ? "-" : "";
    seconds = std::abs(seconds);
    return with_seconds ? text("%s%ld:%02ld", sign, seconds / 60, seconds % 60)
                        : text("%s%ld:%02ld", sign, seconds / 3600, seconds / 60 % 60);
}

std::string escaped(std::string_view t) {
    std::string out;
    while (!t.empty()) {
        size_t used = 1;
        const auto c = static_cast<uint8_t>(t[0]);
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '"') out += "&quot;";
        else if (c == '\'') out += "&#39;";
        else if (c < 0x20 || c == 0x7F) out += ' ';
        else if (c < 0x80) out += t[0];
        else if (const size_t length = sequence(t)) out += t.substr(0, used = length);
        else out += "\xEF\xBF\xBD";
        t.remove_prefix(used);
    }
    return out;
}

std::string svg(const AgingRun &run, const Plot &plot) { return Drawing(run, plot).whole(); }

} // namespace report
