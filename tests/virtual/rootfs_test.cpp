// The script that changes a line of the handset's configuration is careful.
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "booted.h"
#include "support/files.h"

namespace {
namespace fs = std::filesystem;

class ModifyScript : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path().string() + "/vxo-modify.XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        file = folder + "/tki_config.ini";
    }
    void TearDown() override { fs::remove_all(folder); }
    int modify(const std::string &section, const std::string &key, const std::string &value) {
        const std::string script = booted::rootfs_dir() + "/system/bin/modify_tki_config.sh";
        const std::string command =
            "/bin/sh " + script + " '" + section + "' '" + key + "' '" + value + "' '" + file + "' 2>/dev/null";
        return system(command.c_str());
    }
    std::string folder, file;
};
} // namespace

TEST_F(ModifyScript, ChangesOneLineAndKeepsTheRest) {
    files::put(file, "# \xd6\xd0\r\n[A]\r\nmmi_flag=1\r\n[MMI]\r\n#mmi_flag=9\r\n mmi_flag = 1\r\nmmi_flag_x=7\r\n");
    ASSERT_EQ(modify("MMI", "mmi_flag", "0"), 0);
    EXPECT_EQ(files::get(file), "# \xd6\xd0\r\n[A]\r\nmmi_flag=1\r\n[MMI]\r\n#mmi_flag=9\r\nmmi_flag=0\r\nmmi_flag_x=7\r\n");
    ASSERT_EQ(modify("A", "new", "a:1;b:/x"), 0);
    EXPECT_NE(files::get(file).find("[A]\r\nnew=a:1;b:/x\r\nmmi_flag=1\r\n"), std::string::npos) << files::get(file);
    ASSERT_EQ(modify("FRESH", "key", "1"), 0);
    EXPECT_TRUE(files::get(file).ends_with("\r\n[FRESH]\r\nkey=1\r\n")) << files::get(file);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << "a scratch file was left";
}

TEST_F(ModifyScript, RefusesWhatCouldBeMisread) {
    const std::string before = "[MMI]\r\nkey=1\r\n";
    files::put(file, before);
    for (const char *odd : {"", "a b", "$(id)", "`id`", "a\nb", "x=y", "[", "a|b", "*", "a&b", "../\\"}) {
        EXPECT_NE(modify("MMI", "key", odd), 0) << odd;
        EXPECT_NE(modify("MMI", odd, "1"), 0) << odd;
        EXPECT_NE(modify(odd, "key", "1"), 0) << odd;
    }
    EXPECT_NE(modify("MMI", "key", std::string(256, 'x')), 0);
    EXPECT_EQ(files::get(file), before);
    fs::remove(file);
    EXPECT_NE(modify("MMI", "key", "1"), 0);
    EXPECT_FALSE(fs::exists(file));
}
