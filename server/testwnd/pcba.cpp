#include "testwnd/pcba.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"

namespace {
constexpr const char *TAG = "TKI_CPU";
constexpr int POLL_MS = 500, POLLS = 22;
constexpr int PAUSE_AFTER_STOP_MS = 100;
constexpr int MAX_PARAMETERS = 12;
constexpr size_t REPLY_MAX = 256;

struct Kind {
    int number;
    const char *tag;  // of the library's lines
    const char *note; // what the window says
    bool (*test)(const Kind &kind);
    const char *argument = ""; // symbol, or the camera's option
    int event = 0;             // TKI_PCBA_...
    bool (*begin)(const Kind &kind, const char *symbol) = nullptr;
    const char *before = nullptr, *behind = ""; // of the value in the reply; null: no reply
};

std::atomic<const Kind *> g_current{nullptr};
char g_channel[CFG_TEXT];
int g_slots = 1;

// Filled on the library's thread.
struct {
    std::atomic<uint64_t> value{0};
    std::atomic<int> result{0};
    std::atomic<bool> arrived{false};
    const tp_os_sema_t changed = tp_os_sema_create(0);
    void clear() {
        value = 0;
        result = 0;
        arrived = false;
        while (tp_os_sema_get(changed, 0) == 0) {}
    }
} g_result;

void paint(HWND hwnd, HDC hdc) {
    const Kind *kind = g_current;
    if (kind) test_frame_draw_text(hwnd, hdc, kind->note, 19);
}

// Both keys only close; a board test has no verdict of the operator's.
bool proc(HWND hwnd, UINT message, WPARAM code, LPARAM, LRESULT *result) {
    if (message != MSG_KEYDOWN) return false;
    if (code == KEY_PASS || code == KEY_FAIL) PostMessage(hwnd, MSG_CLOSE, 0, 0);
    *result = 0;
    return true;
}

void cover_status_bar(HWND hwnd) { MoveWindow(hwnd, 0, 0, screen_width(), screen_height() - softkey_bar_height()); }

TestWindow g_window{.domain = "TKI_PCBA", .keys = {"softkeybar_pass", "", "softkeybar_fail"}, .caption = "PCBA", .proc = proc,
                    .on_open = cover_status_bar, .paint = paint};

template <class Record> void take(const void *data, int type) {
    Record record;
    memcpy(&record, data, sizeof record);
    if constexpr (requires { record.value; }) g_result.value = static_cast<uint64_t>(record.value);
    g_result.result = record.result;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s event %d: result=%d", "pcba_test_callback", type, record.result);
}

// A record that comes late, for a test that is not current any more, changes nothing.
void pcba_test_callback(tki_module_data *told) {
    const Kind *kind = g_current;
    if (!told || !told->data || !kind || kind->event != told->type) return;
    switch (told->type) {
    case TKI_PCBA_CPU:
    case TKI_PCBA_MEMORY:
    case TKI_PCBA_STORAGE:
    case TKI_PCBA_SDCARD: take<tki_pcba_number>(told->data, told->type); break;
    case TKI_PCBA_BATTERY: take<tki_pcba_text>(told->data, told->type); break;
    default: take<tki_pcba_value>(told->data, told->type);
    }
    g_result.arrived = true;
    tp_os_sema_put(g_result.changed);
}

// The parameter list of a section that is no item of the lists; read puts its text into what it is given.
class Parameters {
public:
    template <class Read> explicit Parameters(Read read) {
        char text[CFG_TEXT] = {};
        if (read(text) == 0) count_ = tki_config_parse_parameter(text, records_, MAX_PARAMETERS);
    }
    int64_t get(const char *key, const char *def) const {
        char text[CFG_TEXT] = {};
        tki_config_get_para_value(records_, count_, key, text, CFG_TEXT - 1, def);
        return strtoll(text, nullptr, 10);
    }
    int number(const char *key, const char *def) const {
        return static_cast<int>(std::clamp<int64_t>(get(key, def), INT32_MIN, INT32_MAX));
    }

private:
    ConfigPara records_[MAX_PARAMETERS] = {};
    int count_ = 0;
};

template <class Function, class... Arguments> bool call(const Kind &kind, const char *symbol, Arguments... arguments) {
    Function function = nullptr;
    return bind_factory_function(kind.tag, symbol, &function) && function(arguments...) == 0;
}

bool begin_plain(const Kind &kind, const char *symbol) { return call<tki_api_pcba_start_t>(kind, symbol, pcba_test_callback); }

bool begin_cpu(const Kind &kind, const char *symbol) {
    const Parameters set([](char *text) { return Read_MainCfgFile("TKI_CPU", "parameter", text, ""); });
    return call<tki_api_cpu_start_t>(kind, symbol, pcba_test_callback, set.number("cores", "0"), set.number("min_khz", "0"),
                                     set.number("seconds", "1"));
}

bool begin_memory(const Kind &kind, const char *symbol) {
    const Parameters set([](char *text) { return Read_MainCfgFile("TKI_MEMORY", "parameter", text, ""); });
    return call<tki_api_memory_start_t>(kind, symbol, pcba_test_callback, set.get("min_limit", "1"), set.get("max_limit", "1"));
}

bool begin_fm(const Kind &kind, const char *symbol) {
    return call<tki_api_fm_start_t>(kind, symbol, pcba_test_callback, static_cast<const char *>(g_channel));
}

bool begin_sim(const Kind &kind, const char *symbol) {
    return call<tki_api_sim_start_t>(kind, symbol, pcba_test_callback, g_slots);
}

void symbol_of(const Kind &kind, const char *what, char (&out)[64]) { snprintf(out, sizeof out, "tki_api_%s_%s", kind.argument, what); }

bool test_by_library(const Kind &kind) {
    char symbol[64];
    symbol_of(kind, "start", symbol);
    if (!kind.begin(kind, symbol)) return false;
    for (int i = 0; i < POLLS && !g_result.arrived; ++i) tp_os_sema_get(g_result.changed, POLL_MS);
    if (!g_result.arrived) LOG_RAW(ANDROID_LOG_ERROR, kind.tag, "%s: no result", symbol);
    return g_result.result == 1;
}

bool test_camera(const Kind &kind) {
    char command[64], output[CFG_TEXT];
    snprintf(command, sizeof command, "camera_pcba %s", kind.argument);
    executeCMD(command, output, sizeof output);
    LOG_RAW(ANDROID_LOG_DEBUG, kind.tag, "%s: %s", command, output);
    return strstr(output, "success");
}

bool switch_wgb(const Kind &kind, int on) {
    constexpr int WHAT = 2;
    tki_api_wgb_start_t function = nullptr;
    return bind_factory_function(kind.tag, "tki_api_wgb_start", &function) && function(WHAT, on) != 0;
}

bool test_wgb(const Kind &kind) { return switch_wgb(kind, 1); }

#define NOTE(what) "PCBA " what " Testing..."
constexpr Kind CPU = {1, TAG, NOTE("CPU"), test_by_library, "cpu", TKI_PCBA_CPU, begin_cpu, "maxfreq="};
constexpr Kind MEMORY = {2, "TKI_MEMORY", NOTE("Memory"), test_by_library, "memory", TKI_PCBA_MEMORY, begin_memory, "MemTotal=", " MB"};
constexpr Kind BLUETOOTH = {4, "TKI_BLUETOOTH", NOTE("Bluetooth"), test_by_library, "bluetooth", TKI_PCBA_BLUETOOTH, begin_plain};
constexpr Kind CAMERA_BACK = {5, TAG, NOTE("Camera"), test_camera, "-0"};
constexpr Kind CAMERA_FRONT = {6, TAG, NOTE("Camera"), test_camera, "-1"};
constexpr Kind BATTERY = {7, "TKI_BATTERY_PCBA", NOTE("Battery"), test_by_library, "battery", TKI_PCBA_BATTERY, begin_plain};
constexpr Kind WIFI = {8, "TKI_WIFI", NOTE("WiFi"), test_by_library, "wifi", TKI_PCBA_WIFI, begin_plain};
constexpr Kind FM = {9, "TKI_FM", NOTE("FM"), test_by_library, "fm", TKI_PCBA_FM, begin_fm};
constexpr Kind GPS = {10, "TKI_GPS", NOTE("GPS"), test_by_library, "gps", TKI_PCBA_GPS, begin_plain};
constexpr Kind TOUCH = {11, "TKI_TOUCH", NOTE("Touch"), test_by_library, "touch", TKI_PCBA_TOUCH, begin_plain};
constexpr Kind STORAGE = {12, "TKI_STORAGE", NOTE("Storage"), test_by_library, "storage", TKI_PCBA_STORAGE, begin_plain, "TotalSize=", " GB"};
constexpr Kind SDCARD = {13, "TKI_SDCARD", NOTE("SD card"), test_by_library, "sdcard", TKI_PCBA_SDCARD, begin_plain, "TotalSize=", " MB"};
constexpr Kind SIM = {14, "TKI_SIM", NOTE("SIM"), test_by_library, "sim", TKI_PCBA_SIM, begin_sim};
constexpr Kind WGB = {15, TAG, NOTE("WGB"), test_wgb};

void reply(const Kind &kind, char *out, int maxoutlen) {
    if (!kind.before || !out || maxoutlen <= 0) return;
    char text[REPLY_MAX];
    const int length = snprintf(text, sizeof text, "%s%llu%s", kind.before, static_cast<unsigned long long>(g_result.value), kind.behind);
    memcpy(out, text, static_cast<size_t>(std::min(length, maxoutlen)));
}

int run(const Kind &kind, char *out, int maxoutlen) {
    PCBATestStop();
    g_result.clear();
    g_current = &kind;
    test_frame_pc_open(g_window);
    const bool passed = kind.test(kind);
    if (passed) reply(kind, out, maxoutlen);
    LOG_RAW(ANDROID_LOG_DEBUG, kind.tag, "PCBA test %d: %s", kind.number, passed ? "pass" : "fail");
    return passed ? 1 : 0;
}

bool holds_digit(const char *in, int size, char digit) { return in && size > 0 && memchr(in, digit, strnlen(in, static_cast<size_t>(size))); }
} // namespace

