// The measurements of LTE, WCDMA and TD-SCDMA, which read two chains five times each.
#include "rf/ns_procedures.h"

#include <cmath>

#include "rf/modem_library.h"
#include "rf/ns_show.h"
#include "rf/ns_trial.h"

namespace {
constexpr int PASSES = 5;
using LevelOperation = int (*)(int chain, float *dbm);

struct Means {
    NsMean chain[2] = {NsMean(NS_NO_READING), NsMean(NS_NO_READING)};
};

// A level that is no number is no reading.
int read_level(LevelOperation read, int chain, float &dbm) {
    const int result = read(chain, &dbm);
    return result != 0 || std::isfinite(dbm) ? result : -1;
}

// False when the thread was asked to stop: there is nothing to show.
bool sample(NsRun &run, const NsTrial (&trial)[2], LevelOperation read, Means &means) {
    for (int pass = 0; pass < PASSES; ++pass)
        for (int chain = 0; chain < 2; ++chain) {
            float dbm = 0;
            if (run.tries(trial[chain], [&] { return read_level(read, chain, dbm); })) means.chain[chain].add(dbm);
            if (!run.wait(1)) return false;
        }
    return true;
}

struct TfcsOrder {
    uint8_t list[4];
};
TfcsOrder tfcs_order(int tfcs) { return tfcs == 1 ? TfcsOrder{{0, 2, 1, 3}} : TfcsOrder{{0, 1, 2, 3}}; }

bool lte_start(NsRun &run) {
    const NsConfig &c = g_ns_config;
    NsTrial start = NS_TRIAL(LTE_NS_START);
    start.final = {"::LTE_nonsignal_start fail"};
    if (!run.tries(start, g_ns.LTE_NS_START) || !run.wait(200)) return false;
    const NsTrial acquire{{"::TKI_API_LTE_NS_ACQ fail"}, {"::LTE_nonsignal_ACQ final fail"}, 500};
    if (!run.tries(acquire, [&] { return g_ns.LTE_NS_ACQ(c.shared_band, c.lte.channel); })) return false;
    run.log({"::TKI_API_LTE_NS_ACQ success"});
    if (!run.wait(200)) return false;
    const auto start_data = [on = c.data_path] {
        return g_ns.LTE_NS_START_DP(on[0] ? 14 : 0, on[1], on[2] ? 23 : 0, on[3], on[4] ? 2 : 0);
    };
    return run.tries({{"::LTE_nonsignal_ACQ fail"}, {"::LTE_NS_START_DP fail"}, 500}, start_data);
}

void lte_measure(NsRun &run) {
    if (!lte_start(run)) return;
    const NsText final{"::LTE_NS_START_DP fail"};
    const NsTrial read[] = {{{"::TKI_API_LTE_NS_GET_DP_LEVEL Primary fail,nloop=", NsText::count}, final},
                            {{"::TKI_API_LTE_NS_GET_DP_LEVEL Secondary fail,nloop=", NsText::count}, final}};
    Means means;
    if (!sample(run, read, g_ns.LTE_NS_GET_DP_LEVEL, means)) return;
    for (int chain = 0; chain < 2; ++chain) {
        const float dbm = means.chain[chain].value();
        run.log_level(chain == 0 ? "primary:" : "secondary:", "TKI_API_LTE_NS_GET_DP_LEVEL", chain, dbm);
        Diag_LTE_show_NS_TEST_DATA(chain, dbm);
    }
}

bool wcdma_configure(NsRun &run) {
    NsTrial call = NS_TRIAL(WCDMA_NS_CHAIN_TEST_CALL);
    call.final = {"::TKI_API_CDMA_NS_START fail"}; // the other technology's words have always stood here
    if (!run.tries(call, [] { return g_ns.WCDMA_NS_CHAIN_TEST_CALL(2); }) || !run.wait(10)) return false;
    const TfcsOrder order = tfcs_order(g_ns_config.wcdma_tfcs);
    for (int number = 0; number < 2; ++number) {
        const auto configure = [&] { return g_ns.WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(number, order.list); };
        if (!run.tries(NS_TRIAL(WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ), configure) || !run.wait(100)) return false;
    }
    return true;
}

bool wcdma_start(NsRun &run) {
    const auto session = [] { return g_ns.WCDMA_NS_BER_StartSession(208); };
    if (!run.tries(NS_TRIAL(WCDMA_NS_BER_StartSession), session) || !run.wait(100)) return false;
    if (!run.tries(NS_TRIAL(WCDMA_SetPhoneLoggingState), g_ns.WCDMA_SetPhoneLoggingState) || !run.wait(100)) return false;
    NsTrial pilot = NS_TRIAL(WCDMA_NS_BER_AcquirePilot);
    pilot.final = {"::TKI_API_WCDMA_NS_BER_AcquirePilot total fail,nloop=", NsText::count};
    const auto acquire = [] { return g_ns.WCDMA_NS_BER_AcquirePilot(g_ns_config.wcdma.channel); };
    if (!run.tries(pilot, acquire) || !run.wait(100)) return false;
    if (!run.tries(NS_TRIAL(WCDMA_NS_BER_SetupRMC_DCH), g_ns.WCDMA_NS_BER_SetupRMC_DCH)) return false;
    run.log({"::TKI_API_WCDMA_NS_BER_SetupRMC_DCH success"});
    return run.wait(100);
}

void wcdma_measure(NsRun &run) {
    if (!wcdma_configure(run) || !wcdma_start(run)) return;
    NsTrial read[] = {NS_TRIAL(WCDMA_NS_BER_RX_LEVEL_REQ), NS_TRIAL(WCDMA_NS_BER_RX_LEVEL_REQ)};
    read[0].final = {"::primary:TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ fail"};
    read[1].final = {"::secondary:TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ fail"};
    Means means;
    if (!sample(run, read, g_ns.WCDMA_NS_BER_RX_LEVEL_REQ, means)) return;
    for (int chain = 0; chain < 2; ++chain) {
        const float dbm = means.chain[chain].value();
        run.log_level(chain == 0 ? "primary:" : "secondary:", "TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ", chain, dbm);
        Diag_WCDMA_show_NS_TEST_DATA(chain, g_ns_config.wcdma_band, g_ns_config.wcdma.channel, 0, dbm);
    }
}

bool tdscdma_start(NsRun &run) {
    const TfcsOrder order = tfcs_order(g_ns_config.tdscdma_tfcs);
    NsTrial configure = NS_TRIAL(TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ);
    configure.pause = NsTrial::after_every;
    for (int number = 0; number < 2; ++number)
        if (!run.tries(configure, [&] { return g_ns.TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(number, order.list); }) ||
            run.stopping())
            return false;
    const auto session = [] { return g_ns.TDSCDMA_NS_BER_StartSession(208); };
    if (!run.tries(NS_TRIAL(TDSCDMA_NS_BER_StartSession), session)) return false;
    NsTrial pilot = NS_TRIAL(TDSCDMA_NS_BER_AcquirePilot);
    pilot.pause_ms = 0;
    const auto acquire = [] { return g_ns.TDSCDMA_NS_BER_AcquirePilot(g_ns_config.tdscdma.channel); };
    if (!run.tries(pilot, acquire) || !run.wait(200)) return false;
    const NsTrial setup{{"::Diag_TKI_API_TDSCDMA_NS_BER_SetupRMC_DCH fail nloop=", NsText::count},
                        {"::Diag_TKI_API_TDSCDMA_NS_BER_SetupRMC_DCH final fail "}};
    return run.tries(setup, [] { return g_ns.TDSCDMA_NS_BER_SetupRMC_DCH(0, 4, 2, 23, 1); }) && run.wait(200);
}

void tdscdma_measure(NsRun &run) {
    if (!tdscdma_start(run)) return;
    NsTrial read[] = {NS_TRIAL(TDSCDMA_NS_BER_RX_LEVEL_REQ), NS_TRIAL(TDSCDMA_NS_BER_RX_LEVEL_REQ)};
    read[0].final = {"::TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ primary fail"};
    read[1].final = {"::TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ secondary fail"};
    Means means;
    if (!sample(run, read, g_ns.TDSCDMA_NS_BER_RX_LEVEL_REQ, means)) return;
    for (int chain = 0; chain < 2; ++chain) {
        const float dbm = means.chain[chain].value();
        run.log_level(chain == 0 ? "primary:" : "secondary:", "TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ", chain, dbm);
        Diag_TDSCDMA_show_NS_TEST_DATA(chain, g_ns_config.tdscdma_band, g_ns_config.tdscdma.channel, 0, dbm);
    }
}

int stop(NsRun &run, const NsTrial &trial, int (*operation)()) {
    if (!run.tries_to_stop(trial, operation)) return -1;
    run.log({"  end"});
    return 0;
}
} // namespace

int Diag_LTE_NS_TEST_START() {
    NsRun run(__func__);
    run.log({" begin"});
    lte_measure(run);
    NsTrial trial = NS_TRIAL(LTE_NS_STOP);
    trial.final = {"::LTE_NS_START_DP fail"};
    return stop(run, trial, g_ns.LTE_NS_STOP);
}

int Diag_WCDMA_NS_TEST_START() {
    NsRun run(__func__);
    run.log({" begin"});
    wcdma_measure(run);
    run.wait(100);
    return stop(run, NS_TRIAL(WCDMA_NS_BER_StopSession), g_ns.WCDMA_NS_BER_StopSession);
}

int Diag_TDSCDMA_NS_TEST_START() {
    NsRun run(__func__);
    run.log({" begin"});
    tdscdma_measure(run);
    return stop(run, NS_TRIAL(TDSCDMA_NS_BER_StopSession), g_ns.TDSCDMA_NS_BER_StopSession);
}
