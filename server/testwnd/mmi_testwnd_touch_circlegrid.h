// Touch panel test of panels that are no rectangles: circles along the edge and in a grid around the middle turn green under the
// finger. It is opened through the entries of mmi_touchadusting_LineWin.h, which read the settings.
#pragma once

void mmi_testwnd_touch_circlegrid_Entry(bool preview = false); // GUI thread
int mmi_AutoTest_touch_circlegrid_Start();                     // 1. Any thread
int mmi_AutoTest_touch_circlegrid_Stop();                      // 1 when every circle has been touched, else 0. Any thread
