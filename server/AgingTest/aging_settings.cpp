#include "AgingTest/aging_settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/log_door.h"
#include "config/main_config.h"

int g_bAging_VedioTest = 1, g_iAgingVedioTestTime = 30;
int g_bAging_LightTest = 0, g_iAgingLightTime = 3;
int g_bAging_CameraTest = 1, g_iAgingCameraTotalNum = 100, g_iCameraTotalNum = 2;
int g_bAging_RebootTest = 1, g_iAgingTotalRebootNum = 100;
int g_bAging_SuspendTest = 1, g_iAgingSuspendTotalNum = 50, g_iAgingSuspendInterval = 5;
int g_bAging_VibratorTest = 1, g_iAgingVibratorTime = 15;
int g_openaudioloop = 1;
int g_bAging_ExternalBattery = 0;
int g_cycles = 1;
int g_temp_up = 550, g_temp_uncharge = 450;
int g_bAging_CpuTest = 1, g_cputime = 5;
int g_bAging_SaveDb = 0, g_iSaveDbTime = 0;
char g_cSaveDbSSID[256] = "VXO-AGING-001", g_cSaveDbCa[256] = "";
int g_iSaveDbProtocol = 4;
char g_iport[128] = "";

namespace {
constexpr const char *TAG = "AgingTest";
constexpr int FIELDS = 12;
constexpr const char *UPLOAD_SERVER = "192.168.1.1:20002";

// One key's value, taken apart.
class Line {
public:
    explicit Line(const char *value) : present_(*value), count_(tki_config_parse_parameter(value, fields_, FIELDS)) {}
    bool present() const { return present_; }
    int number(const char *name, const char *def) const {
        char text[CFG_TEXT] = {};
        field(name, text, sizeof text, def);
        return atoi(text);
    }
    void field(const char *name, char *out, size_t size, const char *def) const {
        tki_config_get_para_value(fields_, count_, name, out, static_cast<int>(size) - 1, def);
    }

private:
    bool present_;
    ConfigPara fields_[FIELDS] = {};
    int count_;
};

struct Value {
    char text[CFG_TEXT] = {};
};
struct Values {
    Value video, light, camera, reboot, standby, vibrator, cpu, loop, extern_battery, parameters, save, server;
};

Values read_values() {
    Values v;
    Read_MainCfgFile("TKI_AGING", "vediotest", v.video.text, "");
    Read_MainCfgFile("TKI_AGING", "lighttest", v.light.text, "");
    Read_MainCfgFile("TKI_AGING", "cameratest", v.camera.text, "");
    Read_MainCfgFile("TKI_AGING", "reboottest", v.reboot.text, "");
    Read_MainCfgFile("TKI_AGING", "standbytest", v.standby.text, "");
    Read_MainCfgFile("TKI_AGING", "vibratortest", v.vibrator.text, "");
    Read_MainCfgFile("TKI_AGING", "cpufullload", v.cpu.text, "");
    Read_MainCfgFile("TKI_AGING", "audioloop", v.loop.text, "");
    Read_MainCfgFile("TKI_AGING", "ExternBattery", v.extern_battery.text, "");
    Read_MainCfgFile("TKI_AGING", "Parameters", v.parameters.text, "");
    Read_MainCfgFile("TKI_AGING", "savedb", v.save.text, "");
    Read_MainCfgFile("TKI_AGING", "uploadip", v.server.text, "");
    return v;
}

// "enable" and a number, with what counts where the key stands without the field, and where the key is missing.
void read_pair(const Value &value, const char *field, int &enable, int &number, const char *field_default, int absent_enable,
               int absent_number) {
    const Line line(value.text);
    enable = line.present() ? line.number("enable", "1") : absent_enable;
    number = line.present() ? line.number(field, field_default) : absent_number;
}

void read_phases(const Values &v) {
    read_pair(v.video, "time", g_bAging_VedioTest, g_iAgingVedioTestTime, "30", 1, 30);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::vediotest::g_bAging_VedioTest=%d,g_iAgingVedioTestTime=%d.", __func__, __LINE__,
            g_bAging_VedioTest, g_iAgingVedioTestTime);
    // Left out where the key is missing: agreed.
    read_pair(v.light, "time", g_bAging_LightTest, g_iAgingLightTime, "10", 0, 3);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::lighttest::g_bAging_LightTest=%d,g_iAgingLightTime=%d.", __func__, __LINE__,
            g_bAging_LightTest, g_iAgingLightTime);
    read_pair(v.camera, "times", g_bAging_CameraTest, g_iAgingCameraTotalNum, "100", 1, 100);
    if (const Line line(v.camera.text); line.present()) g_iCameraTotalNum = line.number("totalnum", "2");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG,
            "%s,L%d::cameratest::g_bAging_CameraTest=%d,g_iAgingCameraTotalNum=%d,g_iCameraTotalNum=%d.", __func__, __LINE__,
            g_bAging_CameraTest, g_iAgingCameraTotalNum, g_iCameraTotalNum);
    read_pair(v.reboot, "times", g_bAging_RebootTest, g_iAgingTotalRebootNum, "100", 1, 100);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::reboottest::g_bAging_RebootTest=%d,g_iAgingTotalRebootNum=%d.", __func__,
            __LINE__, g_bAging_RebootTest, g_iAgingTotalRebootNum);
    read_pair(v.standby, "times", g_bAging_SuspendTest, g_iAgingSuspendTotalNum, "50", 1, 50);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::standbytest::g_bAging_SuspendTest=%d,g_iAgingSuspendTotalNum=%d.", __func__,
            __LINE__, g_bAging_SuspendTest, g_iAgingSuspendTotalNum);
    read_pair(v.vibrator, "time", g_bAging_VibratorTest, g_iAgingVibratorTime, "15", 1, 15);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::vibratortest::g_bAging_VibratorTest=%d,g_iAgingVibratorTime=%d.", __func__,
            __LINE__, g_bAging_VibratorTest, g_iAgingVibratorTime);
    read_pair(v.cpu, "time", g_bAging_CpuTest, g_cputime, "5", 1, 5);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::cpufullload::g_bAging_CpuTest=%d,g_cputime=%d.", __func__, __LINE__,
            g_bAging_CpuTest, g_cputime);
}

