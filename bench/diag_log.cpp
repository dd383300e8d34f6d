// A line of the diagnostic log against writing and syncing the same bytes.
#include "common/turns.h"
#include "device/diag_log.h"

#include <android/log.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {
constexpr char TAG[] = "TESTWND";
constexpr char TEXT[] = "mmi_write_testinfo_single_byte:item 280 result 1";
constexpr off_t FILE_MAX = 4 << 20; // both files start anew now and then

void rows(const bench::Plan &plan, const std::string &folder, const std::string &where, bench::Goal goal) {
    const std::string floor_file = folder + "/floor.log";
    FILE *log = nullptr;
    if (init_tki_log(&log, folder.c_str(), "ours.log") != 0 || writetkilog(log, TAG, "%s", TEXT) != 0)
        bench::give_up("cannot write a log in " + folder);
    const int fd = open(floor_file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    std::string line(static_cast<size_t>(lseek(fileno(log), 0, SEEK_END)), '\0'); // the very bytes that the log wrote
    if (fd < 0 || pread(fileno(log), line.data(), line.size(), 0) != static_cast<ssize_t>(line.size()))
        bench::give_up("cannot read " + folder + "/ours.log back");
    const auto shorten = [](int file) {
        if (lseek(file, 0, SEEK_END) > FILE_MAX && ftruncate(file, 0) != 0) bench::give_up("ftruncate failed");
    };
    const auto ours = bench::each([&] { writetkilog(log, TAG, "%s", TEXT); });
    const auto floor = bench::each([&] {
        if (write(fd, line.data(), line.size()) < 0 || fsync(fd) != 0) bench::give_up("cannot write " + floor_file);
    });
    const auto rate = [&](const bench::Side<1> &side, int file) -> bench::Side<1> {
        return [&side, file, shorten](double seconds) -> std::array<double, 1> {
            shorten(file);
            return {1 / side(seconds)[0]};
        };
    };
    const auto [pairs] = bench::take_turns<1>(plan, rate(ours, fileno(log)), rate(floor, fd));
    bench::print_ratio({"diagnostic log lines per second, " + where + ", against write and sync of the same " +
                            std::to_string(line.size()) + " bytes",
                        goal},
                       pairs, "k/s", 1e-3);
    uninit_tkilog(log);
    close(fd);
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    __android_log_set_minimum_priority(ANDROID_LOG_INFO); // as shipped: no echo of every line
    bench::pin_thread(bench::cores().back());
    bench::Plan slow = plan; // a sync of a disk takes milliseconds
    if (!plan.quick) slow.turn_seconds = 0.2;
    for (const auto &[base, where, goal, turns] : {std::tuple{"/dev/shm", "memory file system", bench::Goal::at_least(0.9), plan},
                                                   std::tuple{"/var/tmp", "disk", bench::Goal::at_least(0.97), slow}}) {
        std::string folder = std::string(base) + "/vxo-bench.XXXXXX";
        if (!mkdtemp(folder.data())) bench::give_up("cannot make a folder in " + std::string(base));
        rows(turns, folder, where, goal);
        std::filesystem::remove_all(folder);
    }
}
