// Touch panel self test: the panel tests itself, at most five seconds. In a run it passes by itself; otherwise the operator sees
// the result first.
#pragma once

void mmi_testwnd_TPSelfTest_Entry(); // the station is that of the list which is walked
void mmi_testwnd_TPSelfTest_Stop();
void mmi_testwnd_Monomer_TPSelfTest_Entry();
void mmi_testwnd_Monomer_TPSelfTest_Stop();
