// The measurements of CDMA2000 and GSM, each with rules of its own; the mode check and the measurement thread.
#include <cmath>

#include "rf/modem_library.h"
#include "rf/ns_procedures.h"
#include "rf/ns_show.h"
#include "rf/ns_trial.h"

namespace {
constexpr int GSM_PASSES = 5, GSM_UPDATE_FAILURES = 4;
constexpr int GRACE_POLLS = 50, GRACE_POLL_MS = 100, SHORTEST_CYCLE_MS = 10;

NsTrial once(const char *failed) {
    NsTrial trial{{failed}, {}};
    trial.calls = 1;
    return trial;
}

void cdma_read(NsRun &run, int chain) {
    int16_t dbm = 0, further = 0;
    const bool read = run.tries(once("::TKI_API_CDMA_NS_RX_LEVEL_REQ fail"),
                                [&] { return g_ns.CDMA_NS_RX_LEVEL_REQ(chain, &dbm, &further); });
    if (run.stopping()) return;
    if (!read) dbm = further = 0;
    if (read)
        LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "Diag_CDMA2000_NS_TEST_START::TKI_API_CDMA_NS_RX_LEVEL_REQ,RxChain=%d,RxPowerdBm=%.1f",
                chain, static_cast<double>(dbm));
    Diag_CDMA2000_show_NS_TEST_DATA(chain, g_ns_config.cdma_band, g_ns_config.cdma.channel, further, dbm);
}

// False when the demodulator never finds its clock: then not even the stop call follows.
bool cdma_measure(NsRun &run) {
    const NsConfig &c = g_ns_config;
    if (!run.tries(once("::TKI_API_CDMA_NS_START fail"), g_ns.CDMA_NS_START)) return true;
    // Another technology's words have always stood here.
    if (!run.tries(once("::TKI_API_GSM_NS_START fail"), [] { return g_ns.CDMA_NS_SECOND_CHAIN_TEST_CALL(2); })) return true;
    const int acquired = g_ns.CDMA_NS_Pilot_ACQ(c.cdma_band, c.cdma.channel, c.acq_mode);
    if (!run.wait(10)) return true;
    if (acquired != 0) run.log({"::TKI_API_CDMA_NS_Pilot_ACQ fail"});
    NsTrial sync{{"::TKI_API_CDMA_NS_DEMOD_SYNC fail,nloop=", NsText::count},
                 {"::TKI_API_CDMA_NS_DEMOD_SYNC final fail,nloop=", NsText::count}, 1000, NsTrial::after_failure, 10};
    if (!run.tries(sync, g_ns.CDMA_NS_DEMOD_SYNC)) return run.stopping();
    run.log({"::TKI_API_CDMA_NS_DEMOD_SYNC success"});
    cdma_read(run, 0);
    if (run.wait(1000)) cdma_read(run, 1);
    return true;
}

bool gsm_start(NsRun &run) {
    NsTrial session = NS_TRIAL(GSM_NS_BER_StartSession), log = NS_TRIAL(GSM_NS_Get_log), bcch = NS_TRIAL(GSM_NS_Set_BCCH);
    session.pause = log.pause = NsTrial::after_every;
    session.final = {"::TKI_API_GSM_NS_START fail"};
    if (!run.tries(session, g_ns.GSM_NS_BER_StartSession) || run.stopping()) return false;
    log.final = {"::Diag_TKI_API_GSM_NS_Get_log fail"};
    if (!run.tries(log, g_ns.GSM_NS_Get_log) || run.stopping()) return false;
    bcch.final = {"::TKI_API_GSM_NS_BCCH fail ret= ", NsText::result};
    return run.tries(bcch, [] { return g_ns.GSM_NS_Set_BCCH(g_ns_config.gsm.channel, 0); }) && run.wait(200);
}

bool gsm_traffic(NsRun &run) {
    NsTrial update = NS_TRIAL(GSM_BER_update);
    update.final = {"::Diag_TKI_API_GSM_BER_update fail ret=", NsText::result};
    if (!run.tries(update, g_ns.GSM_BER_update)) return false;
    // An update that needed all its calls counts as failed, too.
    if (run.failures() >= GSM_UPDATE_FAILURES) {
        run.log(update.final, 0);
        return false;
    }
    const bool *on = g_ns_config.traffic_channel;
    const auto set = [on] { return g_ns.GSM_NS_Set_TCH(on[0] ? 3 : 0, on[1] ? 3 : 0, 0); };
    return run.tries(NS_TRIAL(GSM_NS_Set_TCH), set) && run.wait(200);
}

