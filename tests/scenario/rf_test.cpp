// RF coupling on a whole handset: the modem is the virtual kernel's, the library in between the product's.
#include "scenario/runs.h"

namespace {
constexpr char COMMAND[] = "/sys/class/modem/modem0/command";
constexpr int GREEN = 10, RED = 12;
using Words = std::vector<std::string>;

struct Rf {
    explicit Rf(const Words &sections = {}) : handset({.speed = runs::FAST, .settings = settings(sections)}) {
        handset.tap_text("RF coupling");
        handset.wait_for_text("Measurement");
    }
    static std::vector<Setting> settings(const Words &sections) {
        std::vector<Setting> all{{"MAIN_UI", "coupleTest", "1"}};
        for (const std::string &section : sections) all.push_back({section, "enable", "1"});
        return runs::settings(all);
    }
    void radio(Words arguments) {
        arguments.insert(arguments.begin(), "radio");
        const auto outcome = handset.tool(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
    }
    // What the modem was asked since the boot, without the numbers.
    Words calls() const {
        Words all;
        const auto answer = handset.client().request({{"op", "writes"}});
        for (const auto &write : answer.at("writes"))
            if (const std::string text = write[1]; write[0] == COMMAND) all.push_back(text.substr(text.find(' ') + 1));
        return all;
    }
    void open() {
        handset.tap_text("Measurement");
        handset.wait_for("the start key", [](const vh::ScreenView &view) { return view.soft_keys()[1] == "start"; });
    }
    void start() {
        open();
        runs::tap_softkey(handset, 1);
    }
    void shows(const std::string &text, int color = -1) {
        handset.wait_for(text, [&](const vh::ScreenView &view) {
            const auto found = view.find(text);
            return view.front_shows(text) && (color < 0 || found->color == color);
        }, 30000);
    }
    void close(const std::string &key = "fail") {
        handset.press(key);
        handset.wait_for_text("Measurement", 30000);
    }
    Handset handset;
};
} // namespace

TEST(Rf, LimitsCountAndEachReadingMovesTheBar) {
    Rf rf({"LTE_NS_TEST"});
    rf.radio({"LTE", "--primary", "-60.5", "--secondary", "-80.5", "--spread", "0"});
    rf.open();
    const Words opened{"Command_init", "GetModemMode", "SetModemMode 4", "SetModemMode 3"};
    rf.handset.wait_until("factory test mode", [&] { return rf.calls() == opened; });
    rf.shows("LTE Primary");
    rf.shows("BC:3/CH:1575");
    runs::tap_softkey(rf.handset, 1);
    rf.shows("测量值:-60.50dbm", GREEN);
    rf.shows("测量值:-80.50dbm", GREEN);
    rf.shows("Pass", GREEN);
    EXPECT_FALSE(rf.handset.screen().front_shows("Fail"));
    const Words calls = rf.calls();
    const Words cycle{"LTE_NS_START", "LTE_NS_ACQ 2 1575", "LTE_NS_START_DP 14 1 23 1 2", "LTE_NS_GET_DP_LEVEL 0",
                      "LTE_NS_GET_DP_LEVEL 1"};
    ASSERT_GE(calls.size(), 9U);
    EXPECT_EQ(Words(calls.begin() + 4, calls.begin() + 9), cycle);

    rf.radio({"LTE", "--primary", "-60.49"});
    rf.shows("测量值:-60.49dbm", RED);
    rf.shows("Fail", RED);
    // The newest reading stands at the right end of the bar, in the line of the limits.
    const int x = 720 - 720 / 48 - 6, y = rf.handset.screen().find("-80.5 < -70.0 < -60.5")->y();
    const auto newest = [&] { return rf.handset.client().pixel(x, y); };
    const uint32_t bad = newest();
    rf.radio({"LTE", "--primary", "-65"});
    rf.shows("测量值:-65.00dbm", GREEN);
    rf.handset.wait_until("a bar that has moved", [&] { return newest() != bad; });
    rf.close();
    EXPECT_EQ(rf.calls().back(), "Command_uninit");
    EXPECT_EQ(*(rf.calls().end() - 2), "LTE_NS_STOP");
}

TEST(Rf, AllTechnologiesAndReadingsThatNeverCome) {
    Rf rf({"LTE_NS_TEST", "CDMA_NS_TEST", "WCDMA_NS_TEST", "TDSCDMA_NS_TEST", "GSM_NS_TEST"});
    rf.radio({"--fail", "LTE_NS_GET_DP_LEVEL", "--fail", "GSM_NS_BER_RX_LEVEL_REQ"});
    for (const char *technology : {"CDMA", "WCDMA", "TDSCDMA"}) rf.radio({technology, "--spread", "0"});
    rf.radio({"WCDMA", "--primary", "-61.25"});
    rf.start();
    for (const char *name : {"LTE Secondary", "CDMA Primary", "WCDMA Secondary", "TD Primary", "GSM"}) rf.shows(name);
    rf.shows("BC:1/CH:1575"); // GSM's band has taken the place of LTE's
    rf.shows("BC:PGSM/CH:62");
    for (const char *bad : {"测量值:-999.00dbm", "测量值:-9999.00dbm"}) rf.shows(bad, RED);
    for (const char *good : {"测量值:-61.25dbm", "测量值:-72.00dbm"}) rf.shows(good, GREEN);
    rf.radio({"--reset", "--fail", "GSM_BER_update=4"});
    rf.handset.wait_until("an update that comes too late", [&] {
        return rf.handset.log_contains("DIAG_NONSIGNAL_COUPLING", "::Diag_TKI_API_GSM_BER_update fail ret=0");
    });
    rf.close();
}

TEST(Rf, ClosesAtEveryStage) {
    Rf rf({"LTE_NS_TEST"});
    const auto count = [&](const std::string &what) {
        const Words calls = rf.calls();
        return std::count_if(calls.begin(), calls.end(), [&](const std::string &call) { return call.starts_with(what); });
    };
    struct Stage {
        const char *name, *reached; // a call that tells that it is; null: no start
        Words orders;
        const char *key;
    };
    const Stage stages[] = {{"before the start", nullptr, {}, "fail"},
                            {"grace period", "", {}, "88"},
                            {"measurement", "LTE_NS_GET_DP_LEVEL", {}, "fail"},
                            {"retries", "LTE_NS_ACQ", {"--fail", "LTE_NS_ACQ"}, "fail"},
                            {"a call without answer", "LTE_NS_START_DP", {"--silent", "LTE_NS_START_DP"}, "fail"},
                            {"a silent modem", "LTE_NS_ACQ", {"--silent", "LTE_NS_ACQ", "--silent", "LTE_NS_STOP"}, "fail"},
                            {"a mode that is never told", nullptr, {"--silent", "GetModemMode"}, "fail"}};
    for (const Stage &stage : stages) {
        SCOPED_TRACE(stage.name);
        if (!stage.orders.empty()) rf.radio(stage.orders);
        const auto before = stage.reached ? count(stage.reached) : 0;
        rf.open();
        if (stage.reached) runs::tap_softkey(rf.handset, 1);
        if (stage.reached && *stage.reached)
            rf.handset.wait_until(stage.name, [&] { return count(stage.reached) > before; }, 30000);
        if (stage.orders.size() == 4) { // the screen lives on
            rf.handset.tool({"battery", "--charger", "none", "--level", "77"});
            rf.handset.wait_for("the level", [](const vh::ScreenView &view) { return view.shows("77%"); });
        }
        rf.close(stage.key);
        rf.handset.wait_until("the modem's release", [&] {
            const std::string last = rf.calls().back();
            return last == "Command_uninit";
        });
        rf.radio({"--reset"});
    }
    EXPECT_EQ(rf.handset.last(), "start");
}

TEST(Rf, NoModemNoScreen) {
    Rf rf;
    const auto refused = [&](const char *row, const char *tag, const std::string &told) {
        rf.handset.tap_text(row);
        rf.handset.wait_until(told, [&] { return rf.handset.log_contains(tag, told); });
        rf.handset.wait_for_text("Measurement");
    };
    rf.radio({"--fail", "Command_init", "--silent", "SignalCoupling_init"});
    refused("Measurement", "DIAG_NONSIGNAL_COUPLING", "TKI_API_Command_init fail.");
    refused("Signalling", "SIGNAL_COUPLING", "TKI_API_SignalCoupling_init fail.");
    rf.radio({"--reset", "--absent", "Command_uninit", "SignalCoupling_uninit"});
    refused("Measurement", "DIAG_NONSIGNAL_COUPLING", "FATAL ERROR: could not dlsym TKI_API_Command_uninit");
    refused("Signalling", "SIGNAL_COUPLING", "FATAL ERROR: could not dlsym TKI_API_SignalCoupling_uninit");
    rf.radio({"--reset"});
    EXPECT_EQ(rf.handset.tool({"unfit", "modem"}).status, 0);
    refused("Measurement", "MODEM", "no modem: /sys/class/modem/modem0/command: No such file");
    EXPECT_EQ(rf.handset.tool({"fit", "modem"}).status, 0);
    rf.radio({"--reset"});
    rf.open(); // with nothing enabled: an empty screen
    runs::tap_softkey(rf.handset, 1);
    rf.close();
    rf.handset.press("pass"); // leaves the menu of the two
    rf.handset.wait_for_text("Device tests");
    EXPECT_NE(rf.handset.tool({"radio", "LTE4", "--primary", "1"}).output.find("one of: LTE, CDMA"), std::string::npos);
    EXPECT_NE(rf.handset.tool({"radio", "--fail", "LTE_ACK=3"}).output.find("no operation 'LTE_ACK'; one of: all, "), std::string::npos);
    EXPECT_NE(rf.handset.tool({"radio", "GSM", "--primary", "900"}).output.find("is -150 to 50"), std::string::npos);
}

TEST(SignalCoupling, TakesTheModemOnline) {
    Rf rf;
    const std::string set = "SignalCoupling_setModemMode", failed = "设置modem为online模式失败!";
    struct Row {
        Words orders;
        std::string shown;
        Words modes; // asked for
    };
    const Row rows[] = {{{}, "Modem is online", {"5", "4"}},
                        {{"--fail", set + "=1"}, "Modem is online", {"5", "4", "5", "4"}},
                        {{"--fail", set + "=2"}, failed, {"5", "4"}},
                        {{"--silent", set}, failed, {"5", "4"}}};
    for (const Row &row : rows) {
        if (!row.orders.empty()) rf.radio(row.orders);
        const size_t before = rf.calls().size();
        rf.handset.tap_text("Signalling");
        rf.shows(row.shown);
        rf.close();
        rf.radio({"--reset"});
        Words expected{"SignalCoupling_init"};
        for (const std::string &mode : row.modes) expected.push_back(set + " " + mode);
        expected.push_back("SignalCoupling_uninit");
        const Words calls = rf.calls();
        EXPECT_EQ(Words(calls.begin() + static_cast<long>(before), calls.end()), expected) << row.shown;
    }
    rf.handset.tap_text("Signalling");
    rf.handset.wait_until("low power", [&] { return rf.calls().back() == set + " 5"; });
    rf.close(); // waits for the switch
    EXPECT_NE(rf.handset.tool({"radio"}).output.find("mode 4 "), std::string::npos);
}
