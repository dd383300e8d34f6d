// Commands in a fresh root, as unit tests are run.
#include "booted.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {
struct Result {
    int status;
    std::string output;
};

// Standard output of this process leads into a file while the command runs.
Result run(const std::vector<std::string> &argv) {
    FILE *file = tmpfile();
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    const int status = vh::exec_in_fresh_root(argv, booted::build_dir(), booted::rootfs_dir());
    dup2(before, STDOUT_FILENO);
    close(before);
    std::string output;
    rewind(file);
    for (int c; (c = fgetc(file)) != EOF;) output += static_cast<char>(c);
    fclose(file);
    return {status, output};
}
Result run_sh(const std::string &script) { return run({"sh", "-c", "{ " + script + "\n} 2>/dev/null"}); }
} // namespace

TEST(Exec, AttributesBehaveAsTheKernelsDo) {
    REQUIRE_HOST();
    const std::pair<const char *, const char *> rows[] = {
        {"echo 10 > $B; cat $B; printf 0 >> $B; cat $B", "10\n0\n"},
        {"echo abc > $B || echo refused; cat $B", "refused\n100\n"},
        {"stat -c %s $B; cat $B/x || echo none", "4096\nnone\n"},
        {"echo x > $P/battery/status || echo denied; echo x >> $P/battery/none || echo denied; mkdir /sys/x || echo denied", "denied\ndenied\ndenied\n"},
        {"rm $B || echo kept; ls $P/usb", "kept\nonline\npresent\ntype\n"},
        {"echo 4 > /sys/class/graphics/fb0/blank && cat /sys/class/graphics/fb0/blank", "4\n"},
        {"echo mem > /sys/power/autosleep && cat /sys/power/autosleep", "mem\n"},
        {"echo 0 > /proc/touchscreen/ts_main_ctrl; cat /proc/touchscreen/*", "0\n0\n2\n"},
        {"readlink /proc/uptime; grep -q stack /proc/self/maps && echo maps", "/.proc/uptime\nmaps\n"},
    };
    for (const auto &[script, expected] : rows) {
        const Result result = run_sh(std::string("B=/sys/class/leds/lcd-backlight/brightness P=/sys/class/power_supply\n") + script);
        EXPECT_EQ(result.output, expected) << script;
    }
}

TEST(Exec, StatusesComeBackAndNothingIsLeft) {
    REQUIRE_HOST();
    const std::string scratch = booted::Handset().paths.root;
    std::filesystem::create_directory(scratch);
    setenv("TMPDIR", scratch.c_str(), 1);
    EXPECT_EQ(run({"sh", "-c", "exit 7"}).status, 7);
    EXPECT_EQ(run({"sh", "-c", "kill -KILL $$"}).status, 137);
    EXPECT_EQ(run({"/app/bin/vh_probe", "alarms"}).status, 0);
    EXPECT_EQ(run({"/app/bin/vh_probe", "reboot"}).status, 129);
    EXPECT_EQ(run({"/app/bin/vh_probe", "power-off"}).status, 130);
    EXPECT_EQ(run({"sh", "-c", "exit 129"}).status, 129);
    unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(scratch));
    std::filesystem::remove_all(scratch);
}

TEST(Exec, TheBuildFolderIsWritableAndTheHostIsNot) {
    REQUIRE_HOST();
    const Result result = run_sh("touch $VXO_BUILD/exec-mark && rm $VXO_BUILD/exec-mark && echo build;"
                                 "touch $VXO_SOURCE/exec-mark || echo source; touch /usr/x || echo usr; ls /root /home || echo hidden;"
                                 "toybox ifconfig lo | grep -c UP; toybox ifconfig lo up && toybox ifconfig lo | grep -c UP");
    EXPECT_EQ(result.output, "build\nsource\nusr\nhidden\n0\n1\n");
}

TEST(HostCheck, SaysWhatIsMissing) {
    REQUIRE_HOST();
    const std::string path = getenv("PATH");
    setenv("PATH", "/nonexistent", 1);
    EXPECT_NE(vh::check_host().find("apt-get install bubblewrap"), std::string::npos);
    setenv("PATH", path.c_str(), 1);
}
