// The check of the configuration files: one row per rule, and that its table knows all that the program asks for.
#include "lint/lint.h"
#include "lint/names.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <regex>

#include "booted.h"
#include "support/files.h"

namespace {
using vh::TextKind;

// "LINE: TEXT|LINE: TEXT", without those that hold `but`.
std::string findings(const std::string &bytes, TextKind kind, bool installed = false, const std::string &but = "\n") {
    std::string all;
    for (const vh::Finding &finding : vh::lint_text(bytes, kind, installed))
        if (finding.text.find(but) == std::string::npos)
            all += (all.empty() ? "" : "|") + std::to_string(finding.line) + ": " + finding.text;
    return all;
}
std::string of_config(const std::string &bytes, bool installed = false) { return findings(bytes, TextKind::config, installed); }
// Without the demands of a whole language.
std::string of_texts(const std::string &bytes, bool installed = false) {
    return findings(bytes, TextKind::language, installed, "] lacks '");
}

struct Row {
    std::string text;
    const char *expected; // a part; empty: no findings at all
    bool installed = false;
};

void expect_rows(const std::vector<Row> &rows, const std::function<std::string(const std::string &, bool)> &lint) {
    for (const Row &row : rows) {
        const std::string found = lint(row.text, row.installed);
        if (*row.expected)
            EXPECT_NE(found.find(row.expected), std::string::npos) << row.text << "\nfound: " << found;
        else
            EXPECT_EQ(found, "") << row.text;
    }
}

std::string many(int count, const std::string &line) {
    std::string text;
    for (int i = 0; i < count; ++i) text += std::regex_replace(line, std::regex("@"), std::to_string(i));
    return text;
}

std::vector<std::array<std::string, 3>> all_matches(const std::string &text, const std::string &pattern) {
    std::vector<std::array<std::string, 3>> found;
    const std::regex expression(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        found.push_back({at->str(0), at->size() > 1 ? at->str(1) : "", at->size() > 2 ? at->str(2) : ""});
    return found;
}

std::map<std::string, std::string> program_sources() {
    std::map<std::string, std::string> sources;
    const std::string root = booted::source_dir() + "/server";
    for (const auto &entry : std::filesystem::recursive_directory_iterator(root))
        if (const auto &path = entry.path(); path.extension() == ".cpp" || path.extension() == ".h")
            sources[std::filesystem::relative(path, root).string()] = files::get(path.string());
    return sources;
}

} // namespace

TEST(Lint, Lines) {
    const std::string long_key(256, 'k'), fits(254, 'v');
    expect_rows(
        {
            {"# comment\n\n[MMI]\n \t\nLanguage=English\n", ""},
            {"[MMI]\r\nLanguage=English\r\n", "", true},
            {"UEShape=0\n[MMI]\n", "1: stands before the first [SECTION]"},
            {"[MMI]\nUEShape 0\n", "2: no '='"},
            {"[MMI]\n=0\n", "2: nothing before '='"},
            {"[MMI]\n" + long_key + "=0\n", "2: the key has more than 255 bytes"},
            {"[MMI]\nLogPath=" + fits + "\n", ""},
            {"[MMI]\nLogPath=" + fits + "v\n", "2: the value of 'LogPath' has 255 bytes in GBK"},
            {"[MMI]\nLogPath=" + std::string(2036, 'x') + "\n", "the value of 'LogPath' has 2036"},
            {"[MMI]\nLogPath=" + std::string(2038, 'x') + "\n", "2: the line has 2048 bytes with its end"},
            {"[MMI]\n[]\n", "2: malformed section line"},
            {"[MMI\nUEShape=0\n", "1: malformed section line"},
            {"[" + long_key + "]\n", "1: malformed section line"},
            {std::string("[MMI]\nUEShape=0\0\n", 17), "2: a zero byte"},
        },
        of_config);
}

TEST(Lint, LineEndsAndEncoding) {
    const std::string gbk = "\xb7\xb5\xbb\xd8"; // two characters
    expect_rows(
        {
            {"[Chinese]\nsoftkeybar_back=返回\n", ""},   // as the installer converts it
            {"[Chinese]\r\nsoftkeybar_back=返回\n", "2: the line does not end in CR LF"}, // mixed
            {"[Chinese]\nsoftkeybar_back=返回", "2: the line does not end in CR LF, so the value of 'softkeybar_back' loses"},
            {"[Chinese]\nsoftkeybar_back=" + gbk + "\n",
             "2: the line does not end in CR LF"}, // no UTF-8: copied as it stands
            {"[Chinese]\r\nsoftkeybar_back=" + gbk + "\r\n", ""},
            {"[Chinese]\nsoftkeybar_back=x\n", "2: the line does not end in CR LF", true},
            {"# only a comment\n[Chinese]\n", "", true}, // nothing is lost there
            {"[Chinese]\r\nsoftkeybar_back=返回\r\n", "1: the texts are UTF-8", true},
            {"[Chinese]\nsoftkeybar_back=\xf0\x9f\x98\x80\n", "2: '\xf0\x9f\x98\x80' is not in GBK"},
            {"[Chinese]\r\nsoftkeybar_back=\xb7\xff\r\n", "2: the bytes B7 are no GBK"},
            {"\xEF\xBB\xBF[Chinese]\nsoftkeybar_back=Back\n", "1: a byte order mark"},
        },
        of_texts);
}

TEST(Lint, HiddenEntries) {
    expect_rows(
        {
            {"[MMI]\nUEShape=0\nUEShape=1\n", "3: 'UEShape' is never read: the section has it already (line 2)"},
            {"[MMI]\nUE=1\nUEShape=0\n", "3: 'UEShape' is never read: 'UE', with which it begins, answers first (line 2)"},
            {"[TKI]\nenable=1\n[TKI_LCD]\nenable=0\n", "4: 'enable' is never read: section [TKI]"},
            {"[TKI_LCD]\nenable=1\n[MMI]\nUEShape=0\n[TKI_LCD]\nenable=0\n", "6: 'enable' is never read"},
            {"[MMI]\nUEShape=0\n[TKI_LCD]\nenable=1\n[MMI]\naux_lcd=0\n", ""}, // a section in two pieces is read
        },
        of_config);
    EXPECT_NE(of_texts("[Eng]\ninfo_No=a\n[English]\ninfo_No=b\n").find("4: 'info_No' is never read"),
              std::string::npos);
    EXPECT_EQ(of_texts("[English]\ninfo_FTMPowerOffNote=a\ninfo_FTMPowerOffNote1=b\n"), "")
        << "texts are looked up exactly";
}

TEST(Lint, NamesAndValuesOfTheConfiguration) {
    expect_rows(
        {
            {"[TKI_LCd]\nenable=1\n", "1: nothing reads section [TKI_LCd]; did you mean 'TKI_LCD'?"},
            {"[TKI_LCD]\nenabel=1\n", "2: nothing reads 'enabel' of [TKI_LCD]; did you mean 'enable'?"},
            {"[MAIN_UI]\nzzzzzzzz=1\n", "2: nothing reads 'zzzzzzzz' of [MAIN_UI]"},
            {"[TKI_LCD]\nenable=yes\n", "2: 'enable': 'yes' is no whole number"},
            {"[TKI_LCD]\nenable=\n", ""}, // the default
            {"[TKI_BATTERY]\nparameter=thresholdval:-300;batterylevel:80;\n", ""},
            {"[TKI_BATTERY]\nparameter=thresholdval:3x\n", "thresholdval: '3x' is no whole number"},
            {"[GSM_NS_TEST]\nparameter=max_Primarylimit:-60.5;Channel:6.2\n",
             "2: 'parameter': Channel: '6.2' is no whole number"},
            {"[TKI_KEYS]\nparameter=VOLUME:1\n", "nothing reads a pair 'VOLUME'"},
            {"[TKI_KEYS]\nparameter=HOME:1;BACK;TV:1\n", "'BACK' has no ':', which ends the list; what follows is not read"},
            {"[TKI_KEYS]\nparameter=:1;TV:1\n", "a pair without a name"},
            {"[TKI_KEYS]\nparameter=a\n", "fewer than 3 characters"},
            {"[TKI_KEYS]\nparameter=TV:1;TV:0\n", "pair 'TV' is never read"},
            {"[TKI_AGING]\ncameratest=times:3;time:1\n", "pair 'time' is never read: 'times' stands before it"},
            {"[TKI_KEYS]\nparameter=" + many(12, "K@:1;") + "TV:1\n", "more than 12 pairs"},
            {"[TKI_KEYS]\nparameter=" + many(40, "K@0000:1;") + "TV:1\n", "bytes in GBK; only 254 are kept"},
        },
        of_config);
}

TEST(Lint, LanguageTexts) {
    expect_rows(
        {
            {"[X]\ninfo_yes=Y\n", "2: no screen shows 'info_yes'; did you mean 'info_Yes'?"},
            {"[X]\ninfo_Yes=\n", "2: 'info_Yes' is empty"},
            {"[X]\nbatteryLevelWaring=Low\n", "2: 'batteryLevelWaring' has lost its %d"},
            {"[X]\n" + many(2000, "k@=v\n"), "2001: more than 1999 texts"},
        },
        of_texts);
    EXPECT_NE(
        findings("[A]\ninfo_Yes=Y\n[B]\ninfo_No=N\n", TextKind::language).find("3: [B] lacks 'info_Yes'"),
        std::string::npos);
}

TEST(Lint, Files) {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/vxo-lint.XXXXXX";
    const std::string folder = mkdtemp(pattern.data()), config = folder + "/c.ini";
    const std::string shipped = booted::source_dir() + "/virtual/rootfs/", language = shipped + "tki_language.ini";
    files::put(config, "[MMI]\nLanguage=Italian\n");
    const std::vector<std::string> one{config + ":2: the language file has no section [Italian]"};
    EXPECT_EQ(vh::lint_files(config, language, false), one);
    EXPECT_TRUE(vh::lint_files(config, "", false).empty());
    EXPECT_THROW(vh::lint_files(folder + "/none.ini", "", false), std::runtime_error);
    EXPECT_THROW(vh::lint_files(folder, "", false), std::runtime_error);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(vh::lint_files(shipped + "tki_config.ini", language, false), std::vector<std::string>{});
}

// ---- the table and the program

TEST(LintNames, EverythingThatTheProgramAsksFor) {
    struct Rule {
        const char *pattern, *give_a_row;
        std::function<bool(const std::array<std::string, 3> &)> known;
        int at_least;
    };
    const auto known_text = [](const std::string &key) {
        return std::count(std::begin(vh::SHOWN_TEXTS), std::end(vh::SHOWN_TEXTS), key) > 0;
    };
    const auto text = [&](const auto &match) { return match[1] == "menu_picture" || known_text(match[1]); }; // a window class
    const auto setting = [](const auto &match) {
        const std::string found = findings("[" + match[1] + "]\n" + match[2] + "=1\n", TextKind::config);
        return found.find("nothing reads") == std::string::npos;
    };
    const auto item = [&](const auto &match) {
        return known_text(match[1]) && std::count(std::begin(vh::ITEM_SECTIONS), std::end(vh::ITEM_SECTIONS), match[2]) > 0;
    };
    const auto pair = [](const auto &match) {
        return std::any_of(std::begin(vh::KNOWN_NAMES), std::end(vh::KNOWN_NAMES),
                           [&](const auto &known) { return known.pair && known.pair == match[1]; });
    };
    const Rule rules[] = {
        {R"re((?:Read_MainCfgFile|main_config_int)\("(\w+)",\s*"(\w+)")re", "KNOWN_NAMES", setting, 9},
        {R"re(\{\d+, "(\w+)", \w+,\s*\w+,\s*"(TKI_\w+)")re", "SHOWN_TEXTS, ITEM_SECTIONS", item, 22},
        {R"re((?:tki_config_get_para_value|parameter_value)\(\w+, \w+, "(\w+)")re", "KNOWN_NAMES", pair, 2},
        {R"re("((?:title|menu|info|softkeybar|Result)_\w+|[Bb]attery(?:Charging_|[A-Z]\w*War)\w*)")re", "SHOWN_TEXTS", text, 90},
        {R"re((?:lang_text|Read_LangCfgFromList)\("(\w+)")re", "SHOWN_TEXTS", text, 10}};
    const std::map<std::string, std::string> sources = program_sources();
    for (const Rule &rule : rules) {
        int found = 0;
        for (const auto &[path, source] : sources)
            for (const auto &match : all_matches(source, rule.pattern)) {
                EXPECT_TRUE(rule.known(match)) << path << ": " << match[0] << ": virtual/lint/names.h, " << rule.give_a_row;
                ++found;
            }
        EXPECT_GE(found, rule.at_least) << rule.pattern;
    }
    // Those two pass on names that others give; anybody else names section and key in the call, so that they are seen above.
    for (const auto &[path, source] : sources)
        if (path != "config/test_items.cpp" && !path.starts_with("config/main_config."))
            for (const auto &match : all_matches(source, R"re((?:Read_MainCfgFile|main_config_int)\((?!"\w+",\s*"\w+")[^)]*\))re"))
                ADD_FAILURE() << path << ": " << match[0] << ": write section and key as literals";
}
