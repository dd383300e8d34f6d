// The calls, retries and waits of the five measurements, on a modem library of the test's own: what was called and how long
// was waited becomes one text.
#include <cmath>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "rf/modem_library.h"
#include "rf/ns_config.h"
#include "rf/ns_procedures.h"
#include "support/log_text.h"
#include "support/process.h"

namespace {
std::string g_trace;
std::map<std::string, int> g_failing; // calls that still fail
float g_level = -70;
bool g_recording = false;

void add(const std::string &what) { g_trace += (g_trace.empty() ? "" : " ") + what; }

std::string text_of(int value) { return std::to_string(value); }
std::string text_of(const uint8_t *list) {
    std::string text;
    for (int i = 0; i < 4; ++i) text += std::to_string(list[i]);
    return text;
}
template <class T> std::string text_of(T *) { return ""; } // an output
void put(float *out) { *out = g_level; }
void put(int16_t *out) { *out = static_cast<int16_t>(g_level); }
template <class T> void put(T) {}

const char *g_names[64];
template <int N, class... A> int fake(A... arguments) {
    std::string text;
    [[maybe_unused]] const auto append = [&](const std::string &one) { text += (text.empty() || one.empty() ? "" : ",") + one; };
    (append(text_of(arguments)), ...);
    add(g_names[N] + (text.empty() ? "" : "(" + text + ")"));
    if (int &left = g_failing[g_names[N]]; left > 0) {
        --left;
        return 7;
    }
    (put(arguments), ...);
    return 0;
}
template <int N, class... A> void install(int (*&slot)(A...), const char *name) {
    g_names[N] = name;
    slot = fake<N, A...>;
}

constexpr int FOR_EVER = 1000000;
std::string times(int count, const std::string &text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += (i ? " " : "") + text;
    return all;
}

class Procedures : public testing::Test {
protected:
    void SetUp() override {
#define INSTALL(name) install<__COUNTER__>(g_ns.name, #name);
        NS_COMMON_OPERATIONS(INSTALL)
        NS_LTE_OPERATIONS(INSTALL)
        NS_CDMA_OPERATIONS(INSTALL)
        NS_WCDMA_OPERATIONS(INSTALL)
        NS_TDSCDMA_OPERATIONS(INSTALL)
        NS_GSM_OPERATIONS(INSTALL)
        INSTALL(CDMA_NS_Before_Stop)
        g_ns_config = NsConfig();
        g_ns_config.shared_band = 2;
        g_ns_config.lte.channel = 1575;
        for (bool &on : g_ns_config.data_path) on = true;
        for (bool &on : g_ns_config.traffic_channel) on = true;
        g_ns_config.wcdma.channel = g_ns_config.tdscdma.channel = 10700;
        g_ns_config.gsm.channel = 62;
        g_ns_config.cdma.channel = 387;
        g_ns_config.acq_mode = 3;
        g_level = -70;
        g_failing.clear();
    }
    void TearDown() override { g_ns = NsOperations(); }
    // One measurement: its trace, and what it logged.
    std::string run(int (*measure)(), int result, std::string *logged = nullptr) {
        LogText log;
        g_trace.clear();
        g_recording = true;
        EXPECT_EQ(measure(), result);
        g_recording = false;
        if (logged) *logged = log.take();
        return g_trace;
    }
};

std::string samples(const std::string &read) { return times(5, read + "(0) 1 " + read + "(1) 1"); }

struct Good {
    int (*measure)();
    std::string trace;
};
const Good LTE{Diag_LTE_NS_TEST_START,
               "LTE_NS_START 200 LTE_NS_ACQ(2,1575) 200 LTE_NS_START_DP(14,1,23,1,2) " + samples("LTE_NS_GET_DP_LEVEL") + " LTE_NS_STOP"};
const Good WCDMA{Diag_WCDMA_NS_TEST_START,
                 "WCDMA_NS_CHAIN_TEST_CALL(2) 10 WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(0,0123) 100 "
                 "WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(1,0123) 100 WCDMA_NS_BER_StartSession(208) 100 WCDMA_SetPhoneLoggingState "
                 "100 WCDMA_NS_BER_AcquirePilot(10700) 100 WCDMA_NS_BER_SetupRMC_DCH 100 " + samples("WCDMA_NS_BER_RX_LEVEL_REQ") +
                 " 100 WCDMA_NS_BER_StopSession"};
const Good TDSCDMA{Diag_TDSCDMA_NS_TEST_START,
                   "TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(0,0123) 100 TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(1,0123) 100 "
                   "TDSCDMA_NS_BER_StartSession(208) TDSCDMA_NS_BER_AcquirePilot(10700) 200 "
                   "TDSCDMA_NS_BER_SetupRMC_DCH(0,4,2,23,1) 200 " + samples("TDSCDMA_NS_BER_RX_LEVEL_REQ") +
                   " TDSCDMA_NS_BER_StopSession"};
const Good CDMA{Diag_CDMA2000_NS_TEST_START,
                "CDMA_NS_START CDMA_NS_SECOND_CHAIN_TEST_CALL(2) CDMA_NS_Pilot_ACQ(0,387,3) 10 CDMA_NS_DEMOD_SYNC "
                "CDMA_NS_RX_LEVEL_REQ(0) 1000 CDMA_NS_RX_LEVEL_REQ(1) CDMA_NS_Before_Stop CDMA_NS_Stop"};
const Good GSM{Diag_GSM_NS_TEST_START,
               "GSM_NS_BER_StartSession 100 GSM_NS_Get_log 100 GSM_NS_Set_BCCH(62,0) 200 GSM_BER_update GSM_NS_Set_TCH(3,3,0) 200 " +
                   times(5, "GSM_NS_BER_RX_LEVEL_REQ 0.5") + " GSM_NS_BER_ReleaseTCH GSM_NS_BER_StopSession"};

// Fails for good: what follows the good trace up to its first call, with the waits between; then what comes behind it.
struct Failing {
    const Good *good;
    const char *operation, *logged;
    int calls;
    std::string pause, behind;
    bool paused_at_last = false;
    int result = 0;
};
const std::string LTE_END = " LTE_NS_STOP", WCDMA_END = " 100 WCDMA_NS_BER_StopSession", TD_END = " TDSCDMA_NS_BER_StopSession",
                  CDMA_END = " CDMA_NS_Before_Stop CDMA_NS_Stop", GSM_END = " GSM_NS_BER_ReleaseTCH GSM_NS_BER_StopSession";
} // namespace

