// The screen of the measurement without signalling: four labels per receive chain, and a bar of its last readings.
#include <algorithm>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "base/log_door.h"
#include "base/worker.h"
#include "rf/coupling.h"
#include "rf/modem_library.h"
#include "rf/ns_config.h"
#include "rf/ns_procedures.h"
#include "rf/ns_show.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"

namespace {
#define MEASURED "\xb2\xe2\xc1\xbf\xd6\xb5" // 测量值, in GBK
constexpr const char *WIDEST = MEASURED ":-9999.00dbm";
enum Label { NAME, BAND, VALUE, VERDICT, LIMITS, LABELS };
constexpr int FIRST_LABEL = 100, LINE_GREY = 20;
// Lines of a chain: name and band, value and verdict, limits; the bar stands behind the verdict and below it. Where lines would
// be too low to read, the third is left out.
constexpr int LINES = 3, LOWEST_LINE = 16;
constexpr size_t READINGS = 20;
constexpr int START_TIMER = 1;
constexpr unsigned START_PERIOD = 100; // 10 ms each

struct Technology {
    const char *names[2]; // of its chains; the second null: it has one
    NsRadio &radio;
    const uint8_t &band;
};
const Technology LTE{{"LTE Primary", "LTE Secondary"}, g_ns_config.lte, g_ns_config.shared_band};
const Technology CDMA{{"CDMA Primary", "CDMA Secondary"}, g_ns_config.cdma, g_ns_config.cdma_band};
const Technology WCDMA{{"WCDMA Primary", "WCDMA Secondary"}, g_ns_config.wcdma, g_ns_config.wcdma_band};
const Technology TDSCDMA{{"TD Primary", "TD Secondary"}, g_ns_config.tdscdma, g_ns_config.tdscdma_band};
const Technology GSM{{"GSM", nullptr}, g_ns_config.gsm, g_ns_config.shared_band};
const Technology *const TECHNOLOGIES[] = {&LTE, &CDMA, &WCDMA, &TDSCDMA, &GSM};

struct Row {
    const Technology *technology;
    int chain;
    std::deque<float> readings; // the newest at the end
};

// GUI thread.
std::vector<Row> g_rows;
bool g_start_pause = false, g_close_wanted = false;
Worker g_mode_check, g_measurement;

bool is_good(const NsLimits &limits, float value) { return !(value > limits.max) && !(value < limits.min); }

// ---- layout

struct Layout {
    int top, lines, line, half, margin;
};
Layout layout(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const int margin = screen_width() / 48, top = status_bar_height() + margin;
    const int chains = std::max(1, static_cast<int>(g_rows.size())), room = (client.bottom - top) / chains;
    const int lines = room / LINES < LOWEST_LINE ? LINES - 1 : LINES;
    return {top, lines, std::min(3 * GetLogFontHeight(g_font_text) / 2, room / lines), client.right / 2, margin};
}
RECT cell(const Layout &l, size_t row, int line, int column) {
    const int left = column * l.half + l.margin, top = l.top + (static_cast<int>(row) * l.lines + line) * l.line;
    return {left, top, left + l.half - 2 * l.margin, top + l.line - 2};
}
RECT label_box(const Layout &l, size_t row, int label) {
    RECT box = cell(l, row, label / 2, label % 2);
    if (label == VERDICT) box.right = box.left + RECTW(box) / 3;
    return box;
}
int label_id(size_t row, int label) { return FIRST_LABEL + static_cast<int>(row) * LABELS + label; }

std::string band_text(const Technology &technology) {
    char text[CFG_TEXT + 32];
    if (&technology == &GSM) snprintf(text, sizeof text, "BC:%s/CH:%d", g_ns_config.gsm_band, technology.radio.channel);
    else snprintf(text, sizeof text, "BC:%d/CH:%d", technology.band + 1, technology.radio.channel);
    return text;
}
std::string limits_text(const NsLimits &limits) {
    char text[96];
    snprintf(text, sizeof text, "%.1f < %.1f < %.1f", static_cast<double>(limits.min), static_cast<double>(limits.target),
             static_cast<double>(limits.max));
    return text;
}

struct LabelPlace {
    int id;
    RECT box;
    std::string text;
    const char *widest; // that it may show
};
std::vector<LabelPlace> label_places(HWND hwnd) {
    const Layout l = layout(hwnd);
    std::vector<LabelPlace> all;
    for (size_t row = 0; row < g_rows.size(); ++row) {
        const Technology &technology = *g_rows[row].technology;
        const int chain = g_rows[row].chain;
        const auto add = [&](int label, const std::string &text, const char *widest) {
            all.push_back({label_id(row, label), label_box(l, row, label), text, widest});
        };
        add(NAME, technology.names[chain], nullptr);
        add(BAND, band_text(technology), nullptr);
        add(VALUE, "", WIDEST);
        add(VERDICT, "", "Pass");
        if (l.lines == LINES) add(LIMITS, limits_text(technology.radio.chain[chain]), nullptr);
    }
    return all;
}

// The largest font in which none is cut.
PLOGFONT common_font(HWND hwnd, const std::vector<LabelPlace> &labels) {
    PLOGFONT font = g_font_text;
    HDC hdc = GetClientDC(hwnd);
    for (const LabelPlace &label : labels) {
        PLOGFONT fits = shell_font_fitting(hdc, label.widest ? label.widest : label.text.c_str(), RECTW(label.box), RECTH(label.box),
                                           DT_SINGLELINE, 'r', screen_width() / 15 / 4 * 4);
        if (GetLogFontHeight(fits) < GetLogFontHeight(font)) font = fits;
    }
    ReleaseDC(hdc);
    return font;
}

void create_labels(HWND hwnd) {
    const std::vector<LabelPlace> labels = label_places(hwnd);
    PLOGFONT font = common_font(hwnd, labels);
    for (const LabelPlace &label : labels) {
        const HWND control = CreateWindowEx("static", label.text.c_str(), WS_VISIBLE | SS_SIMPLE, 0, label.id, label.box.left,
                                            label.box.top, RECTW(label.box), RECTH(label.box), hwnd, 0);
        if (control == HWND_INVALID) continue;
        SetWindowBkColor(control, SysPixelIndex[18]);
        SetWindowTextColor(control, SysPixelIndex[LINE_NORMAL]);
        SetWindowFont(control, font);
    }
}

void draw_line(HDC hdc, int left, int right, int y) {
    MoveTo(hdc, left, y);
    LineTo(hdc, right, y);
}

// One column per reading, as high as it lies between the limits; a line at the wanted level.
void draw_bar(HDC hdc, const Row &row, const RECT &box) {
    const NsLimits &limits = row.technology->radio.chain[row.chain];
    const float span = std::max(limits.max - limits.min, 0.01F);
    const auto height = [&](float value) {
        const float share = std::clamp((value - limits.min) / span, 0.0F, 1.0F);
        return std::max(RECTH(box) / 8, static_cast<int>(share * static_cast<float>(RECTH(box))));
    };
    const int slot = std::max(2, RECTW(box) / static_cast<int>(READINGS));
    int x = box.right - static_cast<int>(row.readings.size()) * slot;
    for (const float value : row.readings) {
        SetBrushColor(hdc, SysPixelIndex[is_good(limits, value) ? LINE_GOOD : LINE_BAD]);
        FillBox(hdc, x, box.bottom - height(value), slot - 1, height(value));
        x += slot;
    }
    SetPenColor(hdc, SysPixelIndex[LINE_GREY]);
    for (const int y : {box.top, box.bottom - 1}) draw_line(hdc, box.left, box.right - 1, y);
    SetPenColor(hdc, SysPixelIndex[LINE_NORMAL]);
    draw_line(hdc, box.left, box.right - 1, box.bottom - height(limits.target));
}

RECT bar_box(const Layout &l, size_t row) {
    const RECT box = cell(l, row, 1, 1);
    const int bottom = cell(l, row, l.lines - 1, 1).bottom;
    return {label_box(l, row, VERDICT).right, box.top + l.line / 8, box.right, bottom - l.line / 8};
}

void paint(HWND hwnd, HDC hdc) {
    const Layout l = layout(hwnd);
    SetPenWidth(hdc, 1);
    for (size_t row = 0; row < g_rows.size(); ++row) {
        SetPenColor(hdc, SysPixelIndex[LINE_GREY]);
        draw_line(hdc, l.margin, 2 * l.half - l.margin, cell(l, row, 0, 0).top - 1);
        draw_bar(hdc, g_rows[row], bar_box(l, row));
    }
}

// ---- the test

bool mmi_NSCouplingTestWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void on_open(HWND hwnd);
void on_close(HWND hwnd);
TestWindow g_window{.domain = "NS_COUPLING", .title_key = "title_SingalCouple", .keys = {"", "start", "softkeybar_back"},
                    .pass_by_key = false, .caption = "NSCoupling", .proc = mmi_NSCouplingTestWndProc, .on_open = on_open,
                    .on_close = on_close, .paint = paint};

// A switch may take the modem long: the screen does not wait for it, the measurement does.
void check_mode() {
    if (Diag_NS_TEST_Check_Modem_FTM_Mode() != 0)
        LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "mmi_NSCouplingTestWndProc::Diag_NS_TEST_Check_Modem_FTM_Mode fail.");
}

