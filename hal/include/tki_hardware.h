/* lib_factory.so: further hardware beyond tki_factory.h, bound by single tests on their first use unless tki_factory.h has
   them among its 60. Same rules: int, 0 success, -1 failure or "not fitted" at once and logged; any thread. Starts with a
   callback deliver on a thread of the library until their stop; no callback runs after the stop returned, except the one
   that calls it; do not stop while handling a message that the callback sends. A second start ends the first.

   Kernel interfaces are named with each group; docs/porting.md has them in full. On a handset where a node is missing, the
   part is not fitted. */
#ifndef TKI_HARDWARE_H
#define TKI_HARDWARE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct tki_module_data;
typedef void (*tki_event_callback)(struct tki_module_data *data);

/* Lights: LED class, /sys/class/leds/NAME/brightness; levels 0 to 255 are scaled to max_brightness. Set: by number.
   FlashlightTest_Start(light) is Light_Set(TKI_LIGHT_FLASH_BACK + light, 255) with light 0 to 2; FlashlightTest_Stop()
   puts all three out. AlllightTest_Start() is all that are fitted but the display's at full power (-1: none, or one of them
   not), AlllightTest_Stop() all out; no arguments. */
#define TKI_LIGHT_RED 0
#define TKI_LIGHT_GREEN 1
#define TKI_LIGHT_BLUE 2
#define TKI_LIGHT_KEYS 3        /* button-backlight */
#define TKI_LIGHT_FLASH_BACK 4  /* flashlight */
#define TKI_LIGHT_FLASH_BACK2 5 /* flashlight2 */
#define TKI_LIGHT_FLASH_FRONT 6 /* flashlight-front */
#define TKI_LIGHT_LCD 7         /* lcd-backlight */
#define TKI_LIGHTS 8
typedef int (*tki_api_Light_Set_t)(int light, int level);
typedef int (*tki_api_Light_Fitted_t)(int light); /* 1 or 0 */

/* Sensors: IIO devices, /sys/bus/iio/devices/iio:deviceN; found by the channel files they have. Value: (raw + offset) *
   scale; offset and scale are of all axes or of each one (missing: 0 and 1); the sensor itself adds calibbias, in steps, to
   raw. Sampled every 50 ms between Sensors_Test_Start(cb) and Sensors_Test_Stop(). One event per sensor and sample, of
   TKI_MODULE_SENSORS; a sensor that is not fitted, or whose read fails, is told once with result -1. */
#define TKI_SENSOR_LIGHT 0         /* in_illuminance_*: lux, values[0] */
#define TKI_SENSOR_PROXIMITY 1     /* in_proximity_*: values[0] raw nearness, higher is nearer */
#define TKI_SENSOR_ACCELEROMETER 2 /* in_accel_[xyz]_*: m/s^2 */
#define TKI_SENSOR_MAGNETIC 3      /* in_magn_[xyz]_*: microtesla (the kernel's gauss times 100) */
#define TKI_SENSOR_GYROSCOPE 4     /* in_anglvel_[xyz]_*: rad/s */
#define TKI_SENSOR_PRESSURE 5      /* in_pressure_*: hPa (the kernel's kPa times 10) */
#define TKI_SENSOR_HEART_RATE 6    /* in_heartrate_*: beats per minute */
#define TKI_SENSORS 7
struct tki_sensor_event {
    int32_t sensor;
    int32_t count;    /* values that are meant: 1 or 3 */
    float values[3];
    int64_t time_ns;  /* CLOCK_MONOTONIC */
};
typedef int (*tki_api_Sensor_Fitted_t)(int sensor); /* 1 or 0 */
/* One sample now. */
typedef int (*tki_api_Sensor_Read_t)(int sensor, struct tki_sensor_event *out);
/* tki_api_Sensors_Calibration(sensor): at rest, flat, far and in the dark the next 20 samples' mean becomes the zero:
   accelerometer and gyroscope write in_*_calibbias per axis (gravity stays on z), proximity and light in_*_calibbias;
   others -1. Takes one second. A handset that does not lie flat and still is refused, and nothing changes. */
/* The heart rate sensor's own check (attribute self_test, which answers 1). */
typedef int (*tki_api_HeartRate_SelfTest_t)(void);

