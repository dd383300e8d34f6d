// Start-up with what a production line leaves behind: missing and damaged files, boot modes, markers, stored settings.
#include "scenario/handset.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

namespace {
namespace fs = std::filesystem;

std::string main_config() { return content_of(source_folder() + "/virtual/rootfs/tki_config.ini"); }

std::string with_cr(const std::string &text) {
    std::string out;
    for (const char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
}

// A program that is not up to its file must still show its menu, answer the PC and open the window behind a row.
void expect_usable(Handset &handset, const std::string &row, const std::string &text_behind) {
    handset.wait_for_text(row);
    handset.wait_for_battery();
    handset.tap_text(row);
    handset.wait_for("the window with " + text_behind, [&](const vh::ScreenView &view) { return view.shows(text_behind); });
    EXPECT_EQ(handset.last(), "start") << "it never ended";
}
// A settings area with one record; any place in it will do.
void store(const vh::StatePaths &paths, const std::string &name, const std::string &value) {
    std::string area(4096 + 4096, '\0');
    const auto put = [&](size_t at, const std::string &text) { area.replace(4096 + 5 * 128 + at, text.size(), text); };
    put(0, "this-is-cfg-head");
    put(32, name);
    put(64, "cfg-signature-is-here");
    put(96, value);
    std::ofstream(paths.part("vxocfg"), std::ios::binary) << area;
}
} // namespace

TEST(Startup, WithoutConfigurationOrLanguageTheKeysAreShown) {
    Handset bare({.config = "none"});
    expect_usable(bare, "menu_ProduceInfo", "menu_SoftVer"); // the device list itself needs a readable configuration
    EXPECT_TRUE(fs::exists(bare.cache() + "/tki/tki.log")) << "the log path has a default";
    Handset mute({.language = "none"});
    expect_usable(mute, "menu_DeviceTest", "menu_AutoTest");
    EXPECT_EQ(mute.screen().soft_keys()[2], "softkeybar_back");
}

TEST(Startup, DamagedConfigurationsAreSurvived) {
    const std::string good = with_cr(main_config());
    struct Row {
        const char *what, *row, *behind;
        std::string text;
    };
    std::string binary;
    for (int i = 0; i < 20000; ++i) binary += static_cast<char>((i * 7919) >> 3);
    std::string many_items;
    for (int i = 0; i < 3000; ++i) many_items += "[TKI_LCD]\r\nenable=1\r\nparameter=colornum:" + std::string(600, '8') + "\r\n";
    const Row rows[] = {
        {"an empty line", "设备测试", "自动测试", "\n"}, // no language given: Chinese
        {"bracket without end in front", "menu_ProduceInfo", "menu_SoftVer", "[MMI\r\n" + good},
        {"bracket without end behind", "Device tests", "Automatic run", good + "[BROKEN\r\n"},
        {"binary in front", "Device tests", "Automatic run", binary + "\r\n" + good},
        {"binary behind", "Device tests", "Automatic run", good + binary},
        {"zero bytes behind", "Device tests", "Automatic run", good + std::string(100000, '\0')},
        {"a line of 100 KB in front", "Device tests", "Automatic run", std::string(100000, 'k') + "=v\r\n" + good},
        {"a value of 100 KB behind", "Device tests", "Automatic run", good + "long=" + std::string(100000, 'v') + "\r\n"},
        {"a section name of 100 KB behind", "Device tests", "Automatic run", good + "[" + std::string(100000, 's') + "]\r\n"},
        {"too many, too long items", "Device tests", "Automatic run", good + many_items},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        Handset handset({.config_text = row.text});
        expect_usable(handset, row.row, row.behind);
    }
}

TEST(Startup, BareLineFeedsCostEachValueItsLastCharacter) {
    Handset handset;
    handset.wait_for_text("Device tests");
    ASSERT_EQ(handset.tool({"stop"}).status, 0);
    std::string text = main_config();
    const size_t at = text.find("Language=English");
    ASSERT_NE(at, std::string::npos);
    text.replace(at, 16, "Language=Chinese");
    // Behind the launcher's back, which would give the lines both of their end characters.
    const std::string upper = handset.client().paths().sysrw() + "/upper/etc";
    fs::create_directories(upper);
    std::ofstream(upper + "/tki_config.ini", std::ios::binary) << text;
    ASSERT_EQ(handset.tool({"boot", "--headless"}).status, 0);
    handset.wait_for_text("menu_DeviceTest"); // there is no language "Chines"
    EXPECT_TRUE(fs::exists(handset.cache() + "/tki/tki.log")) << "the path lost its slash and got it back";
}

TEST(Startup, BootModesChooseTheScreen) {
    for (const char *mode : {"ffbm-99", "ffbm-99x"}) {
        Handset handset({.bootmode = mode});
        const vh::ScreenView view = handset.wait_for_text("The handset is in factory mode.");
        EXPECT_FALSE(view.shows("Device tests")) << mode;
        EXPECT_FALSE(fs::exists(handset.cache() + "/tki/tki.log")) << mode;
        EXPECT_EQ(handset.at("testinfoMoudle testItem 64,read").text, "0") << mode;
    }
    Handset ordinary({.bootmode = "ffbm-01"});
    ordinary.wait_for_text("Device tests");
    EXPECT_TRUE(fs::exists(ordinary.cache() + "/tki/tki.log"));
}

TEST(Startup, RebootAgingDoesNotListenToThePc) {
    Handset handset({.settings = {{"TKI_AGING", "reboottest", "enable:0"}}, .wait_for_menu = false,
                     .before_boot = [](const vh::StatePaths &paths) {
                         fs::create_directories(paths.cache() + "/tki");
                         std::ofstream(paths.cache() + "/tki/rebootAging.txt") << "1\n";
                     }});
    handset.wait_for("the run that goes on", [](const vh::ScreenView &view) { return view.front_caption() == "AgingTest"; }, 30000);
    EXPECT_THROW(handset.at("batteryMoudle testItem power"), vh::ClientError);
    EXPECT_FALSE(handset.log_contains("AtThread", "begin"));
    fs::remove(handset.cache() + "/tki/rebootAging.txt");
    handset.kill_program();
    handset.wait_for_pc();
}

TEST(Startup, TheStoredLanguageWins) {
    struct Row {
        const char *stored, *setting, *menu;
    };
    for (const Row &row : {Row{"zh-CN", "English", "设备测试"}, {"en-US", "Chinese", "Device tests"}, {"fr-FR", "English", "Device tests"}}) {
        Handset handset({.settings = {{"MMI", "Language", row.setting}}, .before_boot = [&](const vh::StatePaths &paths) {
                             store(paths, "vxo.pvapk.lang", row.stored);
                         }});
        handset.wait_for_text(row.menu);
    }
}

TEST(Startup, TheDiagnosticLogStandsWhereTheSettingSays) {
    Handset handset({.settings = {{"MMI", "LogPath", "/data/deep/er/logs"}}});
    EXPECT_TRUE(fs::exists(handset.data() + "/deep/er/logs/tki.log"));
    EXPECT_FALSE(fs::exists(handset.cache() + "/tki/tki.log"));
}

TEST(Startup, RefusedOnAWorkstation) {
    const std::string program = program_folder() + "/bin/mmi";
    ASSERT_TRUE(fs::exists(program));
    ASSERT_FALSE(fs::exists("/system/bin/mmi")) << "this machine looks like a handset: not tried";
    FILE *said = popen(("env -i '" + program + "' 2>&1").c_str(), "r");
    ASSERT_TRUE(said);
    char text[4096] = "";
    text[fread(text, 1, sizeof text - 1, said)] = '\0';
    const int status = pclose(said);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_NE(strstr(text, "./run"), nullptr) << text;
    EXPECT_EQ(std::count(text, text + strlen(text), '\n'), 1) << "it went on: " << text;
}
