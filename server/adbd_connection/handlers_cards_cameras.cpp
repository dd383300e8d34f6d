// Handlers of the cards and the cameras.
#include <algorithm>
#include <cstdlib>
#include <limits>

#include "adbd_connection/handlers.h"
#include "testwnd/test_entries.h"
#include <tki_hardware.h>

namespace {
constexpr char LAST_SIM_DIGIT = '3';
constexpr int SIM_SLOTS = 4;

// What the text begins with; 0 without a number.
int decimal_of(const char *text) {
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), std::numeric_limits<int>::min(),
                                             std::numeric_limits<int>::max()));
}

int sim_from(const char *text, char *out, int maxoutlen) {
    const int index = decimal_of(text);
    if (*text > LAST_SIM_DIGIT || index < 0 || index >= SIM_SLOTS) {
        LOG_RAW(ANDROID_LOG_ERROR, AT_TAG, "%s::sim index=%d error", "AutoTest_sim_Read", index);
        return 0;
    }
    return mmi_AutoTest_sim_Read(index, out, maxoutlen);
}

int sdcard_from(const char *text, char *out, int maxoutlen) {
    if (const int index = decimal_of(text); index != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, AT_TAG, "%s::sdcard index=%d error", "AutoTest_SDCard_Read", index);
        return 0;
    }
    return mmi_AutoTest_SDCard_Read(out, maxoutlen);
}
} // namespace

VXO_COMMAND(AutoTest_sim_Read, normalised(bufIn ? sim_from(bufIn, bufOut, maxoutlen) : 0))
VXO_COMMAND(AutoTest_SDCard_Read, normalised(bufIn ? sdcard_from(bufIn, bufOut, maxoutlen) : 0))

VXO_COMMAND(AutoTest_frontcamera_Start, normalised(mmi_AutoTest_CameraTestEntry(TKI_CAMERA_FRONT)))
VXO_COMMAND(AutoTest_frontcamera_Snapshot, normalised(mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_FRONT)))
VXO_COMMAND(AutoTest_frontcamera_Stop, normalised(mmi_AutoTest_CameraTest_Stop(TKI_CAMERA_FRONT)))
VXO_COMMAND(AutoTest_backcamera_Start, normalised(mmi_AutoTest_CameraTestEntry(TKI_CAMERA_BACK)))
VXO_COMMAND(AutoTest_backcamera_Snapshot, normalised(mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_BACK)))
VXO_COMMAND(AutoTest_backcamera_Stop, normalised(mmi_AutoTest_CameraTest_Stop(TKI_CAMERA_BACK)))
VXO_COMMAND(AutoTest_auxbackcamera_Start, normalised(mmi_AutoTest_CameraTestEntry(TKI_CAMERA_AUX)))
VXO_COMMAND(AutoTest_auxbackcamera_Snapshot, normalised(mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_AUX)))
VXO_COMMAND(AutoTest_auxbackcamera_Stop, normalised(mmi_AutoTest_CameraTest_Stop(TKI_CAMERA_AUX)))
