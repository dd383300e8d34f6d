// The files that every handset gets: they convert, they obey the reader's rules, and the script that changes one is careful.
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iconv.h>
#include <map>
#include <set>
#include <sstream>
#include <vector>

namespace {
namespace fs = std::filesystem;

std::string source_folder() {
    const char *set = getenv("VXO_SOURCE");
    return set ? set : ".";
}
std::string rootfs(const std::string &name) { return source_folder() + "/virtual/rootfs/" + name; }

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string to_gbk(std::string text) {
    iconv_t handle = iconv_open("GBK", "UTF-8");
    std::string out(text.size() * 2, '\0');
    char *from = text.data(), *to = out.data();
    size_t left = text.size(), room = out.size();
    const size_t result = iconv(handle, &from, &left, &to, &room);
    iconv_close(handle);
    EXPECT_NE(result, static_cast<size_t>(-1)) << "not in GBK: " << text;
    out.resize(out.size() - room);
    return out;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;
std::map<std::string, Pairs> domains_of(const std::string &path) {
    std::map<std::string, Pairs> domains;
    std::istringstream lines(content(path));
    std::string line, current;
    while (std::getline(lines, line)) {
        EXPECT_EQ(line.find('\r'), std::string::npos) << "kept with LF; the installer adds CR";
        const size_t equals = line.find('=');
        if (line.starts_with('[')) current = line.substr(1, line.find(']') - 1);
        else if (!line.starts_with('#') && equals != std::string::npos)
            domains[current].emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
    return domains;
}

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
        const std::string command = "/bin/sh " + rootfs("system/bin/modify_tki_config.sh") + " '" + section + "' '" + key +
                                    "' '" + value + "' '" + file + "' 2>/dev/null";
        return system(command.c_str());
    }
    void write(const std::string &text) { std::ofstream(file, std::ios::binary) << text; }
    std::string folder, file;
};
} // namespace

TEST(Rootfs, ValuesFitTheProgramsBuffers) {
    for (const char *name : {"tki_config.ini", "tki_language.ini"})
        for (const auto &[domain, pairs] : domains_of(rootfs(name)))
            for (const auto &[key, value] : pairs) {
                EXPECT_LT(to_gbk(value).size(), 255U) << name << " " << key; // with the CR
                EXPECT_FALSE(value.empty()) << name << " [" << domain << "] " << key << ": an empty value is no entry";
            }
}

// The reader takes the first key, and the first domain, that the requested name begins with.
TEST(Rootfs, NoKeyOrDomainHidesALongerOne) {
    const auto domains = domains_of(rootfs("tki_config.ini"));
    for (const auto &[a, pairs] : domains) {
        for (const auto &[b, ignored] : domains) EXPECT_FALSE(a != b && b.starts_with(a)) << "[" << a << "] hides [" << b << "]";
        for (size_t i = 0; i < pairs.size(); ++i)
            for (size_t later = i + 1; later < pairs.size(); ++later)
                EXPECT_FALSE(pairs[later].first.starts_with(pairs[i].first)) << pairs[i].first << " hides " << pairs[later].first;
    }
}

TEST(Rootfs, BothLanguagesHaveTheSameKeysOnce) {
    const auto domains = domains_of(rootfs("tki_language.ini"));
    ASSERT_EQ(domains.size(), 2U);
    std::array<std::set<std::string>, 2> keys;
    const std::array names{"Chinese", "English"};
    for (size_t i = 0; i < 2; ++i)
        for (const auto &[key, value] : domains.at(names[i])) EXPECT_TRUE(keys[i].insert(key).second) << key << " twice";
    EXPECT_EQ(keys[0], keys[1]);
    for (const auto &[name, pairs] : domains)
        for (const auto &[key, value] : pairs) {
            const bool format = key == "batteryLevelWaring"; // the one text that is handed to a formatter
            EXPECT_EQ(value.find('%') != std::string::npos, format) << key;
            EXPECT_TRUE(!format || value.find("%d") != std::string::npos);
        }
}

TEST_F(ModifyScript, ChangesOneLineAndKeepsTheRest) {
    write("# \xd6\xd0\r\n[A]\r\nmmi_flag=1\r\n[MMI]\r\n#mmi_flag=9\r\n mmi_flag = 1\r\nmmi_flag_x=7\r\n");
    ASSERT_EQ(modify("MMI", "mmi_flag", "0"), 0);
    EXPECT_EQ(content(file), "# \xd6\xd0\r\n[A]\r\nmmi_flag=1\r\n[MMI]\r\n#mmi_flag=9\r\nmmi_flag=0\r\nmmi_flag_x=7\r\n");
    ASSERT_EQ(modify("A", "new", "a:1;b:/x"), 0);
    EXPECT_NE(content(file).find("[A]\r\nnew=a:1;b:/x\r\nmmi_flag=1\r\n"), std::string::npos) << content(file);
    ASSERT_EQ(modify("FRESH", "key", "1"), 0);
    EXPECT_TRUE(content(file).ends_with("\r\n[FRESH]\r\nkey=1\r\n")) << content(file);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << "a scratch file was left";
}

TEST_F(ModifyScript, RefusesWhatCouldBeMisread) {
    const std::string before = "[MMI]\r\nkey=1\r\n";
    write(before);
    for (const char *odd : {"", "a b", "$(id)", "`id`", "a\nb", "x=y", "[", "a|b", "*", "a&b", "../\\"}) {
        EXPECT_NE(modify("MMI", "key", odd), 0) << odd;
        EXPECT_NE(modify("MMI", odd, "1"), 0) << odd;
        EXPECT_NE(modify(odd, "key", "1"), 0) << odd;
    }
    EXPECT_NE(modify("MMI", "key", std::string(256, 'x')), 0);
    EXPECT_EQ(content(file), before);
    fs::remove(file);
    EXPECT_NE(modify("MMI", "key", "1"), 0);
    EXPECT_FALSE(fs::exists(file));
}
