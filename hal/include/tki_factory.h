/* lib_factory.so: the contract of the device factory library. A port implements these 60 functions (and those bound
   later by single tests) or leaves optional ones out. C and C++; all results are int, 0 success and -1 failure or
   "not fitted" unless said otherwise. A part that is not fitted answers at once. Any thread unless said otherwise. */
#ifndef TKI_FACTORY_H
#define TKI_FACTORY_H

#include <stdint.h>
#include "tki_lcd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What a library callback delivers. data belongs to the library and lives for the call. */
struct tki_module_data {
    int type;         /* TKI_MODULE_... */
    int result;       /* 0 success */
    const void *data; /* by type */
};
#define TKI_MODULE_TESTINFO 104 /* data: struct tki_testinfo_record */
#define TKI_MODULE_SENSORS 105  /* data: struct tki_sensor_event */
#define TKI_MODULE_CARDS 106    /* data: struct tki_card_event */
typedef void (*tki_callback)(struct tki_module_data *data);

#define TKI_FLAG_AREA 256 /* bytes of the result flag area; 100 of them carry 400 stations */

/* Texts are zero-terminated. */
struct tki_testinfo_record {
    char software_version[256]; /* may hold two lines: external, internal */
    char hardware_version[256];
    uint8_t flags[TKI_FLAG_AREA];
    char psn[256];
    char boardnum[256];
    char flash_info[256];
};

/* mode */
typedef int (*tki_api_tki_mode_init_t)(int mode); /* 0: enter the test mode */
typedef int (*tki_api_tki_mode_uninit_t)(void);

/* Test information: one asynchronous answer of TKI_MODULE_TESTINFO on a thread of the library. Stop ends a pending
   request; no callback runs after it returned, except the one that calls it. A new request ends a pending one. Do not
   stop while handling a message that the callback sends: each would wait for the other. */
typedef int (*tki_api_Get_TestInfo_t)(tki_callback cb);
typedef int (*tki_api_Get_TestInfo_Stop_t)(void);

/* Result flags. Read: the byte at byte_index, or 0. Write: durable before it returns. The whole area: 256 bytes. */
typedef int (*tki_api_ReadFuncTestInfoFlags_t)(int byte_index);
typedef int (*tki_api_WriteFuncTestInfoFlags_t)(int byte_index, uint8_t value);
typedef int (*tki_api_GetTestInfoFlag_t)(uint8_t *area256);

/* Versions: the text into out (at most size bytes with terminator). Length, or -1. */
typedef int (*tki_api_GetText_t)(char *out, int size); /* GetSoftVersion, GetHardVersion, GetPSN, GetBoardNum, GetFlashType */

/* Cameras: 0 back, 2 front. */
typedef int (*tki_api_camera_test_start_t)(int camera);
typedef int (*tki_api_int_t)(void); /* every start or stop without arguments */

/* Vibrator: milliseconds, -1 until stopped (the driver's limit is renewed). */
typedef int (*tki_api_Vibrator_Test_Start_t)(int ms);

/* Bound later by single tests. Loopback: microphone and output codes, parameter text, receiver of headset events. */
typedef int (*tki_api_Audio_Loopback_Test_Start_t)(int microphone, int output, const char *parameter, tki_callback cb);
typedef int (*tki_api_FlashlightTest_Start_t)(int light);

/* Callback starts: cards, sensors. Sensors_Calibration: sensor number. */
typedef int (*tki_api_callback_start_t)(tki_callback cb);
typedef int (*tki_api_Sensors_Calibration_t)(int sensor);

/* Audio. RingTest_Start: ring tone number. HiFiTest_auto_Start: parameter text. */
typedef int (*tki_api_Audio_RingTest_Start_t)(int tone);
typedef int (*tki_api_Audio_HiFiTest_auto_Start_t)(const char *parameter);
typedef int (*tki_api_Audio_SetVolume_t)(int a, int b, int volume); /* called with (1, 1, volume 0..100) */
typedef int (*tki_api_Audio_GetVolume_t)(int a, int b);             /* called with (1, 1); the volume, or -1 */
/* 1 plugged, 0 not, -1 not fitted */
typedef int (*tki_api_GetHeadsetState_t)(void);

/* FM: frequency in units of 10 kHz. */
typedef int (*tki_api_FM_Test_Start_t)(int frequency);
typedef int (*tki_api_FM_Set_Vol_t)(int volume);

typedef int (*tki_api_SetSystemIdleStatus_t)(int idle);

#ifdef __cplusplus
}
#endif
#endif
