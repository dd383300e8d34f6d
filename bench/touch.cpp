// From a finger's record in the input device to its cell on the panel, on a whole handset whose touch panel test is open.
#include "common/bench_handset.h"

#include "testwnd/touch_lanes.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <linux/futex.h>
#include <linux/input.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tki_lcd.h>
#include <unistd.h>

namespace {
using bench::Goal;
constexpr int WIDTH = 1080, HEIGHT = 2340, RECORDS_PER_SECOND = 240;
constexpr double PERIOD = 1.0 / RECORDS_PER_SECOND, LATE_MS = 8.3, PATIENCE = 2;
constexpr uint32_t GREEN = 0x00ff00;

// The panel's file, waited on as a viewer waits.
class Panel {
public:
    explicit Panel(const std::string &path) {
        const vh::Fd file(open(path.c_str(), O_RDWR | O_CLOEXEC));
        struct stat size {};
        if (!file || fstat(file.get(), &size) != 0) bench::give_up("cannot open " + path);
        const auto bytes = static_cast<size_t>(size.st_size);
        void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
        if (memory == MAP_FAILED) bench::give_up("cannot map " + path);
        pixels_ = static_cast<uint32_t *>(memory);
        tail_ = reinterpret_cast<tki_panel_tail *>(static_cast<char *>(memory) + (bytes / 4096 - 1) * 4096);
        if (tail_->magic != TKI_PANEL_MAGIC || tail_->width != WIDTH) bench::give_up("no panel of this size: " + path);
    }
    bool is_green(int x, int y) const {
        const size_t page = __atomic_load_n(&tail_->visible, __ATOMIC_SEQ_CST) & 1;
        const size_t row = page * HEIGHT + static_cast<size_t>(y);
        return (pixels_[row * (tail_->stride / 4) + static_cast<size_t>(x)] & 0xffffff) == GREEN;
    }
    uint32_t frames() const { return __atomic_load_n(&tail_->counter, __ATOMIC_SEQ_CST); }
    // Until there is a frame after `seen`, or the time is over.
    void wait(uint32_t seen, double seconds) {
        const timespec limit{static_cast<time_t>(seconds), static_cast<long>((seconds - static_cast<double>(static_cast<time_t>(seconds))) * 1e9)};
        __atomic_add_fetch(&tail_->viewers, 1, __ATOMIC_SEQ_CST);
        syscall(SYS_futex, &tail_->counter, FUTEX_WAIT, seen, &limit, nullptr, 0);
        __atomic_sub_fetch(&tail_->viewers, 1, __ATOMIC_SEQ_CST);
    }

private:
    uint32_t *pixels_ = nullptr;
    tki_panel_tail *tail_ = nullptr;
};

// Goes from cell to cell, one record each.
class Finger {
public:
    Finger(const std::string &path, const TouchLanes &lanes) : device_(open(path.c_str(), O_WRONLY | O_CLOEXEC)), lanes_(lanes) {
        if (!device_) bench::give_up("cannot open " + path);
    }
    // Onto a cell; it is lifted first where a new lane begins.
    void touch(int cell) {
        const RECT r = touch_cell_rect(lanes_, cell);
        for (int lane = 0, first = 0; lane < 4; first += lanes_.cellCount[lane++])
            if (cell == first && down_) lift();
        input_event events[] = {event(EV_ABS, ABS_MT_POSITION_X, std::min((r.left + r.right) / 2, WIDTH - 2)),
                                event(EV_ABS, ABS_MT_POSITION_Y, std::min((r.top + r.bottom) / 2, HEIGHT - 2)),
                                event(EV_SYN, SYN_REPORT, 0), event(EV_SYN, SYN_REPORT, 0)};
        if (!down_) events[2] = event(EV_KEY, BTN_TOUCH, 1);
        put(events, down_ ? 3 : 4);
        down_ = true;
    }
    void lift() {
        const input_event events[] = {event(EV_KEY, BTN_TOUCH, 0), event(EV_SYN, SYN_REPORT, 0)};
        put(events, 2);
        down_ = false;
    }

private:
    static input_event event(int type, int code, int value) {
        input_event e{};
        e.type = static_cast<uint16_t>(type);
        e.code = static_cast<uint16_t>(code);
        e.value = value;
        return e;
    }
    void put(const input_event *events, size_t count) {
        const size_t bytes = count * sizeof *events;
        if (write(device_.get(), events, bytes) != static_cast<ssize_t>(bytes)) bench::give_up("a record was not taken");
    }
    vh::Fd device_;
    const TouchLanes &lanes_;
    bool down_ = false;
};

class LaneTest {
public:
    explicit LaneTest(const vh::Client &client)
        : panel_(client.paths().panel()), finger_(client.paths().event(0), lanes_), pc_(client) {}

    // Median and 99th percentile of the seconds from record to cell, each waited for.
    std::array<double, 2> one_by_one(double seconds) {
        std::vector<double> samples;
        for (double spent = 0; spent < seconds || samples.empty(); spent += samples.back()) {
            if (next_ == lanes_.totalCount) begin();
            const double sent = bench::now();
            finger_.touch(next_);
            for (uint32_t frame = panel_.frames(); !painted(next_); frame = panel_.frames()) {
                if (bench::now() - sent > PATIENCE) bench::give_up("touched cell " + std::to_string(next_) + " was not painted");
                panel_.wait(frame, PATIENCE);
            }
            samples.push_back(bench::now() - sent);
            ++next_;
        }
        return {bench::quantile(samples, 0.5), bench::quantile(samples, 0.99)};
    }

