// Vibrator test: vibrates while its window is open. Operator and PC.
#pragma once

void mmi_testwnd_VibratorTestEntry();
void mmi_testwnd_VibratorTest_Stop_Entry();
// PC: vibrates for the given milliseconds, -1 until stopped. 1, or 0 when no vibrator answers.
int mmi_AutoTest_VibratorTestEntry(int duration_ms);
int mmi_AutoTest_VibratorTest_Stop(); // 1, or 0 when the vibrator did not stop
