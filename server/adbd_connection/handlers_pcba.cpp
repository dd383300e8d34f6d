// Handlers of the board's quick tests.
#include "adbd_connection/handlers.h"
#include "testwnd/pcba.h"

#define BOARD_TEST(name)                                                                                             \
    VXO_COMMAND_NOTED(PCBAAutotest##name##Start, normalised(PCBA##name##TestStart(bufOut, maxoutlen)))
#define BOARD_TEST_OF_ARGUMENT(name)                                                                                 \
    VXO_COMMAND_NOTED(PCBAAutotest##name##Start, normalised(PCBA##name##TestStart(bufIn, size, bufOut, maxoutlen)))
#define BOARD_TEST_STOP(name) VXO_COMMAND_NOTED(PCBAAutotest##name##Stop, normalised(PCBATestStop()))

BOARD_TEST(Cpu)
BOARD_TEST(Memory)
BOARD_TEST(Bluetooth)
BOARD_TEST(CameraBack)
BOARD_TEST(CameraFront)
BOARD_TEST(Battery)
BOARD_TEST(Wifi)
BOARD_TEST(Gps)
BOARD_TEST(Touch)
BOARD_TEST(Storage)
BOARD_TEST(Sdcard)
BOARD_TEST_OF_ARGUMENT(Fm)
BOARD_TEST_OF_ARGUMENT(Sim)
BOARD_TEST_OF_ARGUMENT(Wgb)

BOARD_TEST_STOP(Cpu)
BOARD_TEST_STOP(Memory)
BOARD_TEST_STOP(Bluetooth)
BOARD_TEST_STOP(Battery)
BOARD_TEST_STOP(Wifi)
BOARD_TEST_STOP(Fm)
BOARD_TEST_STOP(Gps)
BOARD_TEST_STOP(Touch)
BOARD_TEST_STOP(Storage)
BOARD_TEST_STOP(Sdcard)
BOARD_TEST_STOP(Sim)
BOARD_TEST_STOP(Wgb)

VXO_COMMAND_NOTED(AutotestReadCameraIDStart, normalised(ReadCameraIDTestStart(bufIn, size, bufOut, maxoutlen)))