void gsm_measure(NsRun &run) {
    if (!gsm_start(run) || !gsm_traffic(run)) return;
    NsMean mean(NS_NO_GSM_READING);
    for (int pass = 0; pass < GSM_PASSES; ++pass) {
        float dbm = 0;
        const bool read = run.tries(once("::TKI_API_GSM_NS_BER_RX_LEVEL_REQ fail"), [&] {
            const int result = g_ns.GSM_NS_BER_RX_LEVEL_REQ(&dbm);
            return result != 0 || std::isfinite(dbm) ? result : -1;
        });
        if (read) mean.add(dbm);
        if (!run.wait_us(500)) return;
    }
    Diag_GSM_show_NS_TEST_DATA(0, g_ns_config.shared_band, g_ns_config.gsm.channel, 0, mean.value());
}

bool go_on() { return !NsRun::stopping(); }

void run_one(const NsRadio &radio, int (*measure)(), const char *told) {
    if (!radio.enabled || !go_on()) return;
    if (measure() != 0) LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "NS_TEST_START %s fail", told);
}

void run_all() {
    const NsConfig &c = g_ns_config;
    run_one(c.lte, Diag_LTE_NS_TEST_START, "LTE_NS_TEST");
    run_one(c.wcdma, Diag_WCDMA_NS_TEST_START, "WCDMA_NS_TEST");
    run_one(c.tdscdma, Diag_TDSCDMA_NS_TEST_START, "TDSCDMA_NS_TEST");
    run_one(c.cdma, Diag_CDMA2000_NS_TEST_START, "CDMA2000_NS_TEST");
    run_one(c.gsm, Diag_GSM_NS_TEST_START, "GSM_NS_TEST");
}
} // namespace

int Diag_CDMA2000_NS_TEST_START() {
    NsRun run(__func__);
    run.log({" begin"});
    if (!cdma_measure(run)) return -1;
    if (g_ns.CDMA_NS_Before_Stop) run.tries_to_stop(once("::Diag_TKI_API_CDMA_Before_Stop fail"), g_ns.CDMA_NS_Before_Stop);
    if (!run.tries_to_stop(once("::TKI_API_CDMA_NS_Stop fail"), g_ns.CDMA_NS_Stop)) return -1;
    run.log({"  end"});
    return 0;
}

int Diag_GSM_NS_TEST_START() {
    NsRun run(__func__);
    run.log({" begin"});
    gsm_measure(run);
    NsTrial release = NS_TRIAL(GSM_NS_BER_ReleaseTCH);
    run.tries_to_stop(release, g_ns.GSM_NS_BER_ReleaseTCH);
    if (!run.tries_to_stop(NS_TRIAL(GSM_NS_BER_StopSession), g_ns.GSM_NS_BER_StopSession)) return -1;
    run.log({"  end"});
    return 0;
}

int Diag_NS_TEST_Check_Modem_FTM_Mode() {
    NsRun run(__func__);
    run.log({"::begin."});
    int32_t mode = 0;
    if (!run.tries(once("::TKI_API_GetModemMode fail."), [&] { return g_ns.GetModemMode(&mode); })) return -1;
    if (mode == VXO_MODEM_FACTORY_TEST) {
        run.log({"::The Modem is in FTM Mode."});
        return 0;
    }
    const auto set = [](int32_t wanted) { return [wanted] { return g_ns.SetModemMode(wanted); }; };
    if (!run.tries(once("::TKI_API_SetModemMode MODE_ONLINE_F fail."), set(VXO_MODEM_ONLINE))) return -1;
    if (!run.tries(once("::TKI_API_SetModemMode MODE_FTM_F fail."), set(VXO_MODEM_FACTORY_TEST))) return -1;
    run.log({"::end."});
    return 0;
}

void NS_TEST_START() {
    LOG_D(NS_TAG, "begin");
    for (int poll = 0; poll < GRACE_POLLS && go_on(); ++poll) NsRun::wait(GRACE_POLL_MS);
    while (go_on()) {
        const int64_t begun = tp_clock_mono_ns();
        run_all();
        // With nothing enabled, or a modem that refuses at once, there is no wait in a cycle.
        if (tp_clock_mono_ns() - begun < int64_t{SHORTEST_CYCLE_MS} * 1000000) NsRun::wait(SHORTEST_CYCLE_MS);
    }
    LOG_D(NS_TAG, " end");
}
