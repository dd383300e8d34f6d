#include "testwnd/mmi_testwnd_camera.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_os.h>
#include <utility>
#include <vector>

#include "base/log_door.h"
#include "base/worker.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_CAMERA";
constexpr int CAMERAS = 3, NONE = -1;
constexpr int FRAME_TIMER = 1, SILENCE_TIMER = 2, NOTE_ID = 21;
constexpr int SILENCE_MS = 2000; // a camera that started and sends nothing for so long is said to send nothing
constexpr int64_t FRAME_NS = 40'000'000, TICK_NS = 10'000'000; // 25 frames a second; a timer's unit
constexpr UINT MSG_SAVED = MSG_USER + 110;                     // wParam 1: the snapshot's file is written
constexpr int SNAPSHOT_MS = 5000;                              // as long the PC waits for a snapshot
constexpr int SIDE_MAX = 4096;

constexpr const char *FILES[CAMERAS] = {"camera_back.png", "camera_auxback.png", "camera_front.png"};
constexpr const char *SECOND_FOLDER = "/data/"; // where the log folder takes no file

struct Picture {
    std::vector<uint32_t> pixels;
    int width = 0, height = 0;
};

// Handed over from the library's thread: the newest picture, one message at a time.
struct Handed {
    Picture live, snapshot;
    bool live_fresh = false, snapshot_fresh = false, failed = false, posted = false;
};
std::mutex g_lock;
Handed g_handed;

// GUI thread.
int g_camera = NONE; // the one that runs
Picture g_shown;
bool g_seen = false, g_failed = false, g_frozen = false; // frozen: the snapshot is shown, until a touch
int64_t g_next_frame = 0;
HWND g_note = HWND_NULL; // below the picture
Worker g_saver;
// A snapshot's way: asked by one thread, answered once.
std::atomic<bool> g_asked{false}, g_saved{false};

tp_os_sema_t answered() {
    static const tp_os_sema_t sema = tp_os_sema_create(0);
    return sema;
}

bool start_camera(int camera);
int stop_camera(int camera);
template <int camera> bool start() { return start_camera(camera); }
template <int camera> int stop() { return stop_camera(camera); }
bool may_pass() { return g_seen && !g_failed; }
bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void paint(HWND hwnd, HDC hdc);

TestWindow g_windows[CAMERAS] = {
    {.domain = "TKI_CAMERA_BACK", .title_key = "title_MainCameraTest", .station = 288, .may_pass = may_pass,
     .pass_after_ms = FOOL_PROOF_MS, .start = start<TKI_CAMERA_BACK>, .stop = stop<TKI_CAMERA_BACK>, .proc = proc,
     .paint = paint},
    {.domain = "TKI_CAMERA_AUX", .title_key = "title_AuxCameraTest", .may_pass = may_pass, .pass_after_ms = FOOL_PROOF_MS,
     .start = start<TKI_CAMERA_AUX>, .stop = stop<TKI_CAMERA_AUX>, .proc = proc, .paint = paint},
    {.domain = "TKI_CAMERA_FRONT", .title_key = "title_FrontCameraTest", .may_pass = may_pass,
     .pass_after_ms = FOOL_PROOF_MS, .start = start<TKI_CAMERA_FRONT>, .stop = stop<TKI_CAMERA_FRONT>, .proc = proc,
     .paint = paint},
};

bool is_camera(int camera) { return camera >= 0 && camera < CAMERAS; }
TestWindow &running() { return g_windows[g_camera]; }

// ---- the library's thread ---------------------------------------------------------------------------------

bool usable(const tki_camera_frame &frame) {
    const auto good = [](int side) { return side > 0 && side <= SIDE_MAX; };
    return frame.pixels && good(frame.width) && good(frame.height) &&
           frame.stride >= frame.width * static_cast<int>(sizeof(uint32_t)) && frame.stride % 4 == 0;
}

void copy(const tki_camera_frame &frame, Picture &to) {
    to.width = frame.width;
    to.height = frame.height;
    to.pixels.clear();
    for (int y = 0; y < frame.height; ++y) {
        const uint32_t *line = frame.pixels + static_cast<ptrdiff_t>(y) * (frame.stride / 4);
        to.pixels.insert(to.pixels.end(), line, line + frame.width);
    }
}

void hand_over_locked(const tki_module_data &module) {
    const auto *frame = static_cast<const tki_camera_frame *>(module.data);
    if (module.result != 0 || !frame || !usable(*frame)) {
        g_handed.failed = true;
        return;
    }
    copy(*frame, frame->snapshot ? g_handed.snapshot : g_handed.live);
    (frame->snapshot ? g_handed.snapshot_fresh : g_handed.live_fresh) = true;
}

