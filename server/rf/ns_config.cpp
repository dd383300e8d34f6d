#include "rf/ns_config.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/log_door.h"

NsConfig g_ns_config;

namespace {
constexpr int MAX_PAIRS = 12;

// A section's list, as Read_MainCfgFile fills it.
class Parameters {
public:
    explicit Parameters(const char *text) : count_(tki_config_parse_parameter(text, pairs_, MAX_PAIRS)) {}
    std::string text(const char *name) const {
        char value[CFG_TEXT] = {};
        tki_config_get_para_value(pairs_, count_, name, value, sizeof value - 1, "0");
        return value;
    }
    int number(const char *name) const { return atoi(text(name).c_str()); }
    float decimal(const char *name) const { return strtof(text(name).c_str(), nullptr); }

private:
    ConfigPara pairs_[MAX_PAIRS] = {};
    int count_;
};

struct Value {
    char text[CFG_TEXT] = {};
};

// Whether there is more to read. read: result of the reader that filled enable.
bool begin(NsRadio &radio, int read, const Value &enable) {
    radio.enabled = read == 0 && atoi(enable.text) == 1;
    return radio.enabled;
}

// "BC" and a band class: the modem's code is one less, in eight bits.
bool read_band(const std::string &text, uint8_t &band) {
    int band_class = 0;
    if (sscanf(text.c_str(), "BC%d", &band_class) != 1) return false;
    band = static_cast<uint8_t>(static_cast<unsigned>(band_class) + 255);
    return true;
}

void read_primary(const Parameters &list, NsRadio &radio) {
    radio.channel = static_cast<uint16_t>(list.number("Channel"));
    radio.chain[0] = {list.decimal("target_PrimaryVal"), list.decimal("max_Primarylimit"),
                      list.decimal("min_Primarylimit")};
}
void read_both(const Parameters &list, NsRadio &radio) {
    read_primary(list, radio);
    radio.chain[1] = {list.decimal("target_SecondaryVal"), list.decimal("max_Secondarylimit"),
                      list.decimal("min_Secondarylimit")};
}

void log_values(const char *caller, const char *mode_name, int mode, uint8_t band, const NsRadio &radio, int chains) {
    static const char *const NAME[] = {"Primary", "Secondary"};
    static const char *const LAST[] = {"Limit_Primarylimit", "Limit_SecondaryLimit"}; // spelt like this
    for (int chain = 0; chain < chains; ++chain) {
        const NsLimits &l = radio.chain[chain];
        char head[64] = "";
        if (mode_name) snprintf(head, sizeof head, "%s=%d,", mode_name, mode);
        LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s:%sBand=%d,channel=%d,target_%sVal=%f,maxLimit_%sLimit=%f,min%s=%f", caller, head,
                band, radio.channel, NAME[chain], static_cast<double>(l.target), NAME[chain], static_cast<double>(l.max),
                LAST[chain], static_cast<double>(l.min));
    }
}

void log_wrong_band(const char *caller, const char *technology) {
    LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "%s::%s NS TEST:BAND CLASS ERROR", caller, technology);
}

struct GsmBand {
    const char *name;
    size_t compared;
};
constexpr GsmBand GSM_BANDS[] = {{"PGSM", 4}, {"EGSM", 4}, {"PCS", 3}, {"DCS", 3}, {"GSM850", 6}};
} // namespace

int Diag_LTE_NS_TEST_ReadConfig() {
    Value enable, parameter;
    NsRadio &radio = g_ns_config.lte;
    const int read = Read_MainCfgFile("LTE_NS_TEST", "enable", enable.text, "0");
    if (!begin(radio, read, enable)) return read;
    if (Read_MainCfgFile("LTE_NS_TEST", "parameter", parameter.text, "") != 0) return -1;
    const Parameters list(parameter.text);
    g_ns_config.call_mode = static_cast<uint8_t>(list.number("CALL_MODE"));
    read_band(list.text("Band"), g_ns_config.shared_band);
    read_both(list, radio);
    // This one target alone has always lost its fraction.
    radio.chain[0].target = static_cast<float>(list.number("target_PrimaryVal"));
    for (bool &on : g_ns_config.data_path) on = true;
    log_values(__func__, "CALL_MODE", g_ns_config.call_mode, g_ns_config.shared_band, radio, 2);
    return 0;
}

