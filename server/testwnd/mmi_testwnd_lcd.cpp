#include "testwnd/mmi_testwnd_lcd.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tp_clock.h>

#include "base/log_door.h"
#include "base/sysfs.h"
#include "base/worker.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

int LcdColorTestNum = 5;
int g_LcdColorTestIndex = 0;
std::atomic<int> g_bFoolProof{0};

namespace {
constexpr char TAG[] = "TKI_LCD";
constexpr char MONOMER_TAG[] = "TKI_MONOMER_LCD";
constexpr char PICTURE_FOLDER[] = "/system/media/lcd";
constexpr int PICTURE_MAX = 64;

gal_pixel g_colors[LCD_COLOR_MAX];
bool g_fixed_color = false;      // the grey level command owns the screen
gal_pixel g_fixed_pixel = 0;
bool g_next_wanted = false;      // the next paint goes on to the next colour; any other paint shows the last again
int g_shown = 0;
bool g_pictures = false;         // the preview list's pictures instead of colours
int g_picture_index = 0;         // calibration picture
Worker g_fool_proof_worker;

bool color_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
bool picture_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void on_color_close(HWND);
void on_verdict_close(HWND);
void paint_note(HWND hwnd, HDC hdc) { test_frame_draw_text(hwnd, hdc, "info_LCDNote", 19); }

TestWindow g_color{.domain = "TKI_LCD", .station = 280, .full_screen = true, .pass_by_key = false,
                   .proc = color_proc, .on_close = on_color_close};
TestWindow g_verdict{.domain = "TKI_LCD", .title_key = "title_LCDTest", .station = 280, .caption = "LCD Color Test",
                     .on_close = on_verdict_close, .paint = paint_note};
TestWindow g_monomer_color{.domain = "TKI_MONOMER_LCD", .monomer = true, .full_screen = true, .pass_by_key = false,
                           .proc = color_proc, .on_close = on_color_close};
TestWindow g_monomer_verdict{.domain = "TKI_MONOMER_LCD", .title_key = "title_LCDTest", .monomer = true,
                             .caption = "LCD Color Test", .on_close = on_verdict_close, .paint = paint_note};
// The name begins as the colour test's, so that closing what is open reaches its stop entry.
TestWindow g_picture{.domain = "TKI_LCD_PICTURE", .full_screen = true, .pass_by_key = false, .proc = picture_proc};

std::string picture_path(int index) {
    char path[64];
    snprintf(path, sizeof path, "%s/%d.png", PICTURE_FOLDER, index);
    return path;
}

int count_pictures() {
    int count = 0;
    while (count < PICTURE_MAX && file_readable(picture_path(count).c_str())) ++count;
    return count;
}

void WaitForFoolProofLcd() {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "WaitForFoolProofLcd begin");
    if (tp_clock_sleep_or_stop_ns(1'000'000'000)) g_bFoolProof = 0;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "WaitForFoolProofLcd end");
}

void start_fool_proof_second() {
    g_fool_proof_worker.stop(); // the last one's, so that it can't end this one's second
    g_bFoolProof = 1;
    if (!g_fool_proof_worker.start("lcdfoolproof", WaitForFoolProofLcd)) g_bFoolProof = 0;
}

void fill(HWND hwnd, HDC hdc, gal_pixel pixel) {
    RECT all{};
    GetClientRect(hwnd, &all);
    SetBrushColor(hdc, pixel);
    FillBox(hdc, 0, 0, RECTW(all), RECTH(all));
}

gal_pixel color_of(int index) { return index >= 0 && index < LCD_COLOR_MAX ? g_colors[index] : 0; }

void paint_color(HWND hwnd) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s MSG_PAINT begin", "mmi_LCDColorTestWndProc");
    HDC hdc = BeginPaint(hwnd);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s MSG_PAINT hdc=%x", "mmi_LCDColorTestWndProc", static_cast<unsigned>(hdc));
    if (g_fixed_color) {
        fill(hwnd, hdc, g_fixed_pixel);
    } else {
        // A dialog that closes above the test uncovers it: that paint must not skip a colour.
        const bool next = g_next_wanted;
        if (next) g_shown = g_LcdColorTestIndex;
        if (!g_pictures || showPictureByIndex(hwnd, hdc, g_shown) != 0) fill(hwnd, hdc, color_of(g_shown));
        if (next) {
            g_next_wanted = false;
            start_fool_proof_second();
            ++g_LcdColorTestIndex;
        }
    }
    EndPaint(hwnd, hdc);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s MSG_PAINT end", "mmi_LCDColorTestWndProc");
}

void repaint_next(HWND hwnd) {
    g_next_wanted = true;
    InvalidateRect(hwnd, nullptr, false);
}

void open_verdict(bool monomer) { test_frame_open(monomer ? g_monomer_verdict : g_verdict); }

void on_touch_release(HWND hwnd) {
    if (g_fixed_color || g_bFoolProof) return;
    if (g_LcdColorTestIndex < LcdColorTestNum) {
        repaint_next(hwnd);
        return;
    }
    const bool monomer = hwnd == g_monomer_color.hwnd;
    open_verdict(monomer);
    test_frame_close(monomer ? g_monomer_color : g_color);
}

bool color_proc(HWND hwnd, UINT message, WPARAM, LPARAM lParam, LRESULT *result) {
    *result = 0;
    switch (message) {
    case MSG_CREATE: {
        const auto *info = reinterpret_cast<const MAINWINCREATE *>(lParam);
        if (!reinterpret_cast<const TestWindow *>(info->dwAddData)->pc_mode) g_LcdColorTestIndex = 0;
        g_next_wanted = true;
        return false;
    }
    case MSG_ERASEBKGND: return true; // every pixel is painted over; erasing would flash
    case MSG_PAINT: paint_color(hwnd); return true;
    case MSG_LBUTTONUP: on_touch_release(hwnd); return true;
    case MSG_KEYDOWN:
    case MSG_KEYUP: return true; // the verdict has its own window; a key here must not give one
    default: return false;
    }
}

bool picture_proc(HWND hwnd, UINT message, WPARAM, LPARAM, LRESULT *result) {
    *result = 0;
    if (message == MSG_KEYDOWN || message == MSG_KEYUP || message == MSG_ERASEBKGND) return true;
    if (message != MSG_PAINT) return false;
    HDC hdc = BeginPaint(hwnd);
    if (showPictureByIndex(hwnd, hdc, g_picture_index) != 0) fill(hwnd, hdc, 0);
    EndPaint(hwnd, hdc);
    return true;
}

void on_color_close(HWND) {
    g_fool_proof_worker.stop();
    g_bFoolProof = 0;
    g_LcdColorTestIndex = 0;
    // An operator has no key to end a grey level: it must not outlive the window into the next run.
    g_fixed_color = false;
}

void on_verdict_close(HWND) {
    test_frame_close(g_color);
    test_frame_close(g_monomer_color);
}

void close_all() {
    for (TestWindow *w : {&g_verdict, &g_monomer_verdict, &g_color, &g_monomer_color, &g_picture}) test_frame_close(*w);
}

void stop_and_wait() {
    on_gui_thread([] {
        close_all();
        return 1;
    });
    // Gives the window beneath time to come up before the PC's next command. The GUI thread itself needs no wait.
    if (!tp_is_gui_thread()) tp_clock_sleep_ms(100);
}

// On the GUI thread: opens the colour window for the PC, or takes over the one that is open.
int show_for_pc() {
    if (!g_color.created) {
        g_pictures = false;
        mmi_LCDColorTest_Init();
        if (!test_frame_pc_open(g_color)) return 0;
        return 1;
    }
    g_color.pc_mode = 1;
    g_next_wanted = true;
    UpdateWindow(g_color.hwnd, false);
    return 1;
}

// "n,n,n", each 1 to 9 digits; blanks before a number as the PC tools send them.
bool parse_levels(const char *text, long (&levels)[3]) {
    for (int i = 0; i < 3; ++i) {
        while (*text == ' ') ++text;
        const size_t digits = strspn(text, "0123456789");
        if (digits == 0 || digits > 9) return false;
        levels[i] = strtol(text, nullptr, 10);
        text += digits;
        if (*text != (i < 2 ? ',' : '\0')) return false;
        ++text;
    }
    return true;
}
} // namespace

