// The modem library as the measurement uses it: one function pointer per operation, bound when the test opens.
// GUI thread; the operations themselves are called by one worker at a time.
#pragma once

#include <vxo_signalcoupling.h>

// In the order in which they are looked up.
#define NS_COMMON_OPERATIONS(X) X(Command_init) X(Command_uninit) X(GetModemMode) X(SetModemMode)
#define NS_LTE_OPERATIONS(X) X(LTE_NS_START) X(LTE_NS_STOP) X(LTE_NS_ACQ) X(LTE_NS_START_DP) X(LTE_NS_GET_DP_LEVEL)
#define NS_CDMA_OPERATIONS(X)                                                                                          \
    X(CDMA_NS_START) X(CDMA_NS_SECOND_CHAIN_TEST_CALL) X(CDMA_NS_Pilot_ACQ) X(CDMA_NS_DEMOD_SYNC)                      \
    X(CDMA_NS_RX_LEVEL_REQ) X(CDMA_NS_Stop)
#define NS_WCDMA_OPERATIONS(X)                                                                                         \
    X(WCDMA_NS_CHAIN_TEST_CALL) X(WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ) X(WCDMA_NS_BER_StartSession)                   \
    X(WCDMA_SetPhoneLoggingState) X(WCDMA_NS_BER_AcquirePilot) X(WCDMA_NS_BER_SetupRMC_DCH)                            \
    X(WCDMA_NS_BER_RX_LEVEL_REQ) X(WCDMA_NS_BER_StopSession)
#define NS_TDSCDMA_OPERATIONS(X)                                                                                       \
    X(TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ) X(TDSCDMA_NS_BER_StartSession) X(TDSCDMA_NS_BER_AcquirePilot)            \
    X(TDSCDMA_NS_BER_SetupRMC_DCH) X(TDSCDMA_NS_BER_RX_LEVEL_REQ) X(TDSCDMA_NS_BER_StopSession)
#define NS_GSM_OPERATIONS(X)                                                                                           \
    X(GSM_NS_Get_log) X(GSM_NS_BER_StartSession) X(GSM_NS_Set_BCCH) X(GSM_BER_update) X(GSM_NS_Set_TCH)                \
    X(GSM_NS_BER_RX_LEVEL_REQ) X(GSM_NS_BER_ReleaseTCH) X(GSM_NS_BER_StopSession)

#define NS_POINTER(name) decltype(&TKI_API_##name) name = nullptr;
struct NsOperations {
    NS_COMMON_OPERATIONS(NS_POINTER)
    NS_LTE_OPERATIONS(NS_POINTER)
    NS_CDMA_OPERATIONS(NS_POINTER)
    NS_WCDMA_OPERATIONS(NS_POINTER)
    NS_TDSCDMA_OPERATIONS(NS_POINTER)
    NS_GSM_OPERATIONS(NS_POINTER)
    NS_POINTER(CDMA_NS_Before_Stop) // null where the library lacks it
};
#undef NS_POINTER
extern NsOperations g_ns;

// Opens the library and binds the common operations and those of the technologies that the settings enable. 0, or -1 with
// its log lines and the library closed.
int NS_COUPLING_LOAD_LIB();
void ns_coupling_unload_lib();

// One library and what a test binds of it, closed with the object. Shared by both tests.
class ModemLibrary {
public:
    ModemLibrary(const char *tag, const char *caller) : tag_(tag), caller_(caller) {}
    ~ModemLibrary() { close(); }
    ModemLibrary(const ModemLibrary &) = delete;
    ModemLibrary &operator=(const ModemLibrary &) = delete;
    bool open();
    void close();
    // False when there is no such function: logs under the name given, and closes the library.
    template <class Function> bool bind(const char *symbol, Function *slot, const char *logged) {
        void *found = find(symbol, logged);
        *slot = reinterpret_cast<Function>(found);
        return found != nullptr;
    }
    template <class Function> void bind_optional(const char *symbol, Function *slot) {
        *slot = reinterpret_cast<Function>(look_up(symbol));
    }

private:
    void *look_up(const char *symbol) const;
    void *find(const char *symbol, const char *logged);
    const char *const tag_, *const caller_;
    void *handle_ = nullptr;
};