// The camera's number and its window stand from before the start until after the stop.
void on_frame(tki_module_data *module) {
    if (!module || module->type != TKI_MODULE_CAMERA) return;
    bool post = false;
    {
        const std::lock_guard guard(g_lock);
        hand_over_locked(*module);
        post = !std::exchange(g_handed.posted, true);
    }
    if (post) test_frame_tell(running(), 0);
}

// ---- snapshots --------------------------------------------------------------------------------------------

void answer(bool saved) {
    if (!g_asked.exchange(false)) return;
    g_saved = saved;
    tp_os_sema_put(answered());
}

void save(Picture &picture, const char *name, HWND hwnd) {
    const BITMAP bitmap{picture.width, picture.height, picture.pixels.data()};
    std::string path = std::string(g_chLogPath) + name;
    int result = SaveBitmapToFile(&bitmap, path.c_str());
    if (result != 0) {
        path = std::string(SECOND_FOLDER) + name;
        result = SaveBitmapToFile(&bitmap, path.c_str());
    }
    if (result != 0) LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s no file for the snapshot: %s", __func__, strerror(errno));
    else LOG_RAW(ANDROID_LOG_INFO, TAG, "snapshot %s", path.c_str());
    PostMessage(hwnd, MSG_SAVED, result == 0 ? 1 : 0, 0);
    answer(result == 0);
}

bool ask_snapshot() {
    if (g_camera == NONE || !running().started || g_failed || g_asked.exchange(true)) return false;
    while (tp_os_sema_get(answered(), 0) == 0) {} // of a snapshot nobody waited for
    if (tki_api_camera_start_capture && tki_api_camera_start_capture() == 0) return true;
    g_asked = false;
    return false;
}

void note(const char *key, int color = LINE_NORMAL) {
    SetWindowTextColor(g_note, SysPixelIndex[color]);
    SetWindowText(g_note, lang_text(key));
}

void show_snapshot(HWND hwnd) {
    g_frozen = true;
    const char *name = FILES[g_camera];
    if (!g_saver.start("snapshot", [picture = g_shown, name, hwnd]() mutable { save(picture, name, hwnd); })) answer(false);
}

// ---- the window -------------------------------------------------------------------------------------------

int note_height() { return 5 * GetLogFontHeight(g_font_text) / 2; } // two lines

// Where the picture stands: as large as it fits between the title and the note.
RECT picture_rect(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const int top = status_bar_height(), width = client.right, height = client.bottom - top - note_height();
    if (g_shown.width <= 0 || width <= 0 || height <= 0) return {0, top, 0, top};
    const bool wide = int64_t{g_shown.width} * height > int64_t{g_shown.height} * width;
    const int w = wide ? width : static_cast<int>(int64_t{height} * g_shown.width / g_shown.height);
    const int h = wide ? static_cast<int>(int64_t{width} * g_shown.height / g_shown.width) : height;
    return {(width - w) / 2, top + (height - h) / 2, (width - w) / 2 + w, top + (height - h) / 2 + h};
}

void paint(HWND hwnd, HDC hdc) {
    const RECT box = picture_rect(hwnd);
    if (RECTW(box) <= 0) return;
    const BITMAP bitmap{g_shown.width, g_shown.height, g_shown.pixels.data()};
    FillBoxWithBitmap(hdc, box.left, box.top, RECTW(box), RECTH(box), &bitmap);
    if (std::exchange(g_seen, true)) return;
    note("info_CameraNote"); // it may have been called silent
    test_frame_delay_pass(running());
}

enum class Taken { nothing, live, snapshot, failure };
Taken take() {
    const std::lock_guard guard(g_lock);
    g_handed.posted = false;
    const bool live = std::exchange(g_handed.live_fresh, false);
    if (g_handed.failed) return Taken::failure;
    if (std::exchange(g_handed.snapshot_fresh, false)) {
        std::swap(g_shown, g_handed.snapshot);
        return Taken::snapshot;
    }
    if (!live || g_frozen) return Taken::nothing;
    std::swap(g_shown, g_handed.live);
    return Taken::live;
}

void show_newest(HWND hwnd) {
    const RECT before = picture_rect(hwnd);
    switch (take()) {
    case Taken::nothing: return;
    case Taken::failure:
        g_failed = true;
        note("info_CameraFailed", LINE_BAD);
        test_frame_refresh_keys(running());
        answer(false);
        return;
    case Taken::snapshot: show_snapshot(hwnd); break;
    case Taken::live: break;
    }
    const RECT box = picture_rect(hwnd);
    const bool same = memcmp(&before, &box, sizeof box) == 0;
    InvalidateRect(hwnd, same ? &box : nullptr, !same);
}