void mmi_LCDColorTest_Init() {
    ConfigPara paras[12] = {};
    const int count = test_item_parameters("TKI_LCD", paras, 12);
    LcdColorTestNum = parameter_value(paras, count, "colornum", "5");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::LcdColorTestNum=%d", __func__, LcdColorTestNum);
    const gal_pixel *sys = SysPixelIndex;
    memset(g_colors, 0, sizeof g_colors);
    if (LcdColorTestNum == 6) {
        const gal_pixel six[] = {sys[15], sys[7], sys[12], sys[10], sys[9], sys[16]};
        memcpy(g_colors, six, sizeof six);
    } else {
        // White less one only here: the six colours begin with full white. Agreed with the line's cameras.
        const gal_pixel eight[] = {sys[15] - 1, sys[12], sys[10], sys[9], sys[16], 0x808080, 0x404040, 0x202020};
        memcpy(g_colors, eight, (LcdColorTestNum == 8 ? 8 : 5) * sizeof *eight);
    }
    const int row = tki_config_Get_TestItem_Config_Paras("TKI_LCD");
    if (row >= 0 && TestItemWinMenu_TOTAL[row].item_mmi == 2) LcdColorTestNum = 1;
}

void mmi_LCDColorTestEntry() {
    g_LcdColorTestIndex = 0;
    g_pictures = false;
    mmi_LCDColorTest_Init();
    test_frame_open(g_color);
}

