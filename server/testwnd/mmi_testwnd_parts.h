// Tests of the parts that answer with events: NFC, fingerprint sensor, force touch. For the PC, one at a time. A start answers
// 1, or 0 when the part is not fitted; a stop 1 when the test has passed since its start, else 0. Channel thread.
#pragma once

int mmi_AutoTest_NFC_TestEntry(); // a tag was seen
int mmi_AutoTest_NFC_Test_Stop();
int mmi_AutoTest_Fingerprint_TestEntry(); // a finger came and went
int mmi_AutoTest_Fingerprint_Test_Stop();
int mmi_AutoTest_ForceTouch_TestEntry(); // pressed and let go
int mmi_AutoTest_ForceTouch_Test_Stop();
int mmi_AutoTest_ForceTouch_CalibrationEntry(); // the present load becomes zero
int mmi_AutoTest_ForceTouch_Calibration_Stop(); // the start did
int mmi_AutoTest_ForceTouch_ComprehensiveEntry(); // calibrates, then as the test
int mmi_AutoTest_ForceTouch_Comprehensive_Stop();
// Each cell's bias as "%d(0,0,0),", as many as fit. 0 when none can be read.
int mmi_AutoTest_ForceTouch_Read(char *out, int maxoutlen);
