// The registry, the parser with all that the table relies on, and the dispatcher.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "adbd_connection/at_thread.h"
#include "adbd_connection/channel_library.h"
#include "adbd_connection/handlers.h"

namespace {
std::string called, argument;
int32_t answer = 1;

template <char Name> int32_t handler(const char *in, int32_t size, char *out, int32_t maxoutlen) {
    called = Name;
    argument = in;
    EXPECT_EQ(static_cast<size_t>(size), strlen(in));
    if (out && maxoutlen > 0) out[0] = 'r';
    return answer;
}
constexpr CommandHandler A = handler<'A'>, B = handler<'B'>, C = handler<'C'>;

// The one longer word that stands before the shorter it begins with ("Micro"). Kept: see the test of the scripts' words.
constexpr char MICRO_HEADSET[] = "audioMoudle testItem MicroHeadset";

class ParserTest : public testing::Test {
protected:
    void SetUp() override {
        clear_command_registry();
        called = argument = "";
        answer = 1;
    }
    void TearDown() override { clear_command_registry(); }
    static void add(std::initializer_list<CommandRow> rows) {
        for (const CommandRow &row : rows) ASSERT_EQ(registerModule(row.cmd, row.action, row.fun, 1), 0);
    }
    // "status handler:argument"
    static std::string process(const std::string &line) {
        called = argument = "";
        const int status = AtCommandProcess(line.c_str(), nullptr, 0);
        return std::to_string(status) + (called.empty() ? "" : " " + called + ":" + argument);
    }
    static void add_table() {
        for (const CommandRow &row : g_command_table) ASSERT_EQ(registerModule(row.cmd, row.action, row.fun, 1), 0);
    }
    static CommandHandler lookup(const std::string &line, std::string *arg = nullptr) {
        CommandHandler fun = nullptr;
        char parm[256] = {};
        const int status = parseCommand(line.c_str(), &fun, parm, sizeof parm);
        if (arg) *arg = parm;
        return status == 0 ? fun : nullptr;
    }
};

TEST_F(ParserTest, registering) {
    EXPECT_EQ(process("X"), "2"); // empty registry
    add({{"X", "", A}});
    EXPECT_EQ(registerModule("X", "", B, 0), 3);
    EXPECT_EQ(process("X"), "0 A:");
    EXPECT_EQ(registerModule("X", "", B, 1), 0);
    EXPECT_EQ(process("X"), "0 B:");
    EXPECT_EQ(registerModule("X", "close", C, 0), 0); // another action is another command
    EXPECT_EQ(process("X close"), "0 C:close");
}

TEST_F(ParserTest, selection) {
    add({{"M open", "", A}, {"M open aux", "", B}, {"FM", "", A}, {"FM", "close", B}, {"T off", " ", C}, {"SpeakerM", "", A},
         {"SpeakerMic", "", B}, {"null", "", nullptr}});
    const std::vector<std::pair<std::string, std::string>> rows{
        {"M open", "0 A:"},          {"M open ", "0 A:"},         {"M openX", "0 A:"},
        {"M open 12", "0 A:12"},     {"M open\t12", "0 A:12"},    {"M open aux", "0 B:aux"}, // the cut of the shorter row
        {"M open aux 1", "0 B:1"},   {"FM", "0 A:"},              {"FM 87", "0 A:87"},
        {"FM close", "0 B:close"},   {"FM closed", "0 A:closed"}, {"T off", "0 C:"},
        {"T off ", "0 C:"},          {"T off  ", "0 C: "},        {"T off x", "2"},
        {"SpeakerMic", "0 B:c"},     {"m open", "2"},             {"", "2"},
        {"M ope", "2"},              {"null", "3"},               {"null 1", "3"},
        {"\xff\x01", "2"},
    };
    for (const auto &[line, expected] : rows) EXPECT_EQ(process(line), expected) << line;
}

TEST_F(ParserTest, only_one_is_success) {
    add({{"X", "", A}});
    for (auto [result, status] : {std::pair{1, "0"}, {0, "2"}, {2, "2"}, {-1, "2"}}) {
        answer = result;
        EXPECT_EQ(process("X"), status + std::string(" A:"));
    }
    char reply[4] = "";
    AtCommandProcess("X", reply, sizeof reply);
    EXPECT_STREQ(reply, "r"); // what a failing handler wrote stays
}

TEST_F(ParserTest, long_arguments_are_refused_and_leave_nothing_behind) {
    add({{"X", "", A}, {"X y", "", B}});
    EXPECT_EQ(process("X " + std::string(255, 'a')), "0 A:" + std::string(255, 'a'));
    for (size_t count : {256u, 257u, 1000u, 100000u}) EXPECT_EQ(process("X " + std::string(count, 'a')), "2");
    // The longer row's argument would fit, but the first match's does not: no row is called.
    EXPECT_EQ(process("X y " + std::string(254, 'a')), "2");
    EXPECT_EQ(process("X"), "0 A:");
    EXPECT_EQ(AtCommandProcess(nullptr, nullptr, 0), 2);
    EXPECT_EQ(called, "A");
}

TEST_F(ParserTest, every_row_of_the_table_reaches_its_handler) {
    add_table();
    for (const CommandRow &row : g_command_table) {
        std::string line = row.cmd;
        if (strcmp(row.action, "close") == 0) line += " close";
        ASSERT_EQ(lookup(line), row.fun) << line;
        if (line == MICRO_HEADSET) continue;
        if (!*row.action) line += " 7";
        EXPECT_EQ(lookup(line), row.fun) << line;
    }
}

TEST_F(ParserTest, the_table_keeps_its_order) {
    for (int i = 0; i < COMMAND_ROWS; ++i) {
        for (int j = i + 1; j < COMMAND_ROWS; ++j) {
            const std::string first = g_command_table[i].cmd, second = g_command_table[j].cmd;
            if (first == MICRO_HEADSET) continue;
            EXPECT_FALSE(first != second && first.starts_with(second)) << first << " stands before " << second;
            EXPECT_FALSE(first == second && strcmp(g_command_table[i].action, g_command_table[j].action) == 0) << first;
        }
    }
}

TEST_F(ParserTest, words_that_the_pc_scripts_rely_on) {
    add_table();
    std::string arg;
    EXPECT_EQ(lookup("LCDMoudle testItem FFFFFF aux"), AutoTest_AUX_LCD_White_Start);
    EXPECT_EQ(lookup("FMMoudle testItem 8750", &arg), AutoTest_FM_Start);
    EXPECT_EQ(arg, "8750");
    EXPECT_EQ(lookup("FMMoudle testItem close"), AutoTest_FM_Stop);
    EXPECT_EQ(lookup("audioMoudle testItem SpeakerMic", &arg), AutoTest_audioloop_Watch_Speaker_Mic_Start);
    EXPECT_EQ(arg, "ic");
    // Bare, the loop-back; with an argument the later "Micro" takes the line, and the rest of the word for its argument.
    EXPECT_EQ(lookup(MICRO_HEADSET), AutoTest_audioloop_MicroHeadset_Start);
    EXPECT_EQ(lookup(std::string(MICRO_HEADSET) + " 7", &arg), AutoTest_audioloop_Watch_Mic_Start);
    EXPECT_EQ(arg, "eadset 7");
    EXPECT_EQ(lookup("LCDTurnoffMoudle testItem x"), nullptr);
    EXPECT_EQ(lookup("batteryMoudle testItem chargeing"), AutoTest_battery_charging_Read); // both spellings
    EXPECT_EQ(lookup("forcetouchcomprehensiveMoudle testItem read"), automated_force_touch_calibration_read);
    EXPECT_EQ(lookup("lcdmoudle testItem FFFFFF"), nullptr);
}

// What reaches a row: its handler, by its own words.
TEST_F(ParserTest, pc_scripts_cover_every_row_on_a_whole_handset_and_on_a_bare_one) {
    add_table();
    for (const char *handset : {"default", "bare"}) {
        std::vector<std::pair<std::string, CommandHandler>> lines;
        for (const std::string folder : {handset, "fast"}) { // what waits for an operator, on either
            for (const auto &script : std::filesystem::directory_iterator(VXO_SOURCE "/tests/pc/" + folder)) {
                if (script.path().extension() != ".at") continue;
                std::ifstream file(script.path());
                for (std::string line; std::getline(file, line);)
                    if (const size_t end = line.find(" |"); end != line.npos)
                        lines.emplace_back(line.substr(0, end), lookup(line.substr(0, end)));
            }
        }
        for (const CommandRow &row : g_command_table)
            EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const auto &line) {
                return line.second == row.fun && line.first.starts_with(row.cmd);
            })) << handset << ": no line of tests/pc/" << handset << "/*.at for " << row.cmd << " " << row.action;
    }
}

TEST_F(ParserTest, without_the_device_library_there_is_no_channel) {
    EXPECT_EQ(Get_libcoredevice_Interface(), -1);
    EXPECT_EQ(AtThreadStart(), -1);
    EXPECT_EQ(lookup("vibratorMoudle testItem open"), nullptr);
}
} // namespace
