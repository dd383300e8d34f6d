/* lib_vxo_signalcoupling.so: the contract of the modem library. C and C++. Loaded when an RF test opens, unloaded when it
   closes; one thread calls at a time.

   Every function returns 0 for success and anything else for failure. It blocks until the modem has answered, at most
   VXO_MODEM_ANSWER_MS (scaled); a modem that is silent so long has failed. A stop request to the calling thread
   (tp_os_thread_interrupt) ends one such wait early. Outputs are untouched on failure. */
#ifndef VXO_SIGNALCOUPLING_H
#define VXO_SIGNALCOUPLING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VXO_MODEM_ANSWER_MS 2000

enum { VXO_MODEM_FACTORY_TEST = 3, VXO_MODEM_ONLINE = 4, VXO_MODEM_LOW_POWER = 5 };
enum { VXO_CHAIN_PRIMARY = 0, VXO_CHAIN_SECONDARY = 1 };

/* ---- measurements without signalling. The measurements answer in mode 3 only. */
int TKI_API_Command_init(void); /* opens the command channel */
int TKI_API_Command_uninit(void);
int TKI_API_GetModemMode(int32_t *mode);
int TKI_API_SetModemMode(int32_t mode);

int TKI_API_LTE_NS_START(void);
int TKI_API_LTE_NS_STOP(void);
int TKI_API_LTE_NS_ACQ(uint8_t band, uint16_t channel); /* the tester's downlink; band: class less one */
int TKI_API_LTE_NS_START_DP(int a, int b, int c, int d, int e);
int TKI_API_LTE_NS_GET_DP_LEVEL(int chain, float *dbm);

int TKI_API_CDMA_NS_START(void);
int TKI_API_CDMA_NS_SECOND_CHAIN_TEST_CALL(int mode);
int TKI_API_CDMA_NS_Pilot_ACQ(uint8_t band, uint16_t channel, int32_t acq_mode);
int TKI_API_CDMA_NS_DEMOD_SYNC(void);
int TKI_API_CDMA_NS_RX_LEVEL_REQ(int chain, int16_t *dbm, int16_t *further);
int TKI_API_CDMA_NS_Before_Stop(void); /* optional: a library may lack it */
int TKI_API_CDMA_NS_Stop(void);

/* tfcs: the order list, four bytes */
int TKI_API_WCDMA_NS_CHAIN_TEST_CALL(int mode);
int TKI_API_WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(int number, const uint8_t *tfcs);
int TKI_API_WCDMA_NS_BER_StartSession(int mode);
int TKI_API_WCDMA_SetPhoneLoggingState(void);
int TKI_API_WCDMA_NS_BER_AcquirePilot(uint16_t channel);
int TKI_API_WCDMA_NS_BER_SetupRMC_DCH(void);
int TKI_API_WCDMA_NS_BER_RX_LEVEL_REQ(int chain, float *dbm);
int TKI_API_WCDMA_NS_BER_StopSession(void);

int TKI_API_TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ(int number, const uint8_t *tfcs);
int TKI_API_TDSCDMA_NS_BER_StartSession(int mode);
int TKI_API_TDSCDMA_NS_BER_AcquirePilot(uint16_t channel);
int TKI_API_TDSCDMA_NS_BER_SetupRMC_DCH(int a, int b, int c, int d, int e);
int TKI_API_TDSCDMA_NS_BER_RX_LEVEL_REQ(int chain, float *dbm);
int TKI_API_TDSCDMA_NS_BER_StopSession(void);

int TKI_API_GSM_NS_Get_log(void);
int TKI_API_GSM_NS_BER_StartSession(void);
int TKI_API_GSM_NS_Set_BCCH(uint16_t channel, int mode);
int TKI_API_GSM_BER_update(void);
int TKI_API_GSM_NS_Set_TCH(int a, int b, int c);
int TKI_API_GSM_NS_BER_RX_LEVEL_REQ(float *dbm);
int TKI_API_GSM_NS_BER_ReleaseTCH(void);
int TKI_API_GSM_NS_BER_StopSession(void);

/* ---- signal coupling */
int TKI_API_SignalCoupling_init(void); /* opens the command channel */
int TKI_API_SignalCoupling_uninit(void);
int TKI_API_SignalCoupling_setModemMode(int32_t mode);

#ifdef __cplusplus
}
#endif
#endif
