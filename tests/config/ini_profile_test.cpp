#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>

#include "config/ini_profile.h"
#include "support/files.h"

namespace {
constexpr const char *PATH = "/data/profile.ini";

std::string read_value(const std::string &text, const char *section, const char *key) {
    files::put(PATH, text);
    char out[64] = {};
    return read_profile_string(section, key, out, sizeof out, nullptr, PATH) == 0 ? out : "(none)";
}
} // namespace

TEST(IniProfile, FindsSectionsAndKeys) {
    struct { const char *text, *section, *key, *value; } rows[] = {
        {"[ sec\t]\n  key  =  value  \n", "sec", "key", "value"},
        {"[sec]\r\nkey=two words \t\r\n", "sec", "key", "two words"},
        {"[sec]\nKey=1\nkeyx=2\n", "sec", "key", "(none)"},
        {"[Sec]\nkey=1\n", "sec", "key", "(none)"},
        {"[sec]\n;key=1\n=key=2\nkey 3\nkey=4=5\n", "sec", "key", "4=5"},
        {"key=0\n[other]\nkey=1\n[sec]\nkey=2", "sec", "key", "2"},
        {"[sec]\na=1\n[other]\nkey=2\n[sec]\nkey=3\n", "sec", "key", "3"}, // a repeated section
        {"[sec]\n[sec]\nkey=3\n", "sec", "key", "3"},
        {"[sec]\nx=[sec]\nkey=1\n", "sec", "key", "1"}, // only a "[" that begins a line is a header
        {"[sec] key=1\n", "sec", "key", "1"},
        {"[sec]\nkey=\nother=1\n", "sec", "key", ""},
        {"[open\n[sec]\nkey=1\n", "sec", "key", "1"},
        {"[sec", "sec", "key", "(none)"},
        {"", "sec", "key", "(none)"},
        {"[sec]\na=1\n\xff\nkey=1\n", "sec", "key", "(none)"}, // a byte 0xFF ends the text
    };
    for (const auto &row : rows) EXPECT_EQ(read_value(row.text, row.section, row.key), row.value) << row.text;
}

TEST(IniProfile, ReadsIntoSmallBuffers) {
    files::put(PATH, "[s]\nk=abcdef\nn=12ab\nt=x\n");
    char out[5] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(read_profile_string("s", "k", out, 4, nullptr, PATH), 0);
    EXPECT_EQ(std::string(out, 5), std::string("abc\0#", 5));
    EXPECT_EQ(read_profile_string("s", "none", out, 4, "12345", PATH), -1);
    EXPECT_EQ(std::string(out, 5), "1234#") << "a default that fills the buffer gets no terminator";
    EXPECT_EQ(read_profile_int("s", "n", 5, PATH), 12);
    EXPECT_EQ(read_profile_int("s", "t", 5, PATH), 0);
    EXPECT_EQ(read_profile_int("s", "none", 5, PATH), 5);
    EXPECT_EQ(read_profile_int("s", "n", 7, "/data/none.ini"), 7);
}

TEST(IniProfile, RewritesInPlace) {
    struct { const char *before, *key, *value, *after; } rows[] = {
        {"", "key", "value", "[sec]\nkey=value\n"},
        {"; c\r\n[sec]\r\n a = 1 \r\nkey  =  old\t \r\n[z]\r\n", "key", "n",
         "; c\r\n[sec]\r\n a = 1 \r\nkey  =  n\t \r\n[z]\r\n"},
        {"[sec]\nkey=\nb=1\n", "key", "v", "[sec]\nkey=v\nb=1\n"},
        {"[sec]\nb=1\n", "key", "v", "[sec]\nkey=v\nb=1\n"},
        {"[sec]\r\nb=1\r\n", "key", "v", "[sec]\rkey=v\n\nb=1\r\n"}, // between CR and LF: accepted as it is
        {"[sec]", "key", "v", "[sec]\nkey=v\n"},
        {"[other]\nkey=1", "key", "v", "[other]\nkey=1\n[sec]\nkey=v\n"},
        {"[sec", "key", "v", "[sec\n[sec]\nkey=v\n"},
    };
    for (const auto &row : rows) {
        files::put(PATH, row.before);
        EXPECT_EQ(write_profile_string("sec", row.key, row.value, PATH), 0);
        EXPECT_EQ(files::get(PATH), row.after) << row.before;
        char out[16] = {};
        EXPECT_EQ(read_profile_string("sec", row.key, out, sizeof out, nullptr, PATH), 0);
        EXPECT_STREQ(out, row.value);
    }
    std::filesystem::remove(PATH);
    EXPECT_EQ(write_profile_int("sec", "n", -7, PATH), 0);
    EXPECT_EQ(files::get(PATH), "[sec]\nn=-7\n");
}

TEST(IniProfile, RefusesWhatItCannotKeepWhole) {
    const std::string fits = "[s]\nk=1\n;" + std::string(16384 - 10, 'x');
    EXPECT_EQ(read_value(fits, "s", "k"), "1");
    EXPECT_EQ(write_profile_string("s", "k", "123", PATH), -1) << "would reach 16 KiB";
    EXPECT_EQ(files::get(PATH), fits);
    const std::string large = fits + "x";
    EXPECT_EQ(read_value(large, "s", "k"), "(none)");
    EXPECT_EQ(write_profile_string("s", "k", "2", PATH), -1);
    EXPECT_EQ(files::get(PATH), large);
    EXPECT_EQ(write_profile_string("s", "k", "2", "/data/no-folder/x.ini"), -1);
    EXPECT_EQ(write_profile_string("s", "k", "2", "/dev/full"), -1) << "told when the file is closed";
}