void measure() {
    g_mode_check.join();
    NS_TEST_START();
}

void on_open(HWND hwnd) {
    g_rows.clear();
    for (const Technology *technology : TECHNOLOGIES)
        for (int chain = 0; chain < 2 && technology->radio.enabled; ++chain)
            if (technology->names[chain]) g_rows.push_back({technology, chain, {}});
    g_start_pause = g_close_wanted = false;
    create_labels(hwnd);
    g_mode_check.start("ns mode", check_mode);
}

void release_modem() {
    if (g_ns.Command_uninit && g_ns.Command_uninit() != 0)
        LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "mmi_NSCouplingTestWndProc::TKI_API_Command_uninit fail.");
    ns_coupling_unload_lib();
}

void on_close(HWND) {
    g_mode_check.stop(); // first: the measurement may wait for it
    g_measurement.stop();
    release_modem();
}

// For a second behind the start key the others wait, so that a double press does nothing; the screen stays alive.
void on_key(HWND hwnd, WPARAM code) {
    if (code == KEY_PASS) LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "mmi_NSCouplingTestWndProc key %d", KEY_PASS);
    if (code == KEY_START && !g_start_pause) {
        if (!g_measurement.running()) g_measurement.start("ns test", measure);
        g_start_pause = SetTimer(hwnd, START_TIMER, START_PERIOD) == 0;
    }
    if (code != KEY_FAIL && code != KEY_CLOSE) return;
    if (g_start_pause) g_close_wanted = true;
    else SendMessage(hwnd, MSG_CLOSE, 0, 0);
}