void mmi_LCDColorTest_Stop_Entry() { stop_and_wait(); }

void mmi_LCDColorTestCheckResultEntry() { open_verdict(false); }

void mmi_Monomer_LCDColorTestEntry() {
    g_LcdColorTestIndex = 0;
    mmi_LCDColorTest_Init();
    const int pictures = count_pictures();
    g_pictures = pictures > 0;
    if (g_pictures) LcdColorTestNum = pictures;
    LOG_RAW(ANDROID_LOG_DEBUG, MONOMER_TAG, "%s pictures=%d", __func__, pictures);
    test_frame_open(g_monomer_color);
}

void mmi_Monomer_LCDColorTest_Stop_Entry() { stop_and_wait(); }

int showPictureByIndex(HWND hwnd, HDC hdc, int index) {
    if (index < 0) return -1;
    BITMAP picture;
    if (LoadBitmapFromFile(hdc, &picture, picture_path(index).c_str()) != 0) return -1;
    RECT all{};
    GetClientRect(hwnd, &all);
    const int drawn = FillBoxWithBitmap(hdc, 0, 0, RECTW(all), RECTH(all), &picture);
    UnloadBitmap(&picture);
    return drawn;
}

int mmi_AutoTest_LCDColorTestEntry(int index) {
    on_gui_thread([index] {
        // The test's own window stays and is repainted; any other goes, this test's verdict window included.
        if (!g_color.created) Check_AllTestWnd_Closed();
        g_LcdColorTestIndex = index;
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::g_LcdColorTestIndex=%d", "mmi_AutoTest_LCDColorTestEntry", index);
        return show_for_pc();
    });
    return 1;
}

int mmi_AutoTest_LCDColorTest_Stop() {
    stop_and_wait();
    return 1;
}

int mmi_AutoTest_GrayLevel_Set(const char *text) {
    if (!text) return 0;
    if (strcmp(text, "close") == 0) {
        return on_gui_thread([] {
            g_fixed_color = false;
            test_frame_close(g_color);
            return 1;
        });
    }
    long levels[3] = {};
    if (!parse_levels(text, levels)) return 0;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s RGB value: %d %d %d", __func__, static_cast<int>(levels[0]),
            static_cast<int>(levels[1]), static_cast<int>(levels[2]));
    const long pixel = levels[0] + ((levels[1] * 256) & 0xffff) + levels[2] * 65536;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "RGB int value: %ld", pixel);
    on_gui_thread([pixel] {
        g_fixed_pixel = static_cast<gal_pixel>(pixel) & 0xffffff;
        if (!g_color.created) Check_AllTestWnd_Closed();
        g_fixed_color = true;
        return show_for_pc();
    });
    return 1;
}

int mmi_AutoTest_PW_ShowPicture(int index) {
    if (index < 0 || !file_readable(picture_path(index).c_str())) {
        LOG_D(TAG, "no picture %d", index);
        return 0;
    }
    return on_gui_thread([index] {
        g_picture_index = index;
        if (!g_picture.created) return test_frame_pc_open(g_picture);
        UpdateWindow(g_picture.hwnd, false);
        return 1;
    });
}

int mmi_AutoTest_PW_ShowPicture_Stop() { return test_frame_pc_close(g_picture); }
