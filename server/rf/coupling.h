// The RF coupling tests: their menu, and what it opens. GUI thread.
#pragma once

void mmi_testwnd_Coupling_Entry();     // the menu of the two
void mmi_SignalCouplingTestEntry();    // takes the modem online for a tester that measures by itself
void mmi_NSCoupling_Diag_TestEntry();  // measures without signalling
// Body of the mode switch's thread; always 0.
int Set_Modem_online_mode();
