#include <common/file.h>
#include <cstdlib>
#include <modem/channel.h>
#include <vxo_signalcoupling.h>

#define MODEM_API extern "C" __attribute__((visibility("default"))) int
#define PLAIN(name)                                                                                                    \
    MODEM_API TKI_API_##name() { return modem::ask(#name).result; }

namespace {
int init(std::string_view operation) {
    if (!modem::open()) return -1;
    const int result = modem::ask(operation).result;
    if (result != 0) modem::close();
    return result;
}

// A modem that has just been silent is not waited for once more.
int uninit(std::string_view operation) {
    int result = -1;
    if (modem::silent()) modem::tell(operation);
    else result = modem::ask(operation).result;
    modem::close();
    return result;
}

int level(std::string_view operation, std::initializer_list<int> arguments, float *dbm) {
    if (!dbm) return -1;
    const modem::Answer answer = modem::ask(operation, arguments);
    if (answer.result != 0) return answer.result;
    if (answer.values.empty()) return -1;
    char *end = nullptr;
    const float value = strtof(answer.values[0].c_str(), &end);
    if (*end || end == answer.values[0].c_str()) return -1;
    *dbm = value;
    return 0;
}

int configure_tfcs(std::string_view operation, int number, const uint8_t *tfcs) {
    return tfcs ? modem::ask(operation, {number, tfcs[0], tfcs[1], tfcs[2], tfcs[3]}).result : -1;
}
} // namespace

MODEM_API TKI_API_Command_init() { return init("Command_init"); }
MODEM_API TKI_API_Command_uninit() { return uninit("Command_uninit"); }
MODEM_API TKI_API_GetModemMode(int32_t *mode) {
    if (!mode) return -1;
    const modem::Answer answer = modem::ask("GetModemMode");
    if (answer.result != 0) return answer.result;
    const auto value = answer.values.empty() ? std::nullopt : hal::parse_int(answer.values[0]);
    if (!value) return -1;
    *mode = *value;
    return 0;
}
MODEM_API TKI_API_SetModemMode(int32_t mode) { return modem::ask("SetModemMode", {mode}).result; }

PLAIN(LTE_NS_START)
PLAIN(LTE_NS_STOP)
MODEM_API TKI_API_LTE_NS_ACQ(uint8_t band, uint16_t channel) {
    return modem::ask("LTE_NS_ACQ", {band, channel}).result;
}
MODEM_API TKI_API_LTE_NS_START_DP(int a, int b, int c, int d, int e) {
    return modem::ask("LTE_NS_START_DP", {a, b, c, d, e}).result;
}
MODEM_API TKI_API_LTE_NS_GET_DP_LEVEL(int chain, float *dbm) {
    return level("LTE_NS_GET_DP_LEVEL", {chain}, dbm);
}

PLAIN(CDMA_NS_START)
MODEM_API TKI_API_CDMA_NS_SECOND_CHAIN_TEST_CALL(int mode) {
    return modem::ask("CDMA_NS_SECOND_CHAIN_TEST_CALL", {mode}).result;
}
MODEM_API TKI_API_CDMA_NS_Pilot_ACQ(uint8_t band, uint16_t channel, int32_t acq_mode) {
    return modem::ask("CDMA_NS_Pilot_ACQ", {band, channel, acq_mode}).result;
}
PLAIN(CDMA_NS_DEMOD_SYNC)
MODEM_API TKI_API_CDMA_NS_RX_LEVEL_REQ(int chain, int16_t *dbm, int16_t *further) {
    if (!dbm || !further) return -1;
    const modem::Answer answer = modem::ask("CDMA_NS_RX_LEVEL_REQ", {chain});
    if (answer.result != 0) return answer.result;
    if (answer.values.size() < 2) return -1;
    const auto value = hal::parse_int(answer.values[0]), more = hal::parse_int(answer.values[1]);
    if (!value || !more || *value != static_cast<int16_t>(*value) || *more != static_cast<int16_t>(*more)) return -1;
    *dbm = static_cast<int16_t>(*value);
    *further = static_cast<int16_t>(*more);
    return 0;
}
PLAIN(CDMA_NS_Before_Stop)
PLAIN(CDMA_NS_Stop)

MODEM_API TKI_API_WCDMA_NS_CHAIN_TEST_CALL(int mode) {
    return modem::ask("WCDMA_NS_CHAIN_TEST_CALL", {mode}).result;
}
MODEM_API TKI_API_WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(int number, const uint8_t *tfcs) {
    return configure_tfcs("WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ", number, tfcs);
}
MODEM_API TKI_API_WCDMA_NS_BER_StartSession(int mode) {
    return modem::ask("WCDMA_NS_BER_StartSession", {mode}).result;
}
PLAIN(WCDMA_SetPhoneLoggingState)
MODEM_API TKI_API_WCDMA_NS_BER_AcquirePilot(uint16_t channel) {
    return modem::ask("WCDMA_NS_BER_AcquirePilot", {channel}).result;
}
PLAIN(WCDMA_NS_BER_SetupRMC_DCH)
MODEM_API TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ(int chain, float *dbm) {
    return level("WCDMA_NS_BER_RX_LEVEL_REQ", {chain}, dbm);
}
PLAIN(WCDMA_NS_BER_StopSession)

MODEM_API TKI_API_TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(int number, const uint8_t *tfcs) {
    return configure_tfcs("TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ", number, tfcs);
}
MODEM_API TKI_API_TDSCDMA_NS_BER_StartSession(int mode) {
    return modem::ask("TDSCDMA_NS_BER_StartSession", {mode}).result;
}
MODEM_API TKI_API_TDSCDMA_NS_BER_AcquirePilot(uint16_t channel) {
    return modem::ask("TDSCDMA_NS_BER_AcquirePilot", {channel}).result;
}
MODEM_API TKI_API_TDSCDMA_NS_BER_SetupRMC_DCH(int a, int b, int c, int d, int e) {
    return modem::ask("TDSCDMA_NS_BER_SetupRMC_DCH", {a, b, c, d, e}).result;
}
MODEM_API TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ(int chain, float *dbm) {
    return level("TDSCDMA_NS_BER_RX_LEVEL_REQ", {chain}, dbm);
}
PLAIN(TDSCDMA_NS_BER_StopSession)

PLAIN(GSM_NS_Get_log)
PLAIN(GSM_NS_BER_StartSession)
MODEM_API TKI_API_GSM_NS_Set_BCCH(uint16_t channel, int mode) {
    return modem::ask("GSM_NS_Set_BCCH", {channel, mode}).result;
}
PLAIN(GSM_BER_update)
MODEM_API TKI_API_GSM_NS_Set_TCH(int a, int b, int c) { return modem::ask("GSM_NS_Set_TCH", {a, b, c}).result; }
MODEM_API TKI_API_GSM_NS_BER_RX_LEVEL_REQ(float *dbm) { return level("GSM_NS_BER_RX_LEVEL_REQ", {}, dbm); }
PLAIN(GSM_NS_BER_ReleaseTCH)
PLAIN(GSM_NS_BER_StopSession)

MODEM_API TKI_API_SignalCoupling_init() { return init("SignalCoupling_init"); }
MODEM_API TKI_API_SignalCoupling_uninit() { return uninit("SignalCoupling_uninit"); }
MODEM_API TKI_API_SignalCoupling_setModemMode(int32_t mode) {
    return modem::ask("SignalCoupling_setModemMode", {mode}).result;
}
