// The phases that load the hardware: video (panel, speaker, vibrator together), cameras, processor cores.
#include <algorithm>
#include <cstdio>
#include <deque>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_os.h>

#include "AgingTest/aging_cpu.h"
#include "AgingTest/aging_files.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "base/log_door.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"

namespace {
constexpr int64_t MS = 1000000, MINUTE_MS = 60000;
constexpr int COLOR_MS = 2000, TONE_MS = 5000, TONES = 20, VIBRATION_MS = 1000, VIBRATION_PAUSE_MS = 1000;
constexpr int64_t PICTURE_MS = 10000, LOOK_FOR_STOP_MS = 500;
constexpr int CPU_SHOW_EVERY = 5;
constexpr int CAMERA_ORDER[] = {TKI_CAMERA_BACK, TKI_CAMERA_FRONT, TKI_CAMERA_AUX};

// Runs what it is given over and over for its time, counts, logs and records.
struct Exercise {
    const char *name; // of the record
    const char *log_name;
    int minutes;
    int step_ms; // from one to the next
    bool (*once)(int step);
    void (*finish)();
};

void run_exercise(const Exercise &e) {
    const AgingLog own(e.log_name);
    writetkilog(own.file(), e.name, "%s begin, %d minutes", e.name, e.minutes);
    const int64_t end = tp_clock_mono_ns() + e.minutes * MINUTE_MS * MS;
    int good = 0, bad = 0;
    while (tp_clock_mono_ns() < end && !aging_stopped()) {
        if (e.once(good + bad)) {
            ++good;
        } else {
            ++bad;
            writetkilog(own.file(), e.name, "number %d failed, %d failures", good + bad, bad);
            aging_fail(AGING_FAIL_VIDEO);
        }
        aging_wait_ms(std::min<int64_t>(e.step_ms, (end - tp_clock_mono_ns()) / MS + 1));
    }
    e.finish();
    for (FILE *file : {own.file(), g_aging_log}) writetkilog(file, e.name, "%s end, success:%d,fail:%d.", e.name, good, bad);
    if (bad)
        writetkilog_NoTime(g_agingresult_log, e.name, "Result=Fail\nComment=%d times", bad);
    else if (!aging_stopped())
        writetkilog_NoTime(g_agingresult_log, e.name, "Result=success\nComment=%d minutes", e.minutes);
}

bool show_color(int step) {
    aging_show_lcd(step % aging_lcd_colors());
    return tki_api_LCD_Refresh && tki_api_LCD_Refresh(nullptr) >= 0; // the number of a page
}
void LcdColorTest_AgingTest_1() {
    run_exercise({"LCD", "LcdColorAging.txt", g_iAgingVedioTestTime, COLOR_MS, show_color, [] {}});
}

void Speaker_Ring_AgingTest() {
    run_exercise({"Speaker", "SpeakerAging.txt", g_iAgingVedioTestTime, TONE_MS,
                  [](int step) { return tki_api_Audio_RingTest_Start && tki_api_Audio_RingTest_Start(step % TONES) == 0; },
                  [] {
                      if (tki_api_Audio_RingTest_Stop) tki_api_Audio_RingTest_Stop();
                  }});
}

void Vibrator_AgingTest() {
    run_exercise({"Vibrator", "VibratorAging.txt", g_iAgingVibratorTime, VIBRATION_MS + VIBRATION_PAUSE_MS,
                  [](int) { return tki_api_Vibrator_Test_Start && tki_api_Vibrator_Test_Start(VIBRATION_MS) == 0; },
                  [] {
                      if (tki_api_Vibrator_Test_Stop) tki_api_Vibrator_Test_Stop();
                  }});
}

// ---- cameras -------------------------------------------------------------------------------------------------

// What the library's thread saw of the camera that runs.
struct Seen {
    std::atomic<bool> picture{false}, snapshot{false}, failed{false};
    tp_os_sema_t changed = tp_os_sema_create(0);
};
Seen &seen() {
    static Seen one;
    return one;
}

void on_picture(tki_module_data *module) {
    if (!module || module->type != TKI_MODULE_CAMERA) return;
    const auto *frame = static_cast<const tki_camera_frame *>(module->data);
    Seen &s = seen();
    if (module->result != 0 || !frame || !frame->pixels || frame->width <= 0 || frame->height <= 0) {
        s.failed = true;
    } else if (frame->snapshot) {
        s.snapshot = true;
    } else if (s.picture.exchange(true)) {
        return; // one wakes; the others are looked at by nobody
    }
    tp_os_sema_put(s.changed);
}

bool wait_for(const std::atomic<bool> &what) {
    Seen &s = seen();
    const int64_t end = tp_clock_mono_ns() + PICTURE_MS * MS;
    while (!what && !s.failed && !aging_stopped()) {
        const int64_t left = (end - tp_clock_mono_ns()) / MS;
        if (left <= 0) return false;
        tp_os_sema_get(s.changed, std::min(left, LOOK_FOR_STOP_MS));
    }
    return what && !s.failed;
}

void Camera_AgingTest() {
    const AgingLog log("CameraAging.txt");
    const int cameras = std::clamp(g_iCameraTotalNum, 0, static_cast<int>(std::size(CAMERA_ORDER)));
    int good = 0, bad = 0;
    writetkilog(log.file(), "Camera", "CameraAging begin, %d rounds, %d cameras", g_iAgingCameraTotalNum, cameras);
    for (int round = 1; round <= g_iAgingCameraTotalNum && !aging_stopped(); ++round) {
        aging_show(SHOW_RUNNING, "CameraAging.\nCamera doing:%d/%d\nsuccess:%d,fail:%d.", round, g_iAgingCameraTotalNum,
                   good, bad);
        bool all = true;
        for (int i = 0; i < cameras && !aging_stopped(); ++i) {
            const bool works = Camera_Test_By_Id(CAMERA_ORDER[i]) == 0;
            if (aging_stopped()) break; // it was cut off
            all = all && works;
            if (!works) writetkilog(log.file(), "Camera", "round %d: camera %d failed", round, CAMERA_ORDER[i]);
        }
        if (!all) aging_fail(AGING_FAIL_CAMERA);
        if (!aging_stopped()) ++(all ? good : bad);
    }
    for (FILE *file : {log.file(), g_aging_log})
        writetkilog(file, "Camera", "CameraAging end, success:%d,fail:%d.", good, bad);
    if (bad)
        writetkilog_NoTime(g_agingresult_log, "Camera", "Result=Fail\nComment=%d times", bad);
    else if (!aging_stopped())
        writetkilog_NoTime(g_agingresult_log, "Camera", "Result=success\nComment=%d times", good);
}

// The sound loop beside the cameras: main microphone to receiver.
class SoundLoop {
public:
    SoundLoop() : began_(tp_clock_mono_ns()) {
        wanted_ = g_openaudioloop && tki_api_Audio_Acoustic_Loopback_Test_Start && tki_api_Audio_Acoustic_Loopback_Test_Stop;
        running_ = wanted_ && tki_api_Audio_Acoustic_Loopback_Test_Start() == 0;
    }
    ~SoundLoop() {
        if (!wanted_) return;
        tki_api_Audio_Acoustic_Loopback_Test_Stop();
        const double minutes = static_cast<double>(tp_clock_mono_ns() - began_) / static_cast<double>(MINUTE_MS * MS);
        if (running_)
            writetkilog_NoTime(g_agingresult_log, "SpeakerReceiver", "Result=success\nComment=%.1f minutes", minutes);
        else
            writetkilog_NoTime(g_agingresult_log, "SpeakerReceiver", "Result=Fail\nComment=%d times", 1);
        if (!running_) aging_fail(AGING_FAIL_CAMERA);
    }
    SoundLoop(const SoundLoop &) = delete;
    SoundLoop &operator=(const SoundLoop &) = delete;

private:
    int64_t began_;
    bool wanted_ = false, running_ = false;
};

void start_or_fail(Worker &worker, const char *name, void (*body)(), int verdict) {
    if (worker.start(name, body)) return;
    writetkilog(g_aging_log, AGING_TAG, "no thread for %s", name);
    aging_fail(verdict);
}

// The seconds that the busy threads are given; false when the run is to stop.
bool count_down() {
    const int64_t seconds = int64_t{g_cputime} * 60;
    for (int64_t i = 0; i < seconds; ++i) {
        if (i % CPU_SHOW_EVERY == 0) {
            const int left = static_cast<int>(seconds - i);
            aging_show(SHOW_RUNNING, "CPU Full Load : %d seconds left", left);
            writetkilog(g_aging_log, "CPU", "CPU Full Load : %d seconds left", left);
        }
        if (!aging_wait_ms(1000)) return false;
    }
    return true;
}
} // namespace

