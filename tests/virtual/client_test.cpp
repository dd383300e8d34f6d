// The workstation's side without a handset: state folders, records, logs, screen descriptions.
#include "client/client.h"
#include "client/screen_text.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

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
        for (const char *folder : {"data/sub", "cache", "dev", "part", "run/log"})
            fs::create_directories(client->paths().root + "/" + folder);
        std::ofstream(client->paths().part("vxoflag")) << std::string(4096, '\0');
    }
    void TearDown() override {
        unsetenv("VXO_HANDSET_HOME");
        fs::remove_all(home);
    }
    void write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }
    std::string read(const std::string &path) {
        std::ifstream file(path);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }
    std::string home;
    std::optional<vh::Client> client;
};
} // namespace

TEST_F(ClientTest, FilesStayBelowTheHandsetsFolders) {
    const std::string data = client->paths().data(), here = home + "/here.txt", secret = home + "/secret";
    write(here, "text");
    write(secret, "secret");
    client->push(here, "/data/sub");
    EXPECT_EQ(read(data + "/sub/here.txt"), "text");
    client->push(here, "/data/other.txt");
    client->pull("/data/other.txt", home + "/back.txt");
    EXPECT_EQ(read(home + "/back.txt"), "text");

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
    EXPECT_EQ(read(secret), "secret");
}

TEST_F(ClientTest, FlagsAreTwoBitsFromTheHighEnd) {
    client->set_station(280, 1);
    client->set_station(283, 2);
    const std::string area = read(client->paths().part("vxoflag"));
    EXPECT_EQ(static_cast<unsigned char>(area[70]), 0x42);
    EXPECT_EQ(client->station(280), 1);
    EXPECT_EQ(client->station(281), 0);
    client->set_station(280, 0);
    EXPECT_EQ(client->station(283), 2);
    EXPECT_THROW(client->station(1024), vh::ClientError);
    EXPECT_THROW(client->station(-1), vh::ClientError);
}

TEST_F(ClientTest, AKeyIsTwoReportsOfWholeRecords) {
    ASSERT_EQ(mkfifo(client->paths().event(1).c_str(), 0600), 0);
    EXPECT_THROW(client->press(KEY_POWER), vh::ClientError) << "nobody reads";
    vh::Fd reader(open(client->paths().event(1).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    client->press(KEY_POWER, 1);
    input_event events[8];
    ASSERT_EQ(::read(reader.get(), events, sizeof events), static_cast<ssize_t>(4 * sizeof(input_event)));
    const int wanted[4][3] = {{EV_KEY, KEY_POWER, 1}, {EV_SYN, SYN_REPORT, 0}, {EV_KEY, KEY_POWER, 0}, {EV_SYN, SYN_REPORT, 0}};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(events[i].type, wanted[i][0]);
        EXPECT_EQ(events[i].code, wanted[i][1]);
        EXPECT_EQ(events[i].value, wanted[i][2]);
    }
}

TEST(KeyNames, NamesAndNumbers) {
    EXPECT_EQ(vh::key_code("KEY_VOLUMEUP"), KEY_VOLUMEUP);
    EXPECT_EQ(vh::key_code("volume-down"), KEY_VOLUMEDOWN);
    EXPECT_EQ(vh::key_code("pass"), 60);
    EXPECT_EQ(vh::key_code("377"), 377);
    for (const char *odd : {"", "0", "-5", "99999", "nosuch", "key"}) EXPECT_EQ(vh::key_code(odd), -1) << odd;
}

TEST_F(ClientTest, TheLogIsFollowedAcrossReplacement) {
    const std::string log = client->paths().log();
    write(log, "11-22 10:00:00.000     1     1 D A: one\n");
    vh::LogFollower follower(log, true);
    EXPECT_EQ(follower.lines(0).size(), 1U);
    std::ofstream(log, std::ios::app) << "half";
    EXPECT_TRUE(follower.lines(100).empty());
    std::ofstream(log, std::ios::app) << " line\n";
    EXPECT_EQ(follower.lines(1000), std::vector<std::string>{"half line"});
    write(log + ".new", "after a boot\n");
    fs::rename(log + ".new", log);
    EXPECT_EQ(follower.lines(1000), std::vector<std::string>{"after a boot"});
}

TEST(LogLines, LevelAndTag) {
    const std::string line = "11-22 10:00:00.000    12    13 W TKI_LCD: text: more";
    EXPECT_TRUE(vh::log_line_matches(line, "", ""));
    EXPECT_TRUE(vh::log_line_matches(line, "W", "TKI_LCD"));
    EXPECT_FALSE(vh::log_line_matches(line, "E", ""));
    EXPECT_FALSE(vh::log_line_matches(line, "", "TKI"));
    EXPECT_FALSE(vh::log_line_matches("garbage", "E", ""));
}

TEST(ScreenView, FrontWindowTextsAndSoftKeys) {
    const auto dump = nlohmann::json::parse(R"({"width":100,"height":200,"active":"b","windows":[
        {"class":"w","caption":"menu","rect":[0,0,100,200],"visible":true,"id":0,"texts":[{"text":"Row","rect":[0,20,100,40],"color":19}],
         "children":[{"class":"bar","caption":"","rect":[0,180,100,200],"visible":true,"id":1,"softkeys":["Pass","","Fail"],"texts":[],"children":[]}]},
        {"class":"w","caption":"test","rect":[0,20,100,180],"visible":true,"id":0,"texts":[],
         "children":[{"class":"static","caption":"","rect":[0,20,100,40],"visible":true,"id":20,"texts":[{"text":"Title here","rect":[10,20,90,40],"color":19}],"children":[]}]},
        {"class":"w","caption":"hidden","rect":[0,0,100,200],"visible":false,"id":0,"texts":[{"text":"no","rect":[0,0,1,1],"color":1}],"children":[]},
        {"class":"bar","caption":"status","rect":[0,0,100,10],"visible":true,"id":0,"texts":[{"text":"80%","rect":[0,0,10,10],"color":1}],"children":[]}]})");
    const vh::ScreenView view(dump);
    EXPECT_EQ(view.front_caption(), "test");
    EXPECT_FALSE(view.front_covers_screen());
    EXPECT_EQ(view.soft_keys(), (std::vector<std::string>{"Pass", "", "Fail"}));
    EXPECT_TRUE(view.front_shows("Title here"));
    EXPECT_FALSE(view.front_shows("Row"));
    EXPECT_EQ(view.find("Title")->x(), 50);
    EXPECT_TRUE(view.shows("80%"));
    EXPECT_FALSE(view.shows("no"));
    EXPECT_TRUE(vh::ScreenView{nlohmann::json::object()}.all().empty()); // nothing but the frame of a description
}
