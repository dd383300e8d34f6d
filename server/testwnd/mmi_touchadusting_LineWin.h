// Touch panel test: a finger draws along four wide lanes at the edges of the screen until every cell of them is green. Where the
// panel is no rectangle, circles take the lanes' place (mmi_testwnd_touch_circlegrid.h).
#pragma once

#include <tp_gui.h>

extern int g_RectWidth; // length of a cell in pixels as configured; 0: from the screen's width

// GUI thread. Both act on the lanes of the open test, or of the one to be opened.
int initCells();                              // 1, or 0 when memory is short
void UpdateOneRect(HDC hdc, int x, int y);    // marks and paints the cell at a point; none there: nothing

void mmi_testwnd_touchTestEntry();
void mmi_testwnd_Monomer_touchTestEntry();    // in the preview of single modules
void mmi_testwnd_Monomer_touchscreenTest_Stop();
// Channel thread.
int mmi_AutoTest_touchscreenTest_Entry();      // 1
int mmi_AutoTest_touchscreenTest_Stop_Entry(); // 1 when every cell has been touched, else 0
