// LCD colour test: colours (or pictures) over the whole screen, then the operator's verdict. Operator and PC.
#pragma once

#include <atomic>
#include <tp_gui.h>

constexpr int LCD_COLOR_MAX = 8;

extern int LcdColorTestNum;
extern int g_LcdColorTestIndex;            // next colour to paint
extern std::atomic<int> g_bFoolProof;      // 1 for a second after each colour: touches are ignored

// Operator's entries; the stop entry closes every window of the test. Wait 100 ms when called off the GUI thread.
void mmi_LCDColorTestEntry();
void mmi_LCDColorTest_Stop_Entry();
void mmi_LCDColorTestCheckResultEntry();
void mmi_LCDColorTest_Init();
// The preview list's variant: the pictures /system/media/lcd/0.png, 1.png and so on in turn, or the colours when there
// is no picture.
void mmi_Monomer_LCDColorTestEntry();
void mmi_Monomer_LCDColorTest_Stop_Entry();

// PC entries, channel thread.
int mmi_AutoTest_LCDColorTestEntry(int index); // 1
int mmi_AutoTest_LCDColorTest_Stop();          // 1
// "close", or "n,n,n" in decimal. 1, or 0 for a malformed text, which changes nothing.
int mmi_AutoTest_GrayLevel_Set(const char *text);
// Calibration picture by number: 1, or 0 when there is no such picture.
int mmi_AutoTest_PW_ShowPicture(int index);
int mmi_AutoTest_PW_ShowPicture_Stop();

// Draws picture number index over the window's client area. 0, or -1 when there is no such picture. GUI thread.
int showPictureByIndex(HWND hwnd, HDC hdc, int index);