int PCBACpuTestStart(char *out, int maxoutlen) { return run(CPU, out, maxoutlen); }
int PCBAMemoryTestStart(char *out, int maxoutlen) { return run(MEMORY, out, maxoutlen); }
int PCBABluetoothTestStart(char *out, int maxoutlen) { return run(BLUETOOTH, out, maxoutlen); }
int PCBACameraBackTestStart(char *out, int maxoutlen) { return run(CAMERA_BACK, out, maxoutlen); }
int PCBACameraFrontTestStart(char *out, int maxoutlen) { return run(CAMERA_FRONT, out, maxoutlen); }
int PCBABatteryTestStart(char *out, int maxoutlen) { return run(BATTERY, out, maxoutlen); }
int PCBAWifiTestStart(char *out, int maxoutlen) { return run(WIFI, out, maxoutlen); }
int PCBAGpsTestStart(char *out, int maxoutlen) { return run(GPS, out, maxoutlen); }
int PCBATouchTestStart(char *out, int maxoutlen) { return run(TOUCH, out, maxoutlen); }
int PCBAStorageTestStart(char *out, int maxoutlen) { return run(STORAGE, out, maxoutlen); }
int PCBASdcardTestStart(char *out, int maxoutlen) { return run(SDCARD, out, maxoutlen); }