// Every wait of the product passes here, also those within the runtime.
bool tp_clock_sleep_or_stop_ns(int64_t ns) {
    if (!g_recording) return reinterpret_cast<bool (*)(int64_t)>(dlsym(RTLD_NEXT, "_Z25tp_clock_sleep_or_stop_nsl"))(ns);
    char text[32];
    snprintf(text, sizeof text, "%g", static_cast<double>(ns) / 1e6);
    if (ns > 0) add(text);
    return true;
}

TEST_F(Procedures, CallsAndWaitsOfAGoodMeasurement) {
    for (const Good *good : {&LTE, &WCDMA, &TDSCDMA, &CDMA, &GSM}) EXPECT_EQ(run(good->measure, 0), good->trace);
    g_ns.CDMA_NS_Before_Stop = nullptr; // a library without it
    EXPECT_EQ(run(CDMA.measure, 0), CDMA.trace.substr(0, CDMA.trace.find(" CDMA_NS_Before_Stop")) + " CDMA_NS_Stop");
    for (const auto &[tfcs, order] : {std::pair{1, "(0,0213)"}, {2, "(0,0123)"}}) {
        g_ns_config.wcdma_tfcs = g_ns_config.tdscdma_tfcs = tfcs;
        EXPECT_NE(run(WCDMA.measure, 0).find(order), std::string::npos) << tfcs;
        EXPECT_NE(run(TDSCDMA.measure, 0).find(order), std::string::npos) << tfcs;
    }
    for (bool &on : g_ns_config.data_path) on = false;
    for (bool &on : g_ns_config.traffic_channel) on = false;
    EXPECT_NE(run(LTE.measure, 0).find("START_DP(0,0,0,0,0)"), std::string::npos);
    EXPECT_NE(run(GSM.measure, 0).find("Set_TCH(0,0,0)"), std::string::npos);
}

