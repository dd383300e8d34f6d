// The device test list and the single-item test list.
#pragma once

#include <tp_gui.h>

extern HWND g_device_test_wnd; // 0 when closed
void mmi_DeviceTestEntry();
void mmi_ItemTestEntry();
