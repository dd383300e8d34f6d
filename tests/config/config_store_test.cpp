#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "config/config_store.h"
#include "support/files.h"
#include "support/process.h"

namespace {
constexpr const char *DEVICE = "/data/store";

class ConfigStore : public testing::Test {
protected:
    void SetUp() override {
        files::put(DEVICE, std::string(16384, '\xff'));
        g_cfg_device = DEVICE;
    }
    void TearDown() override { g_cfg_device = "/dev/block/bootdevice/by-name/vxocfg"; }
    static std::string get(const std::string &name) {
        char out[32] = {};
        return cfg_get(name.c_str(), out, nullptr) == 1 ? out : "(none)";
    }
};
} // namespace

TEST_F(ConfigStore, ErasedAreaGivesDefaultsWithoutTerminator) {
    for (const char fill : {'\xff', '\0'}) {
        files::put(DEVICE, std::string(16384, fill));
        char out[32] = {'#', '#', '#', '#', '#'};
        EXPECT_EQ(cfg_get("name", out, "abc"), -1);
        EXPECT_EQ(std::string(out, 5), "abc##");
    }
}

TEST_F(ConfigStore, RecordLayout) {
    ASSERT_EQ(cfg_set("vxo.pvapk.lang", "en-US"), 1);
    EXPECT_EQ(get("vxo.pvapk.lang"), "en-US");
    const std::string bytes = files::get(DEVICE);
    EXPECT_EQ(bytes.substr(0, 4096), std::string(4096, '\xff')) << "the area begins at 4096";
    EXPECT_EQ(bytes.substr(4096, 32), "this-is-cfg-head" + std::string(16, '\0'));
    EXPECT_STREQ(bytes.c_str() + 4096 + 32, "vxo.pvapk.lang");
    EXPECT_STREQ(bytes.c_str() + 4096 + 64, "cfg-signature-is-here");
    EXPECT_STREQ(bytes.c_str() + 4096 + 96, "en-US");
    EXPECT_EQ(bytes.substr(8192), std::string(8192, '\xff'));
}

TEST_F(ConfigStore, FullAreaAndReuse) {
    for (int i = 0; i < 32; ++i) ASSERT_EQ(cfg_set(("n" + std::to_string(i)).c_str(), "v"), 1);
    EXPECT_EQ(cfg_set("n32", "v"), -1);
    EXPECT_EQ(cfg_set("n7", "other"), 1);
    EXPECT_EQ(get("n7"), "other");
    EXPECT_EQ(get("n8"), "v");
}

TEST_F(ConfigStore, LongNamesAreCutLongValuesRefused) {
    const std::string longest(31, 'n');
    EXPECT_EQ(cfg_set((longest + "tail").c_str(), std::string(31, 'v').c_str()), 1);
    EXPECT_EQ(get(longest), std::string(31, 'v'));
    EXPECT_EQ(cfg_set((longest + "other").c_str(), "2"), 1);
    EXPECT_EQ(get(longest), "2") << "the same record";
    const std::string before = files::get(DEVICE);
    EXPECT_EQ(cfg_set("x", std::string(32, 'v').c_str()), -1);
    EXPECT_EQ(files::get(DEVICE), before);
}

TEST_F(ConfigStore, ShortOrLockedDeviceIsNotOverwritten) {
    ASSERT_EQ(cfg_set("a", "1"), 1);
    int ready[2], done[2];
    ASSERT_EQ(pipe(ready) | pipe(done), 0);
    const pid_t other = fork(); // record locks count between processes
    if (other == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        const int fd = open(DEVICE, O_RDWR);
        const bool locked = fcntl(fd, F_SETLK, &lock) == 0;
        char c = locked ? 'y' : 'n';
        _exit(write(ready[1], &c, 1) == 1 && read(done[0], &c, 1) == 1 ? 0 : 1);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    EXPECT_EQ(c, 'y');
    EXPECT_EQ(get("a"), "(none)");
    EXPECT_EQ(cfg_set("b", "2"), -1);
    EXPECT_EQ(write(done[1], &c, 1), 1);
    EXPECT_EQ(process::wait_for(other), 0);
    EXPECT_EQ(get("a"), "1");
    for (const int fd : {ready[0], ready[1], done[0], done[1]}) close(fd);
    files::put(DEVICE, std::string(5000, '\0'));
    char area[CFG_AREA];
    EXPECT_EQ(restore(area), -1);
}