bool mmi_NSCouplingTestWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    *result = 0;
    if (message == MSG_KEYDOWN) {
        on_key(hwnd, wParam);
        return true;
    }
    if (message != MSG_TIMER || wParam != START_TIMER) return false;
    KillTimer(hwnd, START_TIMER);
    g_start_pause = false;
    if (g_close_wanted) SendMessage(hwnd, MSG_CLOSE, 0, 0);
    return true;
}

// ---- results

void show_row(size_t row, float value, bool good) {
    const HWND hwnd = g_window.hwnd;
    char text[64];
    snprintf(text, sizeof text, MEASURED ":%.2fdbm", static_cast<double>(value));
    for (const Label label : {VALUE, VERDICT}) {
        const HWND control = GetDlgItem(hwnd, label_id(row, label));
        SetWindowTextColor(control, SysPixelIndex[good ? LINE_GOOD : LINE_BAD]);
        SetWindowText(control, label == VALUE ? text : good ? "Pass" : "Fail");
    }
    std::deque<float> &readings = g_rows[row].readings;
    readings.push_back(value);
    if (readings.size() > READINGS) readings.pop_front();
    const RECT box = bar_box(layout(hwnd), row);
    InvalidateRect(hwnd, &box, true);
}

void show_data(const char *caller, const Technology &technology, int chain, float value) {
    if (chain < 0 || chain > 1 || !technology.names[chain]) return;
    const NsLimits &limits = technology.radio.chain[chain];
    LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s::Chain%d::nRxLeveldBm10=%.2f", caller, chain, static_cast<double>(value));
    LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s::Chain%d::maxLimit_nRxLeveldBm10=%f,minLimit_nRxLeveldBm10=%f", caller, chain,
            static_cast<double>(limits.max), static_cast<double>(limits.min));
    on_gui_thread([&] {
        if (g_window.hwnd == HWND_NULL) return 0;
        for (size_t row = 0; row < g_rows.size(); ++row)
            if (g_rows[row].technology == &technology && g_rows[row].chain == chain)
                show_row(row, value, is_good(limits, value));
        return 0;
    });
}

void show_logged(const char *caller, const Technology &technology, int chain, int band, int channel, int reading, float value) {
    LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s::band=%d,channel=%d,reading=%d", caller, band, channel, reading);
    show_data(caller, technology, chain, value);
}
} // namespace

void Diag_LTE_show_NS_TEST_DATA(int chain, float value) { show_data(__func__, LTE, chain, value); }
void Diag_WCDMA_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value) {
    show_logged(__func__, WCDMA, chain, band, channel, reading, value);
}
void Diag_TDSCDMA_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value) {
    show_logged(__func__, TDSCDMA, chain, band, channel, reading, value);
}
void Diag_CDMA2000_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value) {
    show_logged(__func__, CDMA, chain, band, channel, reading, value);
}
void Diag_GSM_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value) {
    show_logged(__func__, GSM, chain, band, channel, reading, value);
}

void mmi_NSCoupling_Diag_TestEntry() {
    if (!g_window.created) {
        Diag_NS_TEST_ReadConfig();
        if (NS_COUPLING_LOAD_LIB() != 0) {
            LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "%s::SIGNAL_COUPLING_LOAD_LIB Fail.", __func__);
            return;
        }
        if (g_ns.Command_init() != 0) {
            LOG_RAW(ANDROID_LOG_ERROR, NS_TAG, "%s::TKI_API_Command_init fail.", __func__);
            ns_coupling_unload_lib();
            return;
        }
    }
    if (!test_frame_open(g_window)) release_modem();
}