void read_limits(const Values &v) {
    g_openaudioloop = Line(v.loop.text).number("enable", "1");
    g_bAging_ExternalBattery = atoi(v.extern_battery.text);
    const Line parameters(v.parameters.text);
    g_cycles = parameters.number("Cycles", "1");
    g_temp_up = parameters.number("TempUpLimit", "550");
    g_temp_uncharge = parameters.number("TempUncharge", "450");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG,
            "%s,L%d::g_openaudioloop=%d,g_bAging_ExternalBattery=%d,g_cycles=%d,g_temp_up=%d,g_temp_uncharge=%d.", __func__,
            __LINE__, g_openaudioloop, g_bAging_ExternalBattery, g_cycles, g_temp_up, g_temp_uncharge);
}

void read_upload(const Values &v) {
    g_bAging_SaveDb = 0;
    if (const Line line(v.save.text); line.present()) {
        g_bAging_SaveDb = line.number("enable", "0");
        g_iSaveDbTime = line.number("time", "0");
        memset(g_cSaveDbSSID, 0, sizeof g_cSaveDbSSID);
        line.field("SSID", g_cSaveDbSSID, sizeof g_cSaveDbSSID, "VXO-AGING-001");
        memset(g_cSaveDbCa, 0, sizeof g_cSaveDbCa);
        line.field("CAFile", g_cSaveDbCa, sizeof g_cSaveDbCa, "");
        g_iSaveDbProtocol = line.number("Protocol", "4");
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::savedb::g_bAging_SaveDb=%d,g_iSaveDbTime=%d,SSID=%s.", __func__, __LINE__,
            g_bAging_SaveDb, g_iSaveDbTime, g_cSaveDbSSID);
    const bool found = v.server.text[0];
    snprintf(g_iport, sizeof g_iport, "%.*s", static_cast<int>(sizeof g_iport) - 1, found ? v.server.text : UPLOAD_SERVER);
    if (found) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "uploadip g_iport = %s\n", g_iport);
        return;
    }
    g_bAging_SaveDb = 0;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "get uploadip failed\n");
}
} // namespace

void mmi_AgingTest_ReadConfig() {
    const Values v = read_values();
    read_phases(v);
    read_limits(v);
    read_upload(v);
}
