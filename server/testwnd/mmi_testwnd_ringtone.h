// Ring tone test: a ring tone sounds while its window is open. Operator and PC.
#pragma once

void mmi_testwnd_RingtoneTestEntry();
void mmi_test_RingtoneTest_Stop_Entry();
// PC: 0 to 19 a melody, 20 to 20000 one frequency in Hz. 1, or 0 when nothing sounds.
int mmi_AutoTest_RingtoneTestEntry(int tone);
int mmi_AutoTest_RingtoneTest_Stop(); // 1, or 0 when the tone did not stop
