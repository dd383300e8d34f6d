#include "rf/modem_library.h"

#include <cstring>
#include <dlfcn.h>

#include "base/log_door.h"
#include "rf/ns_config.h"

NsOperations g_ns;

namespace {
constexpr const char *FILE_NAME = "lib_vxo_signalcoupling.so";
ModemLibrary g_library(NS_TAG, "NS_COUPLING_LOAD_LIB");

// Two log lines have always named something else.
const char *logged_name(const char *symbol) {
    if (strcmp(symbol, "TKI_API_LTE_NS_STOP") == 0) return "TKI_API_LTE_NS_START";
    if (strcmp(symbol, "TKI_API_LTE_NS_GET_DP_LEVEL") == 0) return "LTE_NS_GET_DP_LEVEL";
    return symbol;
}

bool bind_operations() {
#define NS_BIND(name) &&g_library.bind("TKI_API_" #name, &g_ns.name, logged_name("TKI_API_" #name))
    return (true NS_COMMON_OPERATIONS(NS_BIND)) && (!g_ns_config.lte.enabled || (true NS_LTE_OPERATIONS(NS_BIND))) &&
           (!g_ns_config.cdma.enabled || (true NS_CDMA_OPERATIONS(NS_BIND))) &&
           (!g_ns_config.wcdma.enabled || (true NS_WCDMA_OPERATIONS(NS_BIND))) &&
           (!g_ns_config.tdscdma.enabled || (true NS_TDSCDMA_OPERATIONS(NS_BIND))) &&
           (!g_ns_config.gsm.enabled || (true NS_GSM_OPERATIONS(NS_BIND)));
#undef NS_BIND
}
} // namespace

bool ModemLibrary::open() {
    close();
    handle_ = dlopen(FILE_NAME, RTLD_NOW);
    if (handle_) return true;
    const char *text = dlerror();
    LOG_RAW(ANDROID_LOG_ERROR, tag_, "FATAL ERROR: could not dlopen %s: %s", FILE_NAME, text ? text : "");
    return false;
}

void ModemLibrary::close() {
    if (handle_) dlclose(handle_);
    handle_ = nullptr;
}

void *ModemLibrary::look_up(const char *symbol) const { return handle_ ? dlsym(handle_, symbol) : nullptr; }

void *ModemLibrary::find(const char *symbol, const char *logged) {
    void *found = look_up(symbol);
    if (found) return found;
    const char *text = dlerror();
    LOG_RAW(ANDROID_LOG_ERROR, tag_, "FATAL ERROR: could not dlsym %s\n", logged);
    LOG_RAW(ANDROID_LOG_ERROR, tag_, "error = %s,%s\n", text ? text : "", caller_);
    close();
    return nullptr;
}

int NS_COUPLING_LOAD_LIB() {
    g_ns = NsOperations();
    if (!g_library.open() || !bind_operations()) return -1;
    g_library.bind_optional("TKI_API_CDMA_NS_Before_Stop", &g_ns.CDMA_NS_Before_Stop);
    return 0;
}

void ns_coupling_unload_lib() {
    g_ns = NsOperations();
    g_library.close();
}
