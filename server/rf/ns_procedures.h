// The measurement of each radio technology: its calls of the modem library, their retries and waits. One worker at a time;
// a stop request to it shortens what is left to the technology's stop call.
#pragma once

// One measurement with its results shown. 0 when the stop call succeeded (whatever went before), else -1.
int Diag_LTE_NS_TEST_START();
int Diag_WCDMA_NS_TEST_START();
int Diag_TDSCDMA_NS_TEST_START();
int Diag_CDMA2000_NS_TEST_START();
int Diag_GSM_NS_TEST_START();
// Puts the modem into factory test mode: 0, or -1.
int Diag_NS_TEST_Check_Modem_FTM_Mode();
// Body of the measurement thread: a grace period, then all enabled technologies again and again.
void NS_TEST_START();