    struct Sweep {
        double worst_seconds, painted_share;
    };
    // Over all lanes at a fast finger's pace; nobody waits for the panel.
    Sweep sweep() {
        begin();
        std::vector<double> sent;
        double worst = 0;
        int seen = 0; // cells before it are painted
        const auto look = [&](double until) {
            for (uint32_t frame = panel_.frames(); seen < static_cast<int>(sent.size()); frame = panel_.frames()) {
                const double now = bench::now();
                for (; seen < static_cast<int>(sent.size()) && painted(seen); ++seen)
                    worst = std::max(worst, now - sent[static_cast<size_t>(seen)]);
                if (now >= until || seen == static_cast<int>(sent.size())) return;
                panel_.wait(frame, until - now);
            }
        };
        const double start = bench::now();
        for (int cell = 0; cell < lanes_.totalCount; ++cell) {
            const double due = start + cell * PERIOD;
            look(due);
            if (const double left = due - bench::now(); left > 0) usleep(static_cast<useconds_t>(left * 1e6));
            sent.push_back(bench::now());
            finger_.touch(cell);
        }
        look(bench::now() + PATIENCE);
        next_ = lanes_.totalCount;
        return {worst, static_cast<double>(seen) / lanes_.totalCount};
    }
    const TouchLanes &lanes() const { return lanes_; }

private:
    void begin() {
        finger_.lift();
        if (pc_.at("touchMoudle testItem open").status != 0) bench::give_up("the touch panel test does not open");
        while (painted(0)) panel_.wait(panel_.frames(), PATIENCE);
        next_ = 0;
    }
    // Looked at beside the finger's line.
    bool painted(int cell) const {
        const RECT r = touch_cell_rect(lanes_, cell);
        return panel_.is_green(r.left + 4, r.top + 4);
    }
    const TouchLanes lanes_ = touch_lanes(WIDTH, HEIGHT, 0);
    Panel panel_;
    Finger finger_;
    vh::PcLink pc_;
    int next_ = lanes_.totalCount;
};

// One cell of the first lane on either of two pages in turn, as the toolkit draws.
bench::Side<2> bare_fills(const TouchLanes &lanes) {
    auto pages = std::make_shared<std::vector<uint32_t>>(size_t{2} * WIDTH * HEIGHT);
    return bench::latencies([pages, lanes, cell = 0]() mutable {
        const RECT r = touch_cell_rect(lanes, ++cell % lanes.cellCount[0]);
        for (int y = r.top; y < r.bottom; ++y) {
            const size_t row = static_cast<size_t>(cell % 2 * HEIGHT + y) * WIDTH;
            std::fill_n(pages->begin() + static_cast<ptrdiff_t>(row), RECTW(r), GREEN + static_cast<uint32_t>(cell));
        }
    });
}

void single_rows(const bench::Plan &plan, LaneTest &test) {
    const auto [p50, p99] = bench::take_turns<2>(plan, [&](double seconds) { return test.one_by_one(seconds); }, bare_fills(test.lanes()));
    const std::string size = std::to_string(WIDTH) + "x" + std::to_string(HEIGHT);
    const std::string what = "touch record to painted cell on the panel, " + size;
    char floor[64];
    snprintf(floor, sizeof floor, "%.4f ms: a bare fill of the cell", p50.floor.median * 1e3);
    const auto ms = [](const bench::Summary &s) { return bench::Summary{s.median * 1e3, s.min * 1e3, s.max * 1e3}; };
    bench::print_value({what + ", median", Goal::at_most(2), "finger, program and viewer on one core"}, ms(p50.ours), "ms", floor);
    bench::print_value({"the same, 99th percentile", Goal::report()}, ms(p99.ours), "ms");
    bench::print_ratio({"the same, median, against a bare fill of the cell", Goal::report()}, p50, "us", 1e6);
}

void sweep_rows(const bench::Plan &plan, LaneTest &test) {
    std::vector<double> worst, share;
    for (int i = 0; i < (plan.quick ? 1 : 7); ++i) {
        const LaneTest::Sweep sweep = test.sweep();
        worst.push_back(sweep.worst_seconds * 1e3);
        share.push_back(sweep.painted_share);
    }
    const std::string pace = std::to_string(RECORDS_PER_SECOND) + " records a second over all lanes, each on a new cell";
    bench::print_value({pace + ": slowest from record to panel", Goal::at_most(LATE_MS),
                        std::to_string(test.lanes().totalCount) + " records a sweep; goal: two of their periods"}, bench::summary_of(worst), "ms");
    bench::print_value({"the same, cells painted per record", Goal::at_least(1)}, bench::summary_of(share), "");
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    try {
        const bench::BenchHandset handset({"--size", std::to_string(WIDTH) + "x" + std::to_string(HEIGHT)});
        const int core = bench::cores().back();
        if (!bench::pin_thread(core) || !bench::pin_process(handset.program_pid(), core)) bench::give_up("cannot keep both ends on one core");
        LaneTest test(handset.client());
        single_rows(plan, test);
        sweep_rows(plan, test);
    } catch (const std::exception &error) { bench::give_up(error.what()); }
}