void aging_video_phase() {
    Worker lcd, speaker, vibrator;
    start_or_fail(lcd, "aging-lcd", LcdColorTest_AgingTest_1, AGING_FAIL_VIDEO);
    start_or_fail(speaker, "aging-speaker", Speaker_Ring_AgingTest, AGING_FAIL_VIDEO);
    if (g_bAging_VibratorTest == 1) start_or_fail(vibrator, "aging-vibrator", Vibrator_AgingTest, AGING_FAIL_VIDEO);
    for (Worker *worker : {&lcd, &speaker, &vibrator}) worker->join();
}

int Camera_Test_By_Id(int camera) {
    if (!tki_api_camera_test_start || !tki_api_camera_start_capture || !tki_api_camera_test_stop) return -1;
    Seen &s = seen();
    s.picture = s.snapshot = s.failed = false;
    while (tp_os_sema_get(s.changed, 0) == 0) {
    } // of the camera before
    if (tki_api_camera_test_start(camera, on_picture) != 0) return -1;
    const bool good = wait_for(s.picture) && tki_api_camera_start_capture() == 0 && wait_for(s.snapshot);
    tki_api_camera_test_stop();
    return good ? 0 : -1;
}

void aging_camera_phase() {
    const SoundLoop loop;
    Worker camera;
    start_or_fail(camera, "aging-camera", Camera_AgingTest, AGING_FAIL_CAMERA);
    camera.join();
}

void aging_cpu_phase() {
    std::deque<Worker> busy(static_cast<size_t>(GetCoreCount()));
    std::atomic<int> wrong{0};
    int core = 0;
    for (Worker &worker : busy) {
        if (!worker.start("aging-busy", [&wrong, core] { wrong += JustRun(core); })) ++wrong;
        ++core;
    }
    const bool whole = count_down();
    for (Worker &worker : busy) worker.stop();
    if (wrong > 0) {
        aging_fail(AGING_FAIL_CPU);
        writetkilog_NoTime(g_agingresult_log, "CPU", "Result=Fail\nComment=%d times", wrong.load());
    } else if (whole) {
        writetkilog_NoTime(g_agingresult_log, "CPU", "Result=success\nComment=%d minutes", g_cputime);
    }
}
