#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <functional>
#include <string>
#include <tp_globals.h>

#include "device/factory_slots.h"
#include "support/log_text.h"
#include "support/process.h"

namespace {
std::string library_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib";
}

// In a process of its own: loads the fake library first, so that binding by name finds it, then runs the body.
void with_library(const std::string &file, const std::function<void()> &body) {
    process::forked([&] {
        ASSERT_TRUE(dlopen((library_folder() + "/fake/" + file).c_str(), RTLD_NOW)) << dlerror();
        body();
    });
}
bool has(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }
} // namespace

TEST(FactorySlots, BindsAWholeLibrary) {
    with_library("whole/lib_factory.so", [] {
        EXPECT_EQ(tki_init_lib_factory_dll(), 0);
        EXPECT_NE(lib_vxo_factory, nullptr);
        EXPECT_EQ(tki_api_FM_Get_Vol(), 7);
        EXPECT_EQ(tki_api_EnterLowCostMode(), 7) << "the last row";
        void *later = nullptr;
        EXPECT_EQ(bind_factory_symbol("TAG", "tki_api_LCD_Off", &later), 0);
        EXPECT_EQ(bind_factory_symbol("TAG", "no_such_function", &later), -1);
    });
}

TEST(FactorySlots, OptionalOnesStayNullOrGetTheirSubstitute) {
    with_library("without_optional/lib_factory.so", [] {
        LogText log;
        EXPECT_EQ(tki_init_lib_factory_dll(), 0);
        const std::string text = log.take();
        EXPECT_TRUE(has(text, "FATAL ERROR: could not dlsym lib_factory.so::tki_api_LCD_Off"));
        EXPECT_TRUE(has(text, "tki_init_lib_factory_dll::load tki_api_SetSystemIdleStatus success.")) << "though missing";
        EXPECT_EQ(tki_api_LCD_Off, nullptr);
        EXPECT_EQ(tki_api_camera_do_autofocus, nullptr);
        EXPECT_EQ(tki_api_tki_mode_uninit(), 0);
        EXPECT_EQ(tki_api_ReadFuncTestInfoFlags(3), 0);
        EXPECT_EQ(tki_api_WriteFuncTestInfoFlags(3, 1), 0);
    });
}

TEST(FactorySlots, AMissingMandatoryOneStopsBinding) {
    with_library("without_refresh/lib_factory.so", [] {
        LogText log;
        EXPECT_EQ(tki_init_lib_factory_dll(), -1);
        const std::string text = log.take();
        EXPECT_TRUE(has(text, "could not dlsym lib_factory.so::tki_api_LCD_Refresh"));
        EXPECT_TRUE(has(text, "error = "));
        EXPECT_NE(tki_api_LCD_Off, nullptr) << "resolved before it";
        EXPECT_EQ(tki_api_tki_mode_init, nullptr) << "not tried behind it";
    });
    with_library("without_auxiliary_mic/lib_factory.so", [] {
        LogText log;
        EXPECT_EQ(tki_init_lib_factory_dll(), -1);
        EXPECT_FALSE(has(log.take(), "error = ")) << "this one alone fails without the loader's text";
        EXPECT_NE(tki_api_Audio_wakeupMic_Stop, nullptr);
        EXPECT_EQ(tki_api_FM_Get_Vol, nullptr);
    });
}

TEST(FactorySlots, CoreDeviceLibrary) {
    with_library("whole/libvxo_vcoredevice.so", [] {
        EXPECT_EQ(tki_init_libvxo_vcoredevice_dll(), 0);
        EXPECT_EQ(TKI_API_BatteryService_ChargingStatusSet(1), 7);
        EXPECT_NE(core_device_handle(), nullptr);
    });
    with_library("without_unregister/libvxo_vcoredevice.so", [] {
        LogText log;
        EXPECT_EQ(tki_init_libvxo_vcoredevice_dll(), -1);
        EXPECT_TRUE(has(log.take(), "g_libcoredevice.so::TKI_API_BatteryService_unregister_Observer_lib_t"));
        EXPECT_EQ(TKI_API_BatteryService_unregister_Observer, nullptr);
        EXPECT_EQ(TKI_API_BatteryService_StartService, nullptr);
    });
}

TEST(FactorySlots, NoLibraryAtAll) {
    const int status = process::forked([] {
        void *later = nullptr;
        EXPECT_EQ(bind_factory_symbol("TAG", "tki_api_LCD_Off", &later), -1);
        if (!process::hide_folder(library_folder())) _exit(process::SKIPPED);
        LogText log;
        EXPECT_EQ(tki_init_lib_factory_dll(), -1);
        EXPECT_EQ(tki_init_libvxo_vcoredevice_dll(), -1);
        EXPECT_TRUE(has(log.take(), "FATAL ERROR: could not dlopen lib_factory.so: "));
        EXPECT_EQ(tki_api_LCD_Get_Info, nullptr);
    });
    if (WEXITSTATUS(status) == process::SKIPPED) GTEST_SKIP() << "no mount namespace";
}