/* Cards. SIM: /sys/class/sim/simN/{present,state,iccid}; state READY when it answers (or that it
   is locked: PIN_REQUIRED, PUK_REQUIRED, NETWORK_LOCKED). SD: the first removable block device
   below /sys/class/mmc_host/HOST/CARD (name; block/NAME/{size,removable}, 512-byte sectors); a host without a card is an
   empty slot. AllCard_Test_Start(cb) reports all slots once, then each change, as TKI_MODULE_CARDS. Card_Read: one slot now;
   -1 when it is not fitted. */
#define TKI_CARD_SIM0 0
#define TKI_CARD_SIM1 1
#define TKI_CARD_SD 4
struct tki_card_event {
    int32_t card;
    int32_t fitted;  /* 0: the handset has no such slot */
    int32_t present; /* a card is in it and answers */
    uint64_t bytes;  /* SD: capacity */
    char text[64];   /* SIM: ICCID; SD: name */
};
typedef int (*tki_api_Card_Read_t)(int card, struct tki_card_event *out);

/* Cameras: V4L2 capture (YUYV, RGB24 or XRGB32), /dev/video0 back, /dev/video1 auxiliary back, /dev/video2 front. An ordinary
   file in a device's place (PNG) is a still picture. tki_api_camera_test_start(camera, cb): frames as TKI_MODULE_CAMERA, at
   most 25 a second, until tki_api_camera_test_stop; a camera that fails later is told once with result -1 and no frame.
   tki_api_camera_start_capture: the next frame carries snapshot 1; -1 when no camera runs. tki_api_camera_do_autofocus: -1
   where the lens is fixed (V4L2_CID_AUTO_FOCUS_START) or no camera runs. */
#define TKI_CAMERA_BACK 0
#define TKI_CAMERA_AUX 1
#define TKI_CAMERA_FRONT 2
#define TKI_MODULE_CAMERA 107
struct tki_camera_frame {
    int32_t width, height, stride; /* pixels, pixels, bytes */
    int32_t snapshot;              /* 1: answers start_capture */
    const uint32_t *pixels;        /* 0x00RRGGBB; lives for the call */
};
/* Board test: the first `count` of `all` cameras (back, front, auxiliary) have the identifier (the text of
   /sys/class/video4linux/videoN/name) that the production record names (keys camera0, camera1, camera2 of vxoprod); where it
   names none, any. 0, or -1. */
typedef int (*tki_api_cameraID_test_t)(int count, int all);

/* Parts that answer with events: tag or finger seen, switch turned, press felt. type as below; data: struct tki_part_event. */
#define TKI_MODULE_NFC 108         /* /sys/class/nfc/nfc0/{powered,tag}; blocked by rfkill: not fitted. text: the tag's UID */
#define TKI_MODULE_FINGERPRINT 109 /* /sys/class/fingerprint/fp0/{enable,finger}: value 1 while a finger lies on it */
#define TKI_MODULE_HALL 131        /* /sys/class/switch/hall/state (SW_LID): value 1 while the magnet is near */
#define TKI_MODULE_FORCE 132       /* /sys/class/force_touch/ft0/{enable,raw,bias,calibrate}: value = strongest cell in grams */
/* These attributes tell poll of their changes. tag is empty without one; tag, finger and raw only answer while powered or
   enabled. raw and bias hold a number per cell, blanks between; 1 written to calibrate makes raw the bias; load: raw - bias. */
struct tki_part_event {
    int32_t value;
    char text[64];
};
/* tki_api_NFC_Test_Start, tki_api_Fingerprint_Test_Start, tki_api_HallSensor_Test_Start, tki_api_ForceTouch_Test_Start:
   the present state at once, then every change. Stops: ..._Test_Stop, no arguments. */
typedef int (*tki_api_event_start_t)(tki_event_callback cb);
/* Force touch, on or off: Calibrate takes the present load as zero; Read puts the cells' biases into out, at most max. Count, or -1. */
typedef int (*tki_api_ForceTouch_Calibrate_t)(void);
typedef int (*tki_api_ForceTouch_Read_t)(int *out, int max);
/* Smart power amplifier: calibrates its speaker (1 to attribute calibrate of /sys/class/smartpa/spa0) and reads the impedance
   in milliohm (attribute impedance, 0 before, at most 2 s); good between min_impedance and max_impedance of the same folder.
   Calibrate: 0 when good; milliohm is told whenever it could be read. */
typedef int (*tki_api_SmartPA_Calibrate_t)(int *milliohm);
typedef int (*tki_api_SmartPA_Read_t)(int *milliohm, int *min, int *max);
/* Touch panel's own test: /proc/touchscreen/ts_self_test, written 1, then reads 1 pass, 2 fail, 0 at work. At most 5 s. */
typedef int (*tki_api_TouchPanel_SelfTest_t)(void);

