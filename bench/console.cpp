// The page in a browser: from a touch in it to changed pixels in it, full screens per second, and what it costs while nothing changes.
// The browser is driven by bench/console.mjs.
#include "common/bench_handset.h"
#include "common/processes.h"

#include "testwnd/touch_lanes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/futex.h>
#include <nlohmann/json.hpp>
#include <random>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <tki_lcd.h>
#include <unistd.h>

namespace {
using bench::Goal;
using nlohmann::json;
constexpr int WIDTH = 720, HEIGHT = 1280;
constexpr double FLIPS_PER_SECOND = 500; // more than anybody draws

std::string source() {
    const char *given = getenv("VXO_SOURCE");
    return given && *given ? given : SOURCE_FOLDER;
}

// What a command prints, without the last line end.
std::string output_of(const std::string &program) {
    FILE *pipe = popen(program.c_str(), "re");
    std::string text;
    char bytes[4096];
    while (pipe && fgets(bytes, sizeof bytes, pipe)) text += bytes;
    if (!pipe || pclose(pipe) != 0) bench::give_up(program + " failed");
    while (text.ends_with('\n')) text.pop_back();
    return text;
}

class Browser {
public:
    explicit Browser(const std::string &handset) {
        const std::string folder = output_of("'" + source() + "/tests/browser/prepare'");
        setenv("BROWSER_MODULES", folder.c_str(), 1);
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) bench::give_up("no pipe");
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            const std::string script = source() + "/bench/console.mjs";
            execlp("node", "node", script.c_str(), handset.c_str(), nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        orders_ = fdopen(in[1], "we");
        answers_ = fdopen(out[0], "re");
    }
    ~Browser() {
        fclose(orders_);
        waitpid(pid_, nullptr, 0);
        fclose(answers_);
    }
    Browser(const Browser &) = delete;
    Browser &operator=(const Browser &) = delete;
    json ask(const std::string &order) {
        fprintf(orders_, "%s\n", order.c_str());
        fflush(orders_);
        char *line = nullptr;
        size_t size = 0;
        const ssize_t n = getline(&line, &size, answers_);
        const json answer = n > 0 ? json::parse(line, nullptr, false) : json();
        free(line);
        if (!answer.is_object() || answer.contains("error"))
            bench::give_up("the browser: " + (answer.is_object() ? answer.at("error").get<std::string>() : "no answer to '" + order.substr(0, 40) + "'"));
        return answer;
    }

private:
    pid_t pid_ = -1;
    FILE *orders_ = nullptr, *answers_ = nullptr;
};

// Flips the panel between two full screens that have no pixel in common, in the program's place.
enum class Screens { colours, texts, noise }; // texts: what is shown, and its negative
class Flipper {
public:
    Flipper(const std::string &path, Screens what) {
        const vh::Fd file(open(path.c_str(), O_RDWR | O_CLOEXEC));
        struct stat info {};
        if (!file || fstat(file.get(), &info) != 0) bench::give_up("cannot open " + path);
        size_ = static_cast<size_t>(info.st_size);
        pixels_ = static_cast<uint32_t *>(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0));
        if (pixels_ == MAP_FAILED) bench::give_up("cannot map " + path);
        tail_ = reinterpret_cast<tki_panel_tail *>(reinterpret_cast<char *>(pixels_) + (size_ / 4096 - 1) * 4096);
        const size_t page = size_t{WIDTH} * HEIGHT;
        std::mt19937 chance(1);
        const std::vector<uint32_t> shown(pixels_ + (tail_->visible & 1) * page, pixels_ + ((tail_->visible & 1) + 1) * page);
        for (size_t i = 0; i < 2 * page; ++i) {
            const bool second = i >= page;
            if (what == Screens::colours) pixels_[i] = second ? 0xc0a080U : 0x204060U;
            else if (what == Screens::texts) pixels_[i] = second ? ~shown[i - page] : shown[i];
            else pixels_[i] = (chance() & 0xfffffe) | second;
        }
        thread_ = std::jthread([this](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                flip();
                std::this_thread::sleep_for(std::chrono::duration<double>(1 / FLIPS_PER_SECOND));
            }
        });
    }
    ~Flipper() {
        thread_ = {};
        munmap(pixels_, size_);
    }
    Flipper(const Flipper &) = delete;
    Flipper &operator=(const Flipper &) = delete;

