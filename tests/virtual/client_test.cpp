// The workstation's side without a handset: state folders, names, logs.
#include "client/client.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "support/files.h"

namespace {
namespace fs = std::filesystem;

// A state folder as a handset that was switched off leaves it.
class ClientTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path().string() + "/vxo-client.XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        home = pattern;
        setenv("VXO_HANDSET_HOME", home.c_str(), 1);
        client.emplace("one");
        for (const char *folder : {"data/sub", "cache", "run/log"}) fs::create_directories(client->paths().root + "/" + folder);
    }
    void TearDown() override {
        unsetenv("VXO_HANDSET_HOME");
        fs::remove_all(home);
    }
    std::string home;
    std::optional<vh::Client> client;
};
} // namespace

TEST_F(ClientTest, FilesStayBelowTheHandsetsFolders) {
    const std::string data = client->paths().data(), here = home + "/here.txt", secret = home + "/secret";
    files::put(here, "text");
    files::put(secret, "secret");
    client->push(here, "/data/sub");
    EXPECT_EQ(files::get(data + "/sub/here.txt"), "text");
    client->push(here, "/data/other.txt");
    client->pull("/data/other.txt", home + "/back.txt");
    EXPECT_EQ(files::get(home + "/back.txt"), "text");

    // What a hostile handset could leave behind.
    fs::create_symlink(secret, data + "/link");
    fs::create_symlink(home, data + "/out");
    ASSERT_EQ(mkfifo((data + "/fifo").c_str(), 0600), 0);
    for (const char *path : {"/data/link", "/data/out/secret", "/data/../../secret", "/data/fifo", "/data/sub", "/etc/passwd",
                             "/database", "/data/missing"})
        EXPECT_THROW(client->pull(path, home + "/stolen"), vh::ClientError) << path;
    for (const char *path : {"/data/link", "/data/out/x", "/cache/../x", "/sys/x"})
        EXPECT_THROW(client->push(here, path), vh::ClientError) << path;
    EXPECT_FALSE(fs::exists(home + "/stolen"));
    EXPECT_EQ(files::get(secret), "secret");
}

TEST_F(ClientTest, TheLogIsFollowedAcrossReplacement) {
    const std::string log = client->paths().log();
    files::put(log, "11-22 10:00:00.000     1     1 D A: one\n");
    vh::LogFollower follower(log, true);
    EXPECT_EQ(follower.lines(0).size(), 1U);
    std::ofstream(log, std::ios::app) << "half";
    EXPECT_TRUE(follower.lines(100).empty());
    std::ofstream(log, std::ios::app) << " line\n";
    EXPECT_EQ(follower.lines(1000), std::vector<std::string>{"half line"});
    files::put(log + ".new", "after a boot\n");
    fs::rename(log + ".new", log);
    EXPECT_EQ(follower.lines(1000), std::vector<std::string>{"after a boot"});
}

TEST(Words, KeysAndLogLines) {
    for (const char *odd : {"", "0", "-5", "99999", "nosuch", "key"}) EXPECT_EQ(vh::key_code(odd), -1) << odd;
    EXPECT_EQ(vh::key_code("volume-down"), vh::key_code("KEY_VOLUMEDOWN"));
    EXPECT_EQ(vh::key_code("377"), 377);
    const std::string line = "11-22 10:00:00.000    12    13 W TKI_LCD: text: more";
    EXPECT_TRUE(vh::log_line_matches(line, "W", "TKI_LCD"));
    EXPECT_FALSE(vh::log_line_matches(line, "E", ""));
    EXPECT_FALSE(vh::log_line_matches(line, "", "TKI"));
    EXPECT_FALSE(vh::log_line_matches("garbage", "E", ""));
}
