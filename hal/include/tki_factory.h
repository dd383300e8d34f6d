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
#define TKI_MODULE_SENSORS 105  /* of a sensor test. data: struct tki_sensor_event */
#define TKI_MODULE_HEADSET 105  /* of a loopback test. data: const int *, TKI_HEADSET_... */
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

/* Cameras: 0 back, 1 auxiliary back, 2 front. cb gets the pictures, see tki_hardware.h. */
typedef int (*tki_api_camera_test_start_t)(int camera, tki_callback cb);
typedef int (*tki_api_int_t)(void); /* every start or stop without arguments */

/* Vibrator: milliseconds, -1 until stopped (the driver's limit is renewed). */
typedef int (*tki_api_Vibrator_Test_Start_t)(int ms);

/* Bound later by single tests. */
typedef int (*tki_api_FlashlightTest_Start_t)(int light);

/* Callback starts: cards, sensors. Sensors_Calibration: sensor number. */
typedef int (*tki_api_callback_start_t)(tki_callback cb);
typedef int (*tki_api_Sensors_Calibration_t)(int sensor);

/* Audio.

   One audio test runs at a time: a start ends the test before it, of whatever kind, and answers as soon as sound runs:
   0, or -1 at once (logged, with what to do) when a microphone, an output or the sound library is not fitted, is taken
   by somebody else, or an argument is wrong. What ran before has ended then, too. A test runs until it is stopped.
   A stop ends a test of its own pair and returns when no sound runs any more; with another test, or none, running it
   does nothing. Stops always answer 0. Any thread; nothing here calls back except as said at the loopback.

   Starts and stops without arguments (tki_api_int_t); where from, where to:
     Acoustic_Loopback_Test            main microphone -> receiver
     ReceiverCall_Loopback_Test        the same, as a call with the receiver has it
     SpeakerCall_Loopback_Test         main microphone -> speaker, as a hands-free call has it
     Acoustic_Loopback_Speaker_Test    main microphone -> speaker
     Acoustic_Loopback_Two_Speaker_Test_Start   main microphone -> speaker and upper speaker; ended by
                                                Acoustic_Loopback_Speaker_Test_Stop
     Acoustic_Loopback_Headset_Test    headset microphone -> headset
     Acoustic_Loopback_Auxiliary_MIC_Test       auxiliary microphone 1 -> receiver
     wakeupMic_on_Start, wakeupMic_Stop         wake-up microphone (the second auxiliary one) -> receiver
     Receiver_Start, Receiver_Stop     1000 Hz -> receiver
     HiFiTest                          20 Hz to 16 kHz, stepped, over and over -> headset
     Watch_Mmi_Test (bound later)      main microphone, 3 s recorded, then played on the speaker, over and over */

/* Ring test on the speaker. tone 0 to 19: the melody, each number a semitone higher than the one before; 20 to 20000:
   one frequency, in Hz; others: -1. */
typedef int (*tki_api_Audio_RingTest_Start_t)(int tone);

/* As HiFiTest, with a parameter text: "" or null: the steps of HiFiTest; "HZ" or "HZ,DB": one frequency (20 to 20000)
   at a level of -60 to 0 dB of full scale (-6 when not given). Any other text: -1. */
typedef int (*tki_api_Audio_HiFiTest_auto_Start_t)(const char *parameter);

/* Loopback of any microphone to any output (bound later; stop: tki_api_Audio_Loopback_Test_Stop, no arguments). Other
   codes: -1. parameter: "" or null; "vol=N" sets the volume as SetVolume does (not 0 to 100: -1); other texts are logged
   and change nothing. Sound is routed whether or not a headset is plugged in.
   cb (may be null) gets TKI_MODULE_HEADSET, result 0, on a thread of the library: once soon after the start with the
   present state, then once per change until the stop. A handset without a headset switch sends none. cb may send
   messages to windows and may itself stop or start; no callback runs after a stop returned, except the one that calls
   it. Do not stop or start while handling a message that cb sends: each would wait for the other. */
typedef int (*tki_api_Audio_Loopback_Test_Start_t)(int microphone, int output, const char *parameter, tki_callback cb);
#define TKI_MIC_MAIN 1
#define TKI_MIC_HEADSET 2
#define TKI_MIC_AUX1 4
#define TKI_MIC_AUX2 8
#define TKI_OUT_RECEIVER 1
#define TKI_OUT_SPEAKER 2
#define TKI_OUT_HEADSET 4
#define TKI_OUT_SPEAKER_UPPER 160

/* What is plugged into the headset socket now, or -1: the handset has no headset switch. */
typedef int (*tki_api_GetHeadsetState_t)(void);
#define TKI_HEADSET_NONE 0
#define TKI_HEADSET_WITH_MIC 1
#define TKI_HEADSET_WITHOUT_MIC 2

/* Volume, called with (1, 1[, volume]): 0 silence, 1 to 100 half a decibel per step, 100: as loud as the source. Acts at
   once on a running test, and is remembered while the library is loaded (80 at first). Set: 0, or -1 and no change for
   a volume outside 0 to 100. */
typedef int (*tki_api_Audio_SetVolume_t)(int a, int b, int volume);
typedef int (*tki_api_Audio_GetVolume_t)(int a, int b);

/* FM: frequency in units of 10 kHz. */
typedef int (*tki_api_FM_Test_Start_t)(int frequency);
typedef int (*tki_api_FM_Set_Vol_t)(int volume);

/* USB host port: USB_OTG_Test_START answers 0 while a device is plugged in, -1 otherwise. What a board does when it idles
   (1, or 0), and in its low-cost mode, is its driver's: -1 where it has none. */
typedef int (*tki_api_SetSystemIdleStatus_t)(int idle);

#ifdef __cplusplus
}
#endif
#endif
