// Settings of the measurement, and its library: what is bound, and what is told when something is missing.
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "rf/modem_library.h"
#include "rf/ns_config.h"
#include "support/files.h"
#include "support/log_text.h"
#include "support/process.h"

namespace {
const char *const FILE_NAME = "lib_vxo_signalcoupling.so";

// In a process of its own: loads the built library with one name changed, so that binding by name finds that.
void load_without(const std::string &operation, int result, const std::string &told) {
    process::forked([&] {
        std::string bytes = files::get(std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib" / FILE_NAME);
        const std::string name = std::string(1, '\0') + operation + std::string(1, '\0');
        const size_t at = bytes.find(name);
        ASSERT_NE(at, bytes.npos) << operation;
        bytes[at + 1] = 'X';
        const std::string path = "/tmp/" + operation + ".so";
        files::put(path, bytes);
        ASSERT_TRUE(dlopen(path.c_str(), RTLD_NOW)) << dlerror();
        LogText log;
        EXPECT_EQ(NS_COUPLING_LOAD_LIB(), result) << operation;
        const std::string logged = log.take();
        EXPECT_EQ(logged.find("FATAL ERROR") == logged.npos, told.empty()) << logged;
        if (told.empty()) return;
        EXPECT_NE(logged.find("FATAL ERROR: could not dlsym " + told), logged.npos) << logged;
        EXPECT_NE(logged.find(",NS_COUPLING_LOAD_LIB"), logged.npos) << logged;
    });
}

void enable(bool on) {
    for (NsRadio *radio : {&g_ns_config.lte, &g_ns_config.cdma, &g_ns_config.wcdma, &g_ns_config.tdscdma, &g_ns_config.gsm})
        radio->enabled = on;
}

void config(std::string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.replace(at, 1, "\r\n");
    files::put("/etc/tki_config.ini", text);
    Diag_NS_TEST_ReadConfig();
}
} // namespace

TEST(ModemLibrary, LacksEachOperationInTurn) {
    enable(true);
    std::vector<std::string> operations;
#define NAME(name) operations.push_back("TKI_API_" #name);
    NS_COMMON_OPERATIONS(NAME)
    const size_t common = operations.size();
    NS_LTE_OPERATIONS(NAME)
    NS_CDMA_OPERATIONS(NAME)
    NS_WCDMA_OPERATIONS(NAME)
    NS_TDSCDMA_OPERATIONS(NAME)
    NS_GSM_OPERATIONS(NAME)
    for (const std::string &operation : operations)
        load_without(operation, -1, operation == "TKI_API_LTE_NS_STOP"           ? "TKI_API_LTE_NS_START"
                                    : operation == "TKI_API_LTE_NS_GET_DP_LEVEL" ? "LTE_NS_GET_DP_LEVEL"
                                                                                 : operation);
    load_without("TKI_API_CDMA_NS_Before_Stop", 0, "");
    enable(false);
    for (size_t i = 0; i < operations.size(); i += 5) load_without(operations[i], i < common ? -1 : 0, i < common ? operations[i] : "");
}

TEST(NsConfig, BandsAndLimits) {
    config("[LTE_NS_TEST]\nenable=1\nparameter=CALL_MODE:1;Band:BC3;Channel:65535;target_PrimaryVal:-70.9;max_Primarylimit:-60.5;"
           "target_SecondaryVal:-70.9\n[CDMA_NS_TEST]\nenable=1\nparameter=Band:BC1;ACQ_MODE:2\n[WCDMA_NS_TEST]\nenable=1\n"
           "parameter=Band:BC8;TFCS:1\n[TDSCDMA_NS_TEST]\nenable=2\nparameter=Band:BC9\n");
    const NsConfig &c = g_ns_config;
    EXPECT_TRUE(c.lte.enabled && c.cdma.enabled && c.wcdma.enabled);
    EXPECT_FALSE(c.tdscdma.enabled || c.gsm.enabled);
    EXPECT_EQ(c.shared_band, 2);
    EXPECT_EQ(c.cdma_band, 0);
    EXPECT_EQ(c.wcdma_band, 7);
    EXPECT_EQ(c.lte.channel, 65535);
    EXPECT_FLOAT_EQ(c.lte.chain[0].target, -70) << "loses its fraction";
    EXPECT_FLOAT_EQ(c.lte.chain[1].target, -70.9F);
    EXPECT_FLOAT_EQ(c.lte.chain[0].max, -60.5F);
    EXPECT_FLOAT_EQ(c.lte.chain[0].min, 0) << "not given";
    EXPECT_TRUE(c.data_path[4]);
    EXPECT_EQ(c.acq_mode + c.wcdma_tfcs, 3);

    LogText log;
    config("[LTE_NS_TEST]\nenable=1\nparameter=Band:3\n[CDMA_NS_TEST]\nenable=1\nparameter=Band:3\n");
    const std::string logged = log.take();
    EXPECT_EQ(c.shared_band, 2) << "unchanged";
    EXPECT_EQ(c.cdma_band, 0);
    EXPECT_NE(logged.find("::CDMA NS TEST:BAND CLASS ERROR"), logged.npos);
    EXPECT_EQ(logged.find("::LTE"), logged.npos);
    EXPECT_FALSE(c.wcdma.enabled) << "read anew";

    const std::pair<const char *, int> bands[] = {{"PGSM", 0}, {"EGSM", 1}, {"PCS1900", 2}, {"DCS", 3}, {"GSM850", 4}, {"GSM900", 2}};
    for (const auto &[name, code] : bands) {
        LogText gsm_log;
        config("[LTE_NS_TEST]\nenable=1\nparameter=Band:BC3\n[GSM_NS_TEST]\nenable=1\nparameter=Band:" + std::string(name) + "\n");
        EXPECT_EQ(c.shared_band, code) << name << " stands where LTE's band does";
        EXPECT_EQ(gsm_log.take().find("GSM NS TEST:BAND CLASS ERROR") != std::string::npos, name == std::string("GSM900"));
    }
    process::forked([] {
        files::put("/etc/tki_config.ini", "[LTE_NS_TEST\n");
        EXPECT_EQ(Diag_LTE_NS_TEST_ReadConfig(), -1);
        EXPECT_FALSE(g_ns_config.lte.enabled);
    });
}
