#include "testwnd/mmi_testwnd_audioloopback.h"

#include <string>

#include "base/log_door.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_AUDIO_LOOPBACK";

bool g_two_speakers = false;

bool start() {
    const tki_api_int_t operation = g_two_speakers ? tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start
                                                    : tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start;
    return operation && operation() == 0;
}

int stop() {
    const tki_api_int_t operation = tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop; // ends both kinds
    return operation ? operation() : -1;
}

void change_volume(int step) {
    if (!tki_api_Audio_SetVolume || !tki_api_Audio_GetVolume) return;
    const int level = tki_api_Audio_GetVolume(1, 1);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mainmic-receiver %s get vol=%d", step > 0 ? "KEY_UP" : "KEY_DOWN", level);
    if (level >= 0 && level + step >= 0) tki_api_Audio_SetVolume(1, 1, level + step);
}

bool proc(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_KEYDOWN || (wParam != KEY_VOLUP && wParam != KEY_VOLDOWN)) return false;
    change_volume(wParam == KEY_VOLUP ? 1 : -1);
    *result = 0;
    return true;
}

void paint(HWND, HDC hdc) {
    draw_top_line(hdc);
}

TestWindow g_window{.domain = "TKI_AUDIO_LOOPBACK", .title_key = "title_LoopBackTest", .station = 300,
                    .pass_after_ms = FOOL_PROOF_MS, .start = start, .stop = stop, .note_key = "info_LoopBackNote",
                    .proc = proc, .paint = paint};
} // namespace

void mmi_testwnd_AudioLoopBackTestEntry() {
    ConfigPara paras[12] = {};
    std::string text;
    const int count = test_item_parameters(TAG, paras, 12);
    // Which microphone the board routes to the speaker is the library's matter: these two are only noted.
    const int auxiliary = parameter_value(paras, count, "AuxiliaryMIC", "0", &text);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::CONFIG_AUXILIARYMIC=%s,g_auxiliarymic=%d", __func__, text.c_str(), auxiliary);
    const int wakeup = parameter_value(paras, count, "WakeupMIC", "0", &text);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::CONFIG_WAKEUPMIC=%s,g_wakeupmic=%d", __func__, text.c_str(), wakeup);
    g_two_speakers = parameter_value(paras, count, "TwoSpeaker") == 1;
    test_frame_open(g_window);
}