int Diag_CDMA2000_NS_TEST_ReadConfig() {
    Value enable, parameter;
    NsRadio &radio = g_ns_config.cdma;
    const int read = Read_MainCfgFile("CDMA_NS_TEST", "enable", enable.text, "0");
    if (!begin(radio, read, enable)) return read;
    if (Read_MainCfgFile("CDMA_NS_TEST", "parameter", parameter.text, "") != 0) return -1;
    const Parameters list(parameter.text);
    if (!read_band(list.text("Band"), g_ns_config.cdma_band)) log_wrong_band(__func__, "CDMA");
    g_ns_config.acq_mode = list.number("ACQ_MODE");
    read_both(list, radio);
    log_values(__func__, "ACQ_MODE", g_ns_config.acq_mode, g_ns_config.cdma_band, radio, 2);
    return 0;
}

int Diag_WCDMA_NS_TEST_ReadConfig() {
    Value enable, parameter;
    NsRadio &radio = g_ns_config.wcdma;
    const int read = Read_MainCfgFile("WCDMA_NS_TEST", "enable", enable.text, "0");
    if (!begin(radio, read, enable)) return read;
    if (Read_MainCfgFile("WCDMA_NS_TEST", "parameter", parameter.text, "") != 0) return -1;
    const Parameters list(parameter.text);
    if (!read_band(list.text("Band"), g_ns_config.wcdma_band)) log_wrong_band(__func__, "WCDMA");
    g_ns_config.wcdma_tfcs = list.number("TFCS");
    read_both(list, radio);
    log_values(__func__, "TFCS", g_ns_config.wcdma_tfcs, g_ns_config.wcdma_band, radio, 2);
    return 0;
}

int Diag_TDSCDMA_NS_TEST_ReadConfig() {
    Value enable, parameter;
    NsRadio &radio = g_ns_config.tdscdma;
    const int read = Read_MainCfgFile("TDSCDMA_NS_TEST", "enable", enable.text, "0");
    if (!begin(radio, read, enable)) return read;
    if (Read_MainCfgFile("TDSCDMA_NS_TEST", "parameter", parameter.text, "") != 0) return -1;
    const Parameters list(parameter.text);
    if (!read_band(list.text("Band"), g_ns_config.tdscdma_band)) log_wrong_band(__func__, "TDSCDMA");
    g_ns_config.tdscdma_tfcs = list.number("TFCS");
    read_both(list, radio);
    log_values(__func__, "TFCS", g_ns_config.tdscdma_tfcs, g_ns_config.tdscdma_band, radio, 2);
    return 0;
}

int Diag_GSM_NS_TEST_ReadConfig() {
    Value enable, parameter;
    NsRadio &radio = g_ns_config.gsm;
    const int read = Read_MainCfgFile("GSM_NS_TEST", "enable", enable.text, "0");
    if (!begin(radio, read, enable)) return read;
    if (Read_MainCfgFile("GSM_NS_TEST", "parameter", parameter.text, "") != 0) return -1;
    const Parameters list(parameter.text);
    const std::string name = list.text("Band");
    snprintf(g_ns_config.gsm_band, sizeof g_ns_config.gsm_band, "%s", name.c_str());
    bool known = false;
    for (size_t code = 0; code < std::size(GSM_BANDS) && !known; ++code) {
        known = strncmp(name.c_str(), GSM_BANDS[code].name, GSM_BANDS[code].compared) == 0;
        if (known) g_ns_config.shared_band = static_cast<uint8_t>(code);
    }
    if (!known) log_wrong_band(__func__, "GSM");
    read_primary(list, radio);
    for (bool &on : g_ns_config.traffic_channel) on = true;
    log_values(__func__, nullptr, 0, g_ns_config.shared_band, radio, 1);
    return 0;
}

int Diag_NS_TEST_ReadConfig() {
    Diag_LTE_NS_TEST_ReadConfig();
    Diag_CDMA2000_NS_TEST_ReadConfig();
    Diag_WCDMA_NS_TEST_ReadConfig();
    Diag_TDSCDMA_NS_TEST_ReadConfig();
    Diag_GSM_NS_TEST_ReadConfig();
    return 0;
}
