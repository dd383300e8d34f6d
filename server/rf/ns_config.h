// Settings of the five radio technologies: the sections LTE_NS_TEST, CDMA_NS_TEST, WCDMA_NS_TEST, TDSCDMA_NS_TEST and
// GSM_NS_TEST. Read on the GUI thread before a measurement starts, constant while it runs.
#pragma once

#include <cstdint>

#include "config/main_config.h"

constexpr const char *NS_TAG = "DIAG_NONSIGNAL_COUPLING";

struct NsLimits { // dBm
    float target = 0, max = 0, min = 0;
};
struct NsRadio {
    bool enabled = false;
    uint16_t channel = 0;
    NsLimits chain[2]; // primary, secondary
};
struct NsConfig {
    NsRadio lte, cdma, wcdma, tdscdma, gsm;
    // GSM's band stands where LTE's does: with both enabled LTE gets GSM's. Lines are set up for it.
    uint8_t shared_band = 0, cdma_band = 0, wcdma_band = 0, tdscdma_band = 0;
    uint8_t call_mode = 0;         // LTE
    bool data_path[5] = {};        // LTE
    int32_t acq_mode = 0;          // CDMA2000
    int wcdma_tfcs = 0, tdscdma_tfcs = 0;
    bool traffic_channel[2] = {};  // GSM
    char gsm_band[CFG_TEXT] = {};  // its name, as configured
};
extern NsConfig g_ns_config;

// Each: 0, or -1 when the configuration cannot be read. Anything but enable=1 leaves the technology off.
int Diag_LTE_NS_TEST_ReadConfig();
int Diag_CDMA2000_NS_TEST_ReadConfig();
int Diag_WCDMA_NS_TEST_ReadConfig();
int Diag_TDSCDMA_NS_TEST_ReadConfig();
int Diag_GSM_NS_TEST_ReadConfig();
// All five, in this order; always 0.
int Diag_NS_TEST_ReadConfig();