private:
    void flip() {
        tail_->damage = {0, 0, WIDTH, HEIGHT};
        __atomic_store_n(&tail_->visible, tail_->visible ^ 1, __ATOMIC_SEQ_CST);
        __atomic_add_fetch(&tail_->counter, 1, __ATOMIC_SEQ_CST);
        syscall(SYS_futex, &tail_->counter, FUTEX_WAKE, INT32_MAX, nullptr, nullptr, 0);
    }
    size_t size_ = 0;
    uint32_t *pixels_ = nullptr;
    tki_panel_tail *tail_ = nullptr;
    std::jthread thread_;
};

void touch_rows(const bench::Plan &plan, const vh::Client &handset, Browser &browser) {
    const TouchLanes lanes = touch_lanes(WIDTH, HEIGHT, 0);
    json cells = json::array();
    for (int lane = 0, cell = 0; lane < 4; ++lane)
        for (int i = 0; i < lanes.cellCount[lane]; ++i, ++cell) {
            const RECT r = touch_cell_rect(lanes, cell);
            cells.push_back({{"x", std::min((r.left + r.right) / 2, WIDTH - 2)}, {"y", std::min((r.top + r.bottom) / 2, HEIGHT - 2)},
                             {"left", r.left}, {"top", r.top}, {"lift", i == 0}});
        }
    std::vector<double> samples;
    vh::PcLink pc(handset);
    for (int round = 0; round < (plan.quick ? 1 : 15); ++round) {
        if (pc.at("touchMoudle testItem open").status != 0) bench::give_up("the touch panel test does not open");
        const auto ms = browser.ask("touch " + cells.dump()).at("ms").get<std::vector<double>>();
        samples.insert(samples.end(), ms.begin(), ms.end());
    }
    const double p50 = bench::quantile(samples, 0.5), p99 = bench::quantile(samples, 0.99);
    const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
    bench::print_value({"touch in the page to the painted cell in the page, median", Goal::report(),
                        std::to_string(samples.size()) + " touches; browser, console and program on all cores"}, {p50, *least, *most}, "ms");
    bench::print_value({"the same, 99th percentile", Goal::report()}, {p99, *least, *most}, "ms");
}

void frame_rows(const bench::Plan &plan, const vh::Client &handset, Browser &browser) {
    const struct {
        Screens what;
        const char *title;
        Goal goal;
    } rows[] = {{Screens::texts, "full-screen changes drawn by the page per second, 720x1280, of the menu and its negative", Goal::at_least(60)},
                {Screens::colours, "the same, of one colour", Goal::at_least(60)},
                {Screens::noise, "the same, of noise, which nothing makes shorter (3.7 MB a frame)", Goal::report()}};
    handset.press(vh::key_code("fail"));
    for (const auto &row : rows) {
        const Flipper flipper(handset.paths().panel(), row.what);
        const double seconds = plan.quick ? 0.5 : 2;
        browser.ask("frames 0.5"); // warm
        const bench::Summary rate = bench::repeat({plan.quick ? 1 : 5, 0, plan.quick}, [&] {
            char order[32];
            snprintf(order, sizeof order, "frames %g", seconds);
            return browser.ask(order).at("drawn").get<double>() / seconds;
        });
        bench::print_value({row.title, row.goal, "a headless browser, without a graphics processor"}, rate, "");
    }
}

void idle_row(const bench::Plan &plan, const bench::BenchHandset &handset, int console, const std::string &what) {
    const double window = plan.quick ? 0.2 : 8;
    const bench::Summary wakeups = bench::repeat({plan.quick ? 1 : 3, 0, plan.quick},
                                                 [&] { return bench::quiet_wakeups_per_second(handset.program_pid(), console, window); });
    bench::print_value({"wake-ups per second of the console beside an idle handset, " + what, Goal::at_most(0),
                        "between two battery reports"}, wakeups, "");
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    try {
        const bench::BenchHandset handset({"--size", std::to_string(WIDTH) + "x" + std::to_string(HEIGHT)});
        Browser browser(handset.client().name());
        const int console = browser.ask("console").at("pid");
        idle_row(plan, handset, console, "no page open");
        browser.ask("open");
        idle_row(plan, handset, console, "its page open");
        touch_rows(plan, handset.client(), browser);
        frame_rows(plan, handset.client(), browser);
    } catch (const std::exception &error) { bench::give_up(error.what()); }
}
