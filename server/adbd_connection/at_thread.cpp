#include "adbd_connection/at_thread.h"

#include <cstring>
#include <dlfcn.h>
#include <tp_os.h>

#include "adbd_connection/channel_library.h"
#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/worker.h"
#include "device/factory_slots.h"

ChannelLibrary g_channel_library{};

namespace {
constexpr char TAG[] = "AtThread";

struct ChannelSymbol {
    const char *name;
    void *slot; // address of a function pointer of g_channel_library
};
const ChannelSymbol SYMBOLS[] = {
    {"registerAtSocket", &g_channel_library.registerAtSocket},
    {"UnregisterAtSocket", &g_channel_library.UnregisterAtSocket},
    {"registerCommandProcess", &g_channel_library.registerCommandProcess},
    {"runSelectLoopMode", &g_channel_library.runSelectLoopMode},
    {"mmi_AutoTest_FileOpt_Read", &g_channel_library.FileOpt_Read},
    {"mmi_AutoTest_FileOpt_Write", &g_channel_library.FileOpt_Write},
    {"mmi_AutoTest_FileOpt_Remove", &g_channel_library.FileOpt_Remove},
    {"mmi_AutoTest_WiFiConCpt_Enable", &g_channel_library.WiFiConCpt_Enable},
    {"mmi_AutoTest_WiFiConCpt_Disable", &g_channel_library.WiFiConCpt_Disable},
};

int binding_failed(const char *caller) {
    if (const char *error = dlerror()) LOG_RAW(ANDROID_LOG_ERROR, TAG, "error = %s,%s\n", error, caller);
    return -1;
}

// The command socket lives on the loopback interface, which comes up beside the rest of the start.
Worker &loopback() {
    static Worker worker;
    return worker;
}

void bring_up_loopback() {
    const auto command = [] { run_command("toybox ifconfig lo up"); };
    if (!loopback().start("loopback", command)) command();
}

int start_routine() {
    loopback().join();
    LOG_D(TAG, "thread begin,registerAtSocket=%p", reinterpret_cast<void *>(g_channel_library.registerAtSocket));
    g_channel_library.registerAtSocket();
    g_channel_library.registerCommandProcess(AtCommandProcess);
    g_channel_library.runSelectLoopMode();
    return 0;
}

int register_at_procs() {
    for (const CommandRow &row : g_command_table)
        if (registerModule(row.cmd, row.action, row.fun, 1) != 0) return -1;
    return 0;
}
} // namespace

int Get_libcoredevice_Interface() {
    void *library = core_device_handle();
    if (!library) {
        const char *error = dlerror();
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "FATAL ERROR: could not dlopen g_libcoredevice.so: %s", error ? error : "");
        return -1; // the loader reports an error once; it stands in the line above
    }
    dlerror();
    for (const ChannelSymbol &symbol : SYMBOLS) {
        void *address = dlsym(library, symbol.name);
        memcpy(symbol.slot, &address, sizeof address);
        if (address) continue;
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "FATAL ERROR: could not dlsym g_libcoredevice.so::%s\n", symbol.name);
        return binding_failed(__func__);
    }
    return 0;
}

int32_t AtThreadStart() {
    LOG_D(TAG, "begin");
    bring_up_loopback();
    if (const int failure = Get_libcoredevice_Interface(); failure != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::Get_libcoredevice_Interface fail", __func__);
        return failure;
    }
    if (register_at_procs() != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::register_at_procs fail", __func__);
        return -1;
    }
    static tp_os_thread_t thread = nullptr; // never joined
    const int created = tp_os_thread_create("AtThread", [](void *) { start_routine(); }, nullptr, &thread);
    LOG_D(TAG, "end");
    return created;
}
