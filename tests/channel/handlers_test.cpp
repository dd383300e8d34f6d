// What the handlers hand on, how they turn results into the command's success, and what they refuse.
#include <cstdio>
#include <cstring>
#include <support/fake_flags.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>

#include "adbd_connection/at_thread.h"
#include "adbd_connection/channel_library.h"
#include "config/main_config.h"

namespace {
std::string seen;
int library_result;

int four(const char *in, int size, char *out, int maxoutlen) {
    seen = std::string(in) + "/" + std::to_string(size);
    if (out) snprintf(out, static_cast<size_t>(maxoutlen), "library");
    return library_result;
}
int two(const char *in, int size) { return four(in, size, nullptr, 0); }

class HandlerTest : public testing::Test {
protected:
    void SetUp() override {
        clear_command_registry();
        for (const CommandRow &row : g_command_table) registerModule(row.cmd, row.action, row.fun, 1);
        g_channel_library = {};
        seen = "";
        fake_flags::install();
        snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "/data/backlight");
        std::ofstream("/data/backlight");
    }
    static int send(const std::string &line) {
        memset(reply, 0, sizeof reply);
        return AtCommandProcess(line.c_str(), reply, sizeof reply);
    }
    static std::string file(const char *path) {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static inline char reply[256];
};

TEST_F(HandlerTest, library_services) {
    EXPECT_EQ(send("WiFiConCptMoudle testItem open"), 2); // not bound
    EXPECT_EQ(send("FileOptMoudle testItem read x"), 0);  // always success
    g_channel_library.WiFiConCpt_Enable = four;
    g_channel_library.FileOpt_Write = two;
    for (auto [result, status] : {std::pair{1, 0}, {5, 2}, {0, 2}}) {
        library_result = result;
        EXPECT_EQ(send("WiFiConCptMoudle testItem open now"), status); // passed through: only 1 is success
        EXPECT_EQ(seen, "now/3");
        EXPECT_STREQ(reply, "library");
        EXPECT_EQ(send("FileOptMoudle testItem write /data/f"), 0);
        EXPECT_EQ(seen, "/data/f/7");
    }
}

TEST_F(HandlerTest, backlight_levels) {
    for (const char *bad : {"256", "-1", "abc", "1 2", "0x10", "99999999999", "12;reboot", "--1"})
        EXPECT_EQ(send(std::string("LCDbacklightMoudle testItem ") + bad), 2) << bad;
    EXPECT_EQ(file("/data/backlight"), "");
    EXPECT_EQ(send("LCDbacklightMoudle testItem 200"), 0);
    EXPECT_EQ(file("/data/backlight"), "200");
    std::ofstream("/data/backlight");
    EXPECT_EQ(send("LCDbacklightTestMoudle testItem close"), 0);
    EXPECT_EQ(file("/data/backlight"), "102");
    unlink("/data/backlight");
    snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "/nowhere/brightness");
    EXPECT_EQ(send("LCDbacklightMoudle testItem 1"), 2);
}

TEST_F(HandlerTest, station_flags) {
    EXPECT_EQ(send("testinfoMoudle testItem"), 2);
    EXPECT_EQ(send("testinfoMoudle testItem 281,1,write"), 0);
    EXPECT_EQ(fake_flags::station(281), 1);
    EXPECT_EQ(send("testinfoMoudle testItem 281,read"), 0);
    EXPECT_STREQ(reply, "1");
    EXPECT_EQ(send("testinfoMoudle testItem 281"), 2);
}

TEST_F(HandlerTest, memory_sizes) {
    for (const char *line : {"RAMMoudle testItem read", "ROMMoudle testItem read"}) {
        EXPECT_EQ(send(line), 0);
        int total = 0, available = -1, end = 0;
        EXPECT_EQ(sscanf(reply, "%dMB,%dMB%n", &total, &available, &end), 2) << reply;
        EXPECT_EQ(static_cast<size_t>(end), strlen(reply));
        EXPECT_GE(total, available);
        char one[1] = {'x'};
        EXPECT_EQ(AtCommandProcess(line, one, sizeof one), 0);
        EXPECT_EQ(one[0], '\0');
        EXPECT_EQ(AtCommandProcess(line, nullptr, 0), 2);
    }
}

TEST_F(HandlerTest, always_success_and_honest_failure) {
    tki_api_EnterLowCostMode = nullptr;
    EXPECT_EQ(send("EnterLowCostMode testItem"), 0);
    EXPECT_EQ(send("CABCMoudle testItem open"), 0); // no such panel here, yet always success
    EXPECT_EQ(send("LCDTurnoffMoudle testItem"), 0);
    EXPECT_EQ(send("LCDTurnoffMoudle testItem x"), 2);
    EXPECT_EQ(send("CloseDialog testItem start"), 2);          // none is open
    EXPECT_EQ(send("LCDMoudle testItem FFFFFF aux"), 2);       // no auxiliary panel
    EXPECT_EQ(send("commonModule testItem showImage"), 2);     // picture 0 is not there
    EXPECT_EQ(send("commonModule testItem showImage x"), 2);
    EXPECT_EQ(send("sensorMoudle testItem open"), 2);          // not built in
}

TEST_F(HandlerTest, hostile_arguments_change_nothing) {
    for (const char *line : {"HueMoudle testItem set a,b;touch /data/owned", "HueMoudle testItem set $(touch /data/owned),1",
                             "HueRegMoudle testItem set 1,2;touch /data/owned", "GrayLevelMoudle testItem set %n,%n,%n",
                             "ConfigMoudle testItem write MMI,x,`touch /data/owned`", "LCDMoudle testItem close\nreboot aux"}) {
        send(line);
        EXPECT_NE(access("/data/owned", F_OK), 0) << line;
    }
    EXPECT_EQ(send("HueMoudle testItem set a,b|c"), 2);
    EXPECT_EQ(send("GrayLevelMoudle testItem set 1,2,%s"), 2);
    EXPECT_EQ(send("ConfigMoudle testItem write MMI,x,a b"), 2);
}
} // namespace
