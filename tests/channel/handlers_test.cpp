// What the handlers hand on, how they turn results into the command's success, and what they refuse.
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <support/files.h>

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
        snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "/data/backlight");
    }
    static int send(const std::string &line) {
        memset(reply, 0, sizeof reply);
        return AtCommandProcess(line.c_str(), reply, sizeof reply);
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
    const struct { const char *line; int status; std::string level; } rows[] = {
        {"LCDbacklightMoudle testItem 256", 2, ""}, {"LCDbacklightMoudle testItem 1 2", 2, ""},
        {"LCDbacklightMoudle testItem 0x10", 2, ""}, {"LCDbacklightMoudle testItem 12;reboot", 2, ""},
        {"LCDbacklightMoudle testItem 200", 0, "200"}, {"LCDbacklightTestMoudle testItem close", 0, "102"}};
    for (const auto &row : rows) {
        files::put("/data/backlight", "");
        EXPECT_EQ(send(row.line), row.status) << row.line;
        EXPECT_EQ(files::get("/data/backlight"), row.level) << row.line;
    }
    snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "/nowhere/brightness");
    EXPECT_EQ(send("LCDbacklightMoudle testItem 1"), 2);
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
} // namespace
