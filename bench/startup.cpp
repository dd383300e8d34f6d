// From the start of the program to the first frame that shows the menu, against the least that a program can do to show one.
#include "common/bench_handset.h"
#include "common/turns.h"

#include <cstdio>
#include <cstring>
#include <cutils/properties.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <spawn.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tki_lcd.h>
#include <tp_gui.h>
#include <unistd.h>

extern char **environ;

namespace {
constexpr size_t WIDTH = 720, HEIGHT = 1280, PAGE = WIDTH * HEIGHT; // of the panel that `handset exec` has
constexpr size_t IN_FIRST_ROW = (10 + WIDTH / 12 + 8) * WIDTH + 5;
constexpr double PATIENCE = 10;

class Panel {
public:
    Panel() {
        const int fd = open("/dev/graphics/fb0", O_RDWR | O_CLOEXEC);
        struct stat file {};
        if (fd < 0 || fstat(fd, &file) != 0 || static_cast<size_t>(file.st_size) != PAGE * 8 + 4096)
            bench::give_up("no panel of 720x1280");
        void *memory = mmap(nullptr, PAGE * 8 + 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (memory == MAP_FAILED) bench::give_up("cannot map the panel");
        m_pixels = static_cast<uint32_t *>(memory);
        m_tail = reinterpret_cast<tki_panel_tail *>(m_pixels + 2 * PAGE);
    }
    void darken() { memset(m_pixels, 0, PAGE * 8); }
    uint32_t pixel(size_t at) const { return m_pixels[__atomic_load_n(&m_tail->visible, __ATOMIC_ACQUIRE) * PAGE + at]; }
    void wait_for(uint32_t color) {
        const double end = bench::now() + PATIENCE;
        for (;;) {
            const uint32_t count = __atomic_load_n(&m_tail->counter, __ATOMIC_ACQUIRE);
            if (pixel(IN_FIRST_ROW) == color) return;
            if (bench::now() > end) bench::give_up("no picture within 10 s");
            const timespec second{1, 0};
            __atomic_fetch_add(&m_tail->viewers, 1, __ATOMIC_SEQ_CST);
            syscall(SYS_futex, &m_tail->counter, FUTEX_WAIT, count, &second, nullptr, 0);
            __atomic_fetch_sub(&m_tail->viewers, 1, __ATOMIC_SEQ_CST);
        }
    }

private:
    uint32_t *m_pixels = nullptr;
    tki_panel_tail *m_tail = nullptr;
};

double start_to_picture(Panel &panel, std::vector<const char *> argv, uint32_t color) {
    panel.darken();
    argv.push_back(nullptr);
    const double begin = bench::now();
    pid_t child = -1;
    if (posix_spawn(&child, argv[0], nullptr, nullptr, const_cast<char **>(argv.data()), environ) != 0)
        bench::give_up(std::string("cannot start ") + argv[0]);
    panel.wait_for(color);
    const double seconds = bench::now() - begin;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return seconds;
}

void measure(const bench::Plan &plan) {
    property_set("persist.vxo.log.level", "4"); // as shipped
    Panel panel;
    const std::string page_bytes = std::to_string(PAGE * 4);
    const auto side = [&](std::vector<const char *> argv, uint32_t color) -> bench::Side<1> {
        return [&panel, argv, color](double seconds) -> std::array<double, 1> {
            double sum = 0;
            int count = 0;
            for (const double end = bench::now() + seconds; count == 0 || bench::now() < end; ++count)
                sum += start_to_picture(panel, argv, color);
            return {sum / count};
        };
    };
    const auto [pairs] = bench::take_turns<1>(plan, side({"/app/bin/mmi"}, SysPixelIndex[17]),
                                              side({"/app/bin/startup_floor", page_bytes.c_str()}, 0x40404040));
    bench::print_ratio({"start of the program to its menu on the panel, against a program that maps and fills the panel",
                        bench::Goal::at_most(4)},
                       pairs, "ms", 1e3);
}
} // namespace

int main(int argc, char **argv) {
    return bench::main_inside(argc, argv, "bench_startup", bench::Inside::fresh_root, measure);
}