TEST_F(Procedures, EveryOperationThatFailsForGood) {
    const Failing rows[] = {
        {&LTE, "LTE_NS_START", "::LTE_nonsignal_start fail", 5, "100", LTE_END},
        {&LTE, "LTE_NS_ACQ", "::LTE_nonsignal_ACQ final fail", 5, "500", LTE_END},
        {&LTE, "LTE_NS_START_DP", "::LTE_NS_START_DP fail", 5, "500", LTE_END},
        {&LTE, "LTE_NS_STOP", "::LTE_NS_START_DP fail", 5, "100", "", false, -1},
        {&WCDMA, "WCDMA_NS_CHAIN_TEST_CALL", "::TKI_API_CDMA_NS_START fail", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ", "fail,nloop=5", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_NS_BER_StartSession", "fail,nloop=5", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_SetPhoneLoggingState", "fail,nloop=5", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_NS_BER_AcquirePilot", "::TKI_API_WCDMA_NS_BER_AcquirePilot total fail,nloop=5", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_NS_BER_SetupRMC_DCH", "fail,nloop=5", 5, "100", WCDMA_END},
        {&WCDMA, "WCDMA_NS_BER_StopSession", "::TKI_API_WCDMA_NS_BER_StopSession fail\n", 5, "100", "", false, -1},
        {&TDSCDMA, "TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ", "fail,nloop=5", 5, "100", TD_END, true},
        {&TDSCDMA, "TDSCDMA_NS_BER_StartSession", "fail,nloop=5", 5, "100", TD_END},
        {&TDSCDMA, "TDSCDMA_NS_BER_AcquirePilot", "fail,nloop=5", 5, "", TD_END},
        {&TDSCDMA, "TDSCDMA_NS_BER_SetupRMC_DCH", "::Diag_TKI_API_TDSCDMA_NS_BER_SetupRMC_DCH final fail ", 5, "100", TD_END},
        {&TDSCDMA, "TDSCDMA_NS_BER_StopSession", "::TKI_API_TDSCDMA_NS_BER_StopSession fail\n", 5, "100", "", false, -1},
        {&CDMA, "CDMA_NS_START", "::TKI_API_CDMA_NS_START fail", 1, "", CDMA_END},
        {&CDMA, "CDMA_NS_SECOND_CHAIN_TEST_CALL", "::TKI_API_GSM_NS_START fail", 1, "", CDMA_END},
        {&CDMA, "CDMA_NS_Pilot_ACQ", "::TKI_API_CDMA_NS_Pilot_ACQ fail", 1, "",
         CDMA.trace.substr(CDMA.trace.find(" 10 CDMA_NS_DEMOD"))},
        {&CDMA, "CDMA_NS_DEMOD_SYNC", "::TKI_API_CDMA_NS_DEMOD_SYNC final fail,nloop=10", 10, "1000", "", true, -1},
        {&CDMA, "CDMA_NS_RX_LEVEL_REQ", "::Chain1::nRxLeveldBm10=0.00", 1, "", " 1000 CDMA_NS_RX_LEVEL_REQ(1)" + CDMA_END},
        {&CDMA, "CDMA_NS_Before_Stop", "::Diag_TKI_API_CDMA_Before_Stop fail", 1, "", " CDMA_NS_Stop"},
        {&CDMA, "CDMA_NS_Stop", "::TKI_API_CDMA_NS_Stop fail", 1, "", "", false, -1},
        {&GSM, "GSM_NS_BER_StartSession", "::TKI_API_GSM_NS_START fail", 5, "100", GSM_END, true},
        {&GSM, "GSM_NS_Get_log", "::Diag_TKI_API_GSM_NS_Get_log fail", 5, "100", GSM_END, true},
        {&GSM, "GSM_NS_Set_BCCH", "::TKI_API_GSM_NS_BCCH fail ret= 7", 5, "100", GSM_END},
        {&GSM, "GSM_BER_update", "::Diag_TKI_API_GSM_BER_update fail ret=7", 5, "100", GSM_END},
        {&GSM, "GSM_NS_Set_TCH", "::TKI_API_GSM_NS_Set_TCH fail\n", 5, "100", GSM_END},
        {&GSM, "GSM_NS_BER_ReleaseTCH", "fail,nloop=5", 5, "100", " GSM_NS_BER_StopSession"},
        {&GSM, "GSM_NS_BER_StopSession", "::TKI_API_GSM_NS_BER_StopSession fail\n", 5, "100", "", false, -1},
    };
    for (const Failing &row : rows) {
        SCOPED_TRACE(row.operation);
        const size_t at = (" " + row.good->trace).find(std::string(" ") + row.operation), end = row.good->trace.find(' ', at);
        const std::string call = row.good->trace.substr(at, end - at), pause = row.pause.empty() ? "" : " " + row.pause;
        const std::string failed = times(row.calls - 1, call + pause) + (row.calls > 1 ? " " : "") + call + (row.paused_at_last ? pause : "");
        g_failing = {{row.operation, FOR_EVER}};
        std::string logged;
        EXPECT_EQ(run(row.good->measure, row.result, &logged), row.good->trace.substr(0, at) + failed + row.behind);
        EXPECT_NE(logged.find(row.logged), std::string::npos) << logged;
    }
}

TEST_F(Procedures, ValuesOfReadingsThatFail) {
    struct Row {
        const Good *good;
        const char *operation;
        int failing;
        float level;
        const char *shown;
    };
    const Row rows[] = {
        {&LTE, "LTE_NS_GET_DP_LEVEL", FOR_EVER, -70, "Chain1::nRxLeveldBm10=-999.00"},
        {&LTE, "LTE_NS_GET_DP_LEVEL", 9, -70, "Chain0::nRxLeveldBm10=-70.00"}, // each chain has good samples left
        {&LTE, "LTE_NS_GET_DP_LEVEL", 0, NAN, "Chain0::nRxLeveldBm10=-999.00"}, // no number is no reading
        {&WCDMA, "WCDMA_NS_BER_RX_LEVEL_REQ", FOR_EVER, -70, "primary:TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ fail\n"},
        {&WCDMA, "WCDMA_NS_BER_RX_LEVEL_REQ", FOR_EVER, -70, "Chain1::nRxLeveldBm10=-999.00"},
        {&TDSCDMA, "TDSCDMA_NS_BER_RX_LEVEL_REQ", FOR_EVER, -70, "TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ secondary fail"},
        {&TDSCDMA, "TDSCDMA_NS_BER_RX_LEVEL_REQ", FOR_EVER, -70, "Chain0::nRxLeveldBm10=-999.00"},
        {&CDMA, "CDMA_NS_DEMOD_SYNC", 9, -70, "Chain1::nRxLeveldBm10=-70.00"},
        {&GSM, "GSM_NS_BER_RX_LEVEL_REQ", FOR_EVER, -70, "Chain0::nRxLeveldBm10=-9999.00"},
        {&GSM, "GSM_NS_BER_RX_LEVEL_REQ", 4, -70, "Chain0::nRxLeveldBm10=-70.00"},
        {&GSM, "GSM_BER_update", 3, -70, "Chain0::nRxLeveldBm10=-70.00"},
    };
    for (const Row &row : rows) {
        g_level = row.level;
        g_failing = {{row.operation, row.failing}};
        std::string logged;
        const std::string trace = run(row.good->measure, 0, &logged);
        EXPECT_NE(logged.find(row.shown), std::string::npos) << row.operation << "\n" << logged;
        if (row.failing != FOR_EVER) continue;
        const size_t pairs = static_cast<size_t>(row.good == &GSM ? 5 : 50); // five calls for each of ten samples
        size_t calls = 0;
        for (size_t at = 0; (at = trace.find(row.operation, at)) != std::string::npos; ++at) ++calls;
        EXPECT_EQ(calls, pairs) << trace;
    }
    // The fifth call succeeds, and yet there is no measurement.
    g_failing = {{"GSM_BER_update", 4}};
    std::string logged;
    const std::string up_to = GSM.trace.substr(0, GSM.trace.find("GSM_BER_update"));
    EXPECT_EQ(run(GSM.measure, 0, &logged), up_to + times(4, "GSM_BER_update 100") + " GSM_BER_update" + GSM_END);
    EXPECT_NE(logged.find("::Diag_TKI_API_GSM_BER_update fail ret=0"), std::string::npos) << logged;
}