// At most 25 pictures a second on average; the newest one wins.
void on_handed(HWND hwnd) {
    const int64_t now = tp_clock_mono_ns(), early = g_next_frame - now;
    if (early > TICK_NS) {
        SetTimer(hwnd, FRAME_TIMER, static_cast<unsigned>(early / TICK_NS));
        return;
    }
    g_next_frame = std::max(g_next_frame, now - FRAME_NS) + FRAME_NS;
    show_newest(hwnd);
}

void on_touch() {
    if (std::exchange(g_frozen, false)) note("info_CameraNote");
    else if (tki_api_camera_do_autofocus && tki_api_camera_do_autofocus() == 0) note("info_CameraFocus");
}

bool on_timer(HWND hwnd, WPARAM timer) {
    if (timer == SILENCE_TIMER) {
        KillTimer(hwnd, SILENCE_TIMER);
        if (!g_seen) note("info_CameraFailed", LINE_BAD);
    } else if (timer == FRAME_TIMER) {
        KillTimer(hwnd, FRAME_TIMER);
        on_handed(hwnd);
    } else return false;
    return true;
}

bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    *result = 0;
    if (g_camera == NONE || !running().started) return false;
    switch (message) {
    case MSG_CALLBACK: on_handed(hwnd); return true;
    case MSG_SAVED: note(wParam ? "info_SnapshotSaved" : "info_SnapshotLost", wParam ? LINE_GOOD : LINE_BAD); return true;
    case MSG_LBUTTONUP: on_touch(); return true;
    case MSG_TIMER: return on_timer(hwnd, wParam);
    case MSG_KEYDOWN:
        if (wParam != KEY_START) return false;
        ask_snapshot();
        return true;
    default: return false;
    }
}

void create_note(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    g_note = CreateWindowEx("static", "", WS_VISIBLE | SS_CENTER | SS_CENTERIMAGE, 0, NOTE_ID, 0, client.bottom - note_height(),
                            client.right, note_height(), hwnd, 0);
    SetWindowBkColor(g_note, SysPixelIndex[18]);
    SetWindowFont(g_note, g_font_text);
}

bool start_camera(int camera) {
    TestWindow &w = g_windows[camera];
    g_camera = camera;
    g_seen = g_failed = g_frozen = false;
    g_next_frame = 0;
    {
        const std::lock_guard guard(g_lock);
        g_handed = {};
    }
    const bool started = tki_api_camera_test_start && tki_api_camera_test_start(camera, on_frame) == 0;
    w.keys[1] = started ? "softkeybar_snapshot" : "";
    if (!started) {
        g_camera = NONE;
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s camera %d did not start", __func__, camera);
        return false;
    }
    create_note(w.hwnd);
    note("info_CameraNote");
    SetTimer(w.hwnd, SILENCE_TIMER, SILENCE_MS / 10);
    return true;
}

// Another camera than the one that runs has nothing to stop.
int stop_camera(int camera) {
    if (g_camera != NONE && g_camera != camera) return 0;
    const int result = tki_api_camera_test_stop ? tki_api_camera_test_stop() : -1;
    g_camera = NONE;
    answer(false);
    g_shown = {};
    const std::lock_guard guard(g_lock);
    g_handed = {};
    return result;
}
} // namespace

void mmi_testwnd_CameraBackTestEntry() { test_frame_open(g_windows[TKI_CAMERA_BACK]); }

void mmi_AutoTest_CameraBackTest_Stop_Entry() { test_frame_pc_close(g_windows[TKI_CAMERA_BACK]); }

int mmi_AutoTest_CameraTestEntry(int camera) { return is_camera(camera) ? test_frame_pc_start(g_windows[camera]) : 0; }

int mmi_AutoTest_CameraTest_Stop(int camera) { return is_camera(camera) ? test_frame_pc_stop(g_windows[camera]) : 0; }

int mmi_AutoTest_Camera_Snapshot(int camera) {
    const int asked = on_gui_thread([camera] { return camera == g_camera && camera != NONE && ask_snapshot() ? 1 : 0; });
    if (asked != 1) return 0;
    const bool in_time = tp_os_sema_get(answered(), SNAPSHOT_MS) == 0;
    if (!in_time) answer(false);
    return in_time && g_saved ? 1 : 0;
}