/* FM radio: /sys/class/radio/radio0/{enable,frequency,volume,rssi}: 0 or 1; kHz; 0 to 15; dBm, below 0. 64 to 108 MHz.
   Frequency as in tki_factory.h, units of 10 kHz; volume 0 to 15, remembered while the library is loaded. The headset is the
   aerial. tki_api_FM_Get_Rssi(): dBm, or -1 when off. Starting again retunes. */

/* tki_api_WifiDevDetect, tki_api_BTDevDetect, tki_api_FMDevDetect, no arguments: 0 when that radio is fitted (its node below has
   an address, respectively /sys/class/radio/radio0 is there), blocked or not. */

/* Board tests. One at a time, a start ends the one before; each reports one TKI_PCBA_... event, with result 0 at once where
   the part is not fitted, and ends by itself or by its stop. A start answers 0 when its event will come. What passes:
     cpu        every core that may run (at least `cores`) computes right for `seconds` (0: 1 s), and the highest of
                /sys/devices/system/cpu/cpuN/cpufreq/cpuinfo_max_freq (kHz) is at least min_khz
     memory     MemTotal of /proc/meminfo lies within the limits (a limit of 1 or less: none) and a pattern test holds
     bluetooth  /sys/class/bluetooth/hci0/address; no /sys/class/rfkill/rfkillN of type bluetooth is blocked (hard, soft).
                value: 1 while it answers
     wifi       /sys/class/net/wlan0/address, type wlan; value as before
     battery    /sys/class/power_supply/battery: present, 2.5 to 4.6 V, 0 to 45 degrees, health Good; text: what was read
     gps        a line beginning with $ within 5 s, from /dev/gnss0 or else the attribute nmea of /sys/class/gnss/gnss0;
                value: 1
     storage    a probe file on /data reads back; value: size of that file system
     sdcard     a card is in the slot (tki_api_Card_Read) and has a size
     sim        slots 0 to slots - 1 hold a card that answers; value: how many
     touch      /proc/touchscreen/ts_status is 2 (good); value: its number
     fm         the radio tunes to channel ("98.7" MHz or "9870"; empty: 98.0) and receives -90 dBm or more; value: dBm
     wgb        tki_api_wgb_start(what, on) writes `what` (or 0 when off) to /sys/class/wgb/wgb0/enable and reads it back */
#define TKI_PCBA_CPU 110       /* data: struct tki_pcba_number, value: highest frequency in kHz */
#define TKI_PCBA_MEMORY 111    /* number: MiB */
#define TKI_PCBA_BLUETOOTH 113 /* struct tki_pcba_value */
#define TKI_PCBA_BATTERY 114   /* struct tki_pcba_text */
#define TKI_PCBA_WIFI 115      /* value */
#define TKI_PCBA_FM 116        /* value: RSSI */
#define TKI_PCBA_GPS 117       /* value */
#define TKI_PCBA_STORAGE 119   /* number: GB (10^9) */
#define TKI_PCBA_SDCARD 120    /* number: MB (10^6) */
#define TKI_PCBA_SIM 121       /* value: slots that answered */
#define TKI_PCBA_TOUCH 122     /* value */
struct tki_pcba_number { uint64_t value; int32_t result; }; /* result 1: pass */
struct tki_pcba_value { int32_t value; int32_t result; };
struct tki_pcba_text { char text[256]; int32_t result; };
typedef int (*tki_api_cpu_start_t)(tki_event_callback cb, int cores, int min_khz, int seconds); /* 0 0 0: what there is */
typedef int (*tki_api_memory_start_t)(tki_event_callback cb, int64_t min_mib, int64_t max_mib);
typedef int (*tki_api_pcba_start_t)(tki_event_callback cb); /* bluetooth battery wifi gps storage sdcard touch */
typedef int (*tki_api_fm_start_t)(tki_event_callback cb, const char *channel);
typedef int (*tki_api_sim_start_t)(tki_event_callback cb, int slots);
typedef int (*tki_api_wgb_start_t)(int what, int on); /* 2, 1 or 0; non-zero: it answered */
typedef int (*tki_api_earpiece_start_t)(int unused);  /* mic2earpiece, auxmic2earpiece: sound loops of tki_factory.h */

#ifdef __cplusplus
}
#endif
#endif
