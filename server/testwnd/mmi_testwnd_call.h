// Call test: the sound paths of a call, looped back. The operator hears the receiver and the speaker in turn (middle key) and
// may pass when both were on for the fool-proof delay. The PC starts the speaker.
#pragma once

void mmi_testwnd_CallTestEntry();
void mmi_testwnd_CallTest_Stop_Entry();
int mmi_AutoTest_CallTest_Start();
int mmi_AutoTest_CallTest_Stop();
