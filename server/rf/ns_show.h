// What a measurement shows: per chain the value, the verdict and the last readings between the limits.
#pragma once

// Verdict of one value (dBm): good between the limits, both included. Shown where the screen is open. Another chain than 0
// (primary) or 1 (secondary) does nothing. The measurement's thread.
void Diag_LTE_show_NS_TEST_DATA(int chain, float value);
// band, channel, reading: of the measurement, for the log.
void Diag_WCDMA_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value);
void Diag_TDSCDMA_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value);
void Diag_CDMA2000_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value);
void Diag_GSM_show_NS_TEST_DATA(int chain, int band, int channel, int reading, float value);
