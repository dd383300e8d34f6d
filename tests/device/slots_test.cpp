#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <string>

#include "device/factory_slots.h"
#include "support/log_text.h"
#include "support/process.h"

namespace {
// In a process of its own: loads the fake library first, so that binding by name finds it, then binds. What was logged.
void bind_from(const std::string &folder, int result, const std::function<void(const std::string &)> &check) {
    process::forked([&] {
        const auto lib = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib";
        ASSERT_TRUE(dlopen((lib / "fake" / folder / "lib_factory.so").c_str(), RTLD_NOW)) << dlerror();
        LogText log;
        EXPECT_EQ(tki_init_lib_factory_dll(), result);
        check(log.take());
    });
}
} // namespace

TEST(FactorySlots, OptionalOnesStayNullOrGetTheirSubstitute) {
    bind_from("without_optional", 0, [](const std::string &log) {
        EXPECT_TRUE(log.find("FATAL ERROR: could not dlsym lib_factory.so::tki_api_LCD_Off") != log.npos);
        EXPECT_TRUE(log.find("tki_init_lib_factory_dll::load tki_api_SetSystemIdleStatus success.") != log.npos) << "though missing";
        EXPECT_EQ(tki_api_LCD_Off, nullptr);
        EXPECT_EQ(tki_api_camera_do_autofocus, nullptr);
        EXPECT_EQ(tki_api_tki_mode_uninit(), 0);
        EXPECT_EQ(tki_api_ReadFuncTestInfoFlags(3), 0);
        EXPECT_EQ(tki_api_WriteFuncTestInfoFlags(3, 1), 0);
        EXPECT_EQ(tki_api_FM_Get_Vol(), 7);
    });
}

TEST(FactorySlots, AMissingMandatoryOneStopsBinding) {
    bind_from("without_auxiliary_mic", -1, [](const std::string &log) {
        EXPECT_EQ(log.find("error = "), log.npos) << "this one alone fails without the loader's text";
        EXPECT_NE(tki_api_Audio_wakeupMic_Stop, nullptr) << "resolved before it";
        EXPECT_EQ(tki_api_FM_Get_Vol, nullptr) << "not tried behind it";
    });
}
