// The program starts with what the device brings: libraries that are missing, broken, or lack a function.
#include "scenario/handset.h"

#include <filesystem>
#include <fstream>

namespace {
namespace fs = std::filesystem;

// The built library with functions that nobody finds any more: their names' first letter is changed. All else works.
std::string library_without(const std::string &library, const std::vector<std::string> &functions) {
    std::string bytes = content_of(program_folder() + "/lib/" + library);
    for (const std::string &function : functions) {
        const std::string name = std::string(1, '\0') + function + std::string(1, '\0');
        size_t at = bytes.find(name);
        if (at == std::string::npos) throw std::runtime_error(library + " has no " + function);
        for (; at != std::string::npos; at = bytes.find(name, at)) bytes[at + 1] = 'X';
    }
    return bytes;
}

// A program folder with one library replaced, or left out when the replacement is empty. Handsets boot from it while it lives.
class Build {
public:
    Build(const std::string &library, const std::string &replacement) {
        std::string pattern = "/tmp/vxo-build.XXXXXX";
        if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a folder");
        folder_ = pattern;
        fs::create_directories(folder_ / "bin");
        fs::create_directories(folder_ / "lib");
        fs::copy(original_ / "bin/mmi", folder_ / "bin/mmi");
        for (const fs::directory_entry &entry : fs::directory_iterator(original_ / "lib"))
            if (entry.path().extension() == ".so" && entry.path().filename() != library) fs::copy(entry.path(), folder_ / "lib");
        if (!replacement.empty()) std::ofstream(folder_ / "lib" / library, std::ios::binary) << replacement;
        setenv("VXO_PROGRAM_BUILD", folder_.c_str(), 1);
    }
    ~Build() {
        setenv("VXO_PROGRAM_BUILD", original_.c_str(), 1);
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    Build(const Build &) = delete;
    Build &operator=(const Build &) = delete;

private:
    const fs::path original_ = program_folder();
    fs::path folder_;
};
const HandsetOptions UNWATCHED{.wait_for_menu = false};

// The program ends with -1 (as the shell counts: 255) and is started anew, again and again.
void expect_restarts(const Handset &handset) {
    const std::string launcher_log = handset.client().paths().run() + "/launcher.log";
    const std::string told = "the program ended with status 255, started again";
    handset.wait_until("two restarts", [&] {
        const std::string log = content_of(launcher_log);
        const size_t first = log.find(told);
        return first != std::string::npos && log.find(told, first + 1) != std::string::npos;
    });
    EXPECT_THROW(handset.dump(), vh::ClientError) << "a screen without libraries";
    EXPECT_EQ(handset.last(), "exit");
}
void wait_for_log(const Handset &handset, const std::string &text) {
    handset.wait_until("the log line: " + text, [&] { return handset.log_contains("VXO_TKI", text); });
}
} // namespace

TEST(Libraries, MissingOrBrokenOnesEndTheProgram) {
    const std::string factory = "lib_factory.so", device = "libvxo_vcoredevice.so";
    const std::string factory_told = "tki_init_lib_factory_dll fail! main";
    const std::string device_told = "FATAL ERROR:tki_init_libvxo_vcoredevice_dll fail! main";
    struct Row {
        std::string library, replacement, told, then_told;
    };
    const Row rows[] = {
        {factory, "", "FATAL ERROR: could not dlopen lib_factory.so: ", factory_told},
        {factory, "this is no library", "FATAL ERROR: could not dlopen lib_factory.so: ", factory_told},
        {factory, library_without(factory, {"tki_api_LCD_Refresh"}), "tki_api_LCD_Refresh", factory_told},
        {device, "", "FATAL ERROR: could not dlopen g_libcoredevice.so: ", device_told},
        {device, library_without(device, {"TKI_API_BatteryService_StopService"}),
         "FATAL ERROR: could not dlsym g_libcoredevice.so::", device_told}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.library + ": " + row.told);
        const Build build(row.library, row.replacement);
        Handset handset(UNWATCHED);
        wait_for_log(handset, row.told);
        wait_for_log(handset, row.then_told);
        expect_restarts(handset);
        EXPECT_EQ(handset.log_contains("VXO_TKI", "InitGUI"), row.library == device) << "the toolkit stands between the two";
    }
}

TEST(FactoryLibrary, LackingOptionalFunctionsStartsAndRecordsNothing) {
    const std::vector<std::string> optional = {
        "tki_api_LCD_Off", "tki_api_tki_mode_uninit", "tki_api_ReadFuncTestInfoFlags", "tki_api_WriteFuncTestInfoFlags",
        "tki_api_camera_do_autofocus", "tki_api_Audio_HiFiTest_Start", "tki_api_Audio_HiFiTest_Stop",
        "tki_api_Audio_HiFiTest_auto_Start", "tki_api_Audio_HiFiTest_auto_Stop", "tki_api_Audio_wakeupMic_on_Start",
        "tki_api_Audio_wakeupMic_Stop", "tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start", "tki_api_Audio_Receiver_Start",
        "tki_api_Audio_Receiver_Stop", "tki_api_USB_OTG_Test_START", "tki_api_USB_OTG_Test_Stop", "tki_api_SetSystemIdleStatus",
        "tki_api_Audio_SetVolume", "tki_api_Audio_GetVolume", "tki_api_EnterLowCostMode"};
    const Build build("lib_factory.so", library_without("lib_factory.so", optional));
    Handset handset;
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("testinfoMoudle testItem 300,1,write").status, 0) << "reports success";
    EXPECT_EQ(handset.station(300), Verdict::untested) << "without effect";
    handset.client().set_station(301, 2);
    EXPECT_EQ(handset.at("testinfoMoudle testItem 301,read").text, "2");
    EXPECT_EQ(handset.at("EnterLowCostMode testItem").status, 0);
    EXPECT_TRUE(handset.log_contains("AtThread", "tki_api_EnterLostCostMode is NULL."));
    EXPECT_EQ(handset.at("LCDMoudle testItem FF0000").status, 0);
    handset.wait_until("red", [&] { return handset.client().pixel(100, 100) == 0xFF0000; });
    EXPECT_EQ(handset.last(), "start");
}

TEST(CoreDeviceLibrary, WithoutTheChannelTheHandsetStillRuns) {
    const Build build("libvxo_vcoredevice.so", library_without("libvxo_vcoredevice.so", {"mmi_AutoTest_FileOpt_Remove"}));
    Handset handset(UNWATCHED);
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
    EXPECT_TRUE(handset.log_contains("AtThread", "FATAL ERROR: could not dlsym g_libcoredevice.so::mmi_AutoTest_FileOpt_Remove"));
    EXPECT_TRUE(handset.log_contains("AtThread", "Get_libcoredevice_Interface fail"));
    EXPECT_THROW(handset.at("batteryMoudle testItem power"), vh::ClientError);
}