int PCBAFmTestStart(const char *in, int size, char *out, int maxoutlen) {
    memset(g_channel, 0, sizeof g_channel);
    if (in && size > 0) strncpy(g_channel, in, std::min(static_cast<size_t>(size), sizeof g_channel - 1));
    return run(FM, out, maxoutlen);
}

int PCBASimTestStart(const char *in, int size, char *out, int maxoutlen) {
    g_slots = holds_digit(in, size, '2') ? 2 : 1;
    return run(SIM, out, maxoutlen);
}

int PCBAWgbTestStart(const char *, int, char *out, int maxoutlen) { return run(WGB, out, maxoutlen); }

int PCBATestStop() {
    const Kind *kind = g_current;
    if (!kind) return 1;
    char symbol[64];
    symbol_of(*kind, "stop", symbol);
    if (kind == &WGB) switch_wgb(*kind, 0);
    else if (kind->event && kind->event != TKI_PCBA_FM) call<tki_api_int_t>(*kind, symbol);
    g_current = nullptr;
    test_frame_pc_close(g_window);
    tp_clock_sleep_ms(PAUSE_AFTER_STOP_MS);
    return 1;
}

int ReadCameraIDTestStart(const char *in, int size, char *, int) {
    PCBATestStop();
    tki_api_cameraID_test_t test = nullptr;
    if (!bind_factory_function(TAG, "tki_api_cameraID_test", &test)) return 0;
    const int cameras = holds_digit(in, size, '3') ? 3 : 2;
    return test(cameras, cameras) == 0 ? 1 : 0;
}
