#include "kernel/hardware_parts.h"

#include "kernel/hardware_nodes.h"

#include <stdexcept>

namespace vh {

namespace {
#define VIDEO "/sys/class/video4linux/video"
#define LED "/sys/class/leds/"
#define IIO "/sys/bus/iio/devices/iio:device"
#define RFKILL "/sys/class/rfkill/rfkill"
const Part PARTS[] = {
    {"camera-back", "/dev/video0", {VIDEO "0"}},
    {"camera-aux", "/dev/video1, the second camera on the back", {VIDEO "1"}},
    {"camera-front", "/dev/video2", {VIDEO "2"}},
    {"sim0", "first SIM slot", {"/sys/class/sim/sim0"}},
    {"sim1", "second SIM slot", {"/sys/class/sim/sim1"}},
    {"sdcard", "slot for memory cards", {"/sys/class/mmc_host/mmc1/uevent", SD_CARD}},
    {"light", "light sensor", {IIO "0"}},
    {"proximity", "proximity sensor", {IIO "1"}},
    {"accelerometer", "rest and movement", {IIO "2"}},
    {"magnetometer", "compass", {IIO "3"}},
    {"gyroscope", "turning", {IIO "4"}},
    {"pressure", "barometer", {IIO "5"}},
    {"heartrate", "heart rate sensor", {IIO "6"}},
    {"hall", "switch for the lid's magnet", {"/sys/class/switch/hall"}},
    {"nfc", "reader of tags, and its kill switch", {"/sys/class/nfc/nfc0", RFKILL "3"}},
    {"fingerprint", "fingerprint reader", {"/sys/class/fingerprint/fp0"}},
    {"forcetouch", "cells that feel the pressure of a finger", {"/sys/class/force_touch/ft0"}},
    {"fm", "FM radio", {"/sys/class/radio/radio0"}},
    {"led", "red, green and blue light", {LED "red", LED "green", LED "blue"}},
    {"flash", "flashlight on the back", {LED "flashlight"}},
    {"flash2", "second flashlight on the back", {LED "flashlight2"}},
    {"flash-front", "flashlight on the front", {LED "flashlight-front"}},
    {"keylight", "light behind the keys", {LED "button-backlight"}},
    {"smartpa", "smart power amplifier of the speaker", {"/sys/class/smartpa/spa0"}},
    {"bluetooth", "and its kill switch", {"/sys/class/bluetooth/hci0", RFKILL "0"}},
    {"wifi", "and its kill switch", {"/sys/class/net/wlan0", RFKILL "1"}},
    {"gps", "and its kill switch", {"/sys/class/gnss/gnss0", RFKILL "2"}},
    {"wgb", "common switch of the radios", {"/sys/class/wgb/wgb0"}},
    {"usbhost", "USB port for devices", {"/sys/bus/usb/devices/usb1", USB_DEVICE}},
    {"board", "the board's idle state and low-cost mode", {"/sys/devices/platform/tki_factory"}},
    {"panel-aux", "second panel; it shows what the main one shows", {"/sys/class/graphics/fb1"}},
    {"vibrator", "motor that shakes", {LED "vibrator"}},
    {"touchselftest", "the touch panel's own test", {"/proc/touchscreen/ts_self_test"}},
    {"headset", "headset socket", {"/sys/class/switch/h2w"}},
    {"modem", "for RF tests", {"/sys/class/modem/modem0"}},
};
#undef VIDEO
#undef LED
#undef IIO
#undef RFKILL
} // namespace

std::span<const Part> hardware_parts() { return PARTS; }

const Part &hardware_part(const std::string &name) {
    std::string names;
    for (const Part &part : PARTS) {
        if (name == part.name) return part;
        names += (names.empty() ? "" : ", ") + std::string(part.name);
    }
    throw std::runtime_error("no part '" + name + "'; the parts are: " + names);
}

} // namespace vh
