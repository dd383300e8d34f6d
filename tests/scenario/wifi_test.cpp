// The factory's access point: every end of joining it, what the menu and a PC see of it, the PC link over it.
#include "scenario/handset.h"

#include <cstring>
#include <fstream>
#include <memory>
#include <sys/stat.h>

namespace {
constexpr const char *ADDRESS = "192.168.1.101", *OPEN = "WiFiMoudle testItem open";

// The handset's time is five times as fast, the supplicant and the DHCP server are not.
HandsetOptions wifi_options(std::vector<Setting> settings = {}, std::vector<std::string> props = {}) {
    HandsetOptions options;
    options.speed = 5;
    options.settings = std::move(settings);
    options.settings.push_back({"MMI", "batteryParameter", "OSIdle:0"}); // awake, however slow the machine
    options.props = std::move(props);
    return options;
}

std::string ap(const Handset &handset, std::vector<std::string> args) {
    args.insert(args.begin(), "ap");
    const auto outcome = handset.tool(args);
    EXPECT_EQ(outcome.status, 0) << args.back() << ": " << outcome.output;
    return outcome.output;
}

// What a host in the access point's network gets to see.
std::string there(const Handset &handset, const std::string &line) { return handset.tool({"ap", "--run", line}).output; }

std::string middle_key(const Handset &handset) { return handset.screen().soft_keys()[1]; }
void wait_for_key(const Handset &handset, const std::string &key) {
    handset.wait_for("the soft key " + key, [&](const auto &screen) { return screen.soft_keys()[1] == key; }, 60000);
}
void tap_middle_key(Handset &handset) { handset.tap(360, 1222); }

void connect(Handset &handset) {
    EXPECT_EQ(handset.at(OPEN).status, 0);
    wait_for_key(handset, "WiFi off");
}

std::string decoded(const std::string &picture) {
    const std::string command = "zbarimg --raw -q '" + picture + "' 2>/dev/null";
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "re"), pclose);
    char text[256] = "";
    return pipe && fgets(text, sizeof text, pipe.get()) ? std::string(text, strcspn(text, "\n")) : "nothing";
}

std::string shown_code(const Handset &handset) {
    const std::string picture = handset.data() + "/../shown.png";
    handset.client().screenshot(picture);
    return decoded(picture);
}

bool thread_runs(const Handset &handset, const std::string &name) {
    return handset.shell("cat /proc/$(pidof mmi)/task/*/comm").output.find(name + "\n") != std::string::npos;
}
} // namespace

TEST(Wifi, AddressIsShownToScannersUntilTheOperatorUnlocksAndDisconnects) {
    Handset handset(wifi_options());
    connect(handset);
    EXPECT_EQ(shown_code(handset), ADDRESS);
    EXPECT_EQ(decoded(handset.data() + "/mmi_ip.png"), ADDRESS);
    EXPECT_EQ(handset.at("RSSIMoudle testItem read").text, "-48");
    EXPECT_EQ(handset.at("APInfoMoudle testItem read").text, "2437,02:76:78:6f:61:70,192.168.1.101,02:1a:7d:da:72:24");
    ap(handset, {"--signal", "-71"});
    handset.wait_until("another signal", [&] { return handset.at("RSSIMoudle testItem read").text == "-71"; });

    // Another address is noticed, and its picture shown, by whoever watches the link.
    handset.shell("ip addr flush dev wlan0; ip addr add 192.168.1.77/24 dev wlan0");
    handset.wait_until("the new address", [&] { return shown_code(handset) == "192.168.1.77"; }, 60000);

    // No finger opens anything before four keys in a row.
    handset.tap_text("Product info");
    for (int n = 0; n < 3; ++n) handset.press("volumeup");
    EXPECT_EQ(middle_key(handset), "WiFi off");
    handset.press("volumedown");
    handset.wait_until("the picture to go", [&] { return shown_code(handset) == "nothing"; });
    EXPECT_EQ(handset.at("mmiMoudle testItem close").status, 0);
    handset.wait_until("the picture again", [&] { return shown_code(handset) == "192.168.1.77"; });
    EXPECT_EQ(handset.at("mmiMoudle testItem open").status, 0);

    ap(handset, {"--down"});
    wait_for_key(handset, "WiFi on");
    EXPECT_EQ(handset.at("RSSIMoudle testItem read").text, "");
    ap(handset, {"--up"});
    wait_for_key(handset, "WiFi off");
    for (int n = 0; n < 4; ++n) handset.press("volumeup");
    handset.wait_until("the lock to go", [&] { return handset.log_count("unlock tp!") == 2; });
    tap_middle_key(handset);
    wait_for_key(handset, "WiFi on");
    EXPECT_EQ(handset.shell("ip -o link show up dev wlan0; ip -4 -o addr show dev wlan0").output, "");
    tap_middle_key(handset);
    wait_for_key(handset, "WiFi off");
    EXPECT_EQ(shown_code(handset), ADDRESS);
    EXPECT_EQ(handset.at("WiFiMoudle testItem close").status, 0);
    wait_for_key(handset, "WiFi on");
}

TEST(Wifi, EveryFailureEndsAsItSays) {
    Handset handset(wifi_options());
    const auto lines = [&](const std::string &text) { return handset.log_count(text); };
    // supplicant: still there, that is, the close script did not run; told: the menu shows that there is no link
    struct Row {
        std::vector<std::string> air;
        const char *said;
        bool supplicant, told;
    };
    const Row rows[] = {
        {{"--answer", "ADD_NETWORK=FAIL"}, "mmi_WiFiConnect::add_network fails.", false, false},
        {{"--answer", "ADD_NETWORK=silence"}, "mmi_WiFiConnect::add_network fails.", false, false},
        {{"--answer", "SET_NETWORK 0 ssid=FAIL"}, "set_network ssid fail", false, false},
        {{"--answer", "SET_NETWORK 0 key_mgmt=FAIL"}, "set_network key_mgmt fail.", true, false},
        {{"--answer", "SET_NETWORK 0 psk=FAIL"}, "set_network psk fail.", true, false},
        {{"--answer", "SELECT_NETWORK=FAIL"}, "select_network fail", true, false},
        {{"--answer", "RECONNECT=UNKNOWN COMMAND"}, "mmi_WiFiConnect::reconnect fails.", true, false},
        {{"--answer", "STATUS=FAIL"}, "wifi_setip_func::status fails.", false, false},
        {{"--psk", "another key"}, "wpa_state=COMPLETED not found. Fail to connect to router.", false, true},
        {{"--ssid", "elsewhere"}, "wpa_state=COMPLETED not found. Fail to connect to router.", false, true},
        {{"--dhcp", "off"}, "error:Can not get ip address. ret: -1", false, true},
        {{"--dhcp", "link-local", "--answer", "STATUS=wpa_state=COMPLETED"},
         "error:Get private ip address. ip: 169.254.7.101", false, true},
    };
    const auto open_descriptors = [&] { return atoi(handset.shell("ls /proc/$(pidof mmi)/fd | wc -l").output.c_str()); };
    const int descriptors = open_descriptors();
    handset.tool({"unfit", "wifi"});
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("no socket", [&] { return lines("mmi_WiFiConnect::wpa_ctrl_open fails.") == 1; }, 60000);
    handset.tool({"fit", "wifi"});
    for (const Row &row : rows) {
        ap(handset, {"--ssid", "DFX_WIFI_TEST", "--psk", "labwifi456", "--dhcp", "on", "--answer", "default"});
        ap(handset, row.air);
        const size_t before = lines(row.said);
        EXPECT_EQ(handset.at(OPEN).status, 0);
        handset.wait_until(row.said, [&] { return lines(row.said) > before; }, 120000);
        handset.wait_until("the thread's end", [&] { return !thread_runs(handset, "wificonnect"); });
        EXPECT_EQ(handset.shell("test -S /data/misc/wifi/sockets/wlan0").status == 0, row.supplicant) << row.said;
        EXPECT_EQ(middle_key(handset) == "WiFi on", row.told) << row.said;
    }
    EXPECT_LE(open_descriptors(), descriptors + 1) << "at most the supplicant's";

    // An address of its own making: asks again and again, and stops at once when somebody else wants to connect.
    ap(handset, {"--answer", "default", "--dhcp", "link-local"});
    const size_t passes = lines("WiFiConThread dhcp begin.");
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("three passes", [&] { return lines("WiFiConThread dhcp begin.") >= passes + 3; }, 120000);
    EXPECT_EQ(handset.at(OPEN).status, 0);
    EXPECT_EQ(lines("WiFiConThread exists. kill it first."), 1u);
    const size_t newer = lines("WiFiConThread dhcp end."), refused = lines("mmi_WiFiConnect::reconnect fails.");
    handset.wait_until("another pass", [&] { return lines("WiFiConThread dhcp end.") > newer; }, 120000);
    ap(handset, {"--answer", "RECONNECT=FAIL"});
    handset.wait_until("no reconnection", [&] { return lines("mmi_WiFiConnect::reconnect fails.") > refused; }, 120000);
    handset.wait_until("the thread's end", [&] { return !thread_runs(handset, "wificonnect"); });
    EXPECT_EQ(handset.shell("test -S /data/misc/wifi/sockets/wlan0").status, 0) << "no close script";
    ap(handset, {"--answer", "default"});
    EXPECT_EQ(handset.at(OPEN).status, 0);
    ap(handset, {"--dhcp", "on"});
    wait_for_key(handset, "WiFi off");

    // The DHCP client: none, then one that is known elsewhere but called at its one place.
    const auto change_system = [&](const std::string &line) {
        EXPECT_EQ(handset.shell("mount -o remount,rw /system && " + line).output, "");
    };
    change_system("mv /system/bin/dhcpcd-6.8.2 /system/bin/hidden");
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("no client", [&] { return lines("WiFiConThread dhcpcd or dhcptool not exist.") == 1; }, 60000);
    change_system("mkdir -p /system/vendor/bin && cp /system/bin/hidden /system/vendor/bin/dhcptool");
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("its command", [&] { return lines("WiFiConThread::dhcp cmd:/system/bin/dhcptool wlan0.") == 1; }, 60000);
}

TEST(Wifi, EndsAtOnceInEveryWaitAndLeavesNothingBehind) {
    Handset handset(wifi_options());
    const auto ends = [&](const std::string &what) {
        EXPECT_EQ(handset.at("WiFiMoudle testItem close").status, 0) << what;
        wait_for_key(handset, "WiFi on");
        EXPECT_FALSE(thread_runs(handset, "wifimonitor")) << what;
    };
    const auto left = [&] {
        handset.wait_until("idle", [&] { return !thread_runs(handset, "wificlose") && !thread_runs(handset, "wificonnect"); });
        return handset.shell("ls /proc/$(pidof mmi)/fd | wc -l; ls /proc/$(pidof mmi)/task | wc -l; ls /tmp | grep -c wpa_ctrl").output;
    };
    connect(handset);
    ends("first");
    const std::string before = left();
    struct Row {
        std::vector<std::string> air;
        std::string reached;  // logged when the wait begins
        const char *otherwise; // logged had it not been ended
    };
    const Row rows[] = {{{"--answer", "ADD_NETWORK=silence"}, "WiFiConThread connect begin.", "mmi_WiFiConnect::add_network fails."},
                        {{"--answer", "STATUS=silence"}, "WiFiConThread dhcp end.", "wifi_setip_func::status fails."},
                        {{"--dhcp", "off"}, "WiFiConThread dhcp begin.", "error:Can not get ip address."},
                        {{"--psk", "another key"}, "select_network : ", "wpa_state=COMPLETED not found."},
                        {{"--dhcp", "link-local", "--answer", "RECONNECT=silence"}, "select_network : ", "reconnect fails."}};
    for (const Row &row : rows) {
        ap(handset, row.air);
        const size_t reached = handset.log_count(row.reached);
        EXPECT_EQ(handset.at(OPEN).status, 0);
        handset.wait_until(row.reached, [&] { return handset.log_count(row.reached) > reached; }, 60000);
        ap(handset, {"--psk", "labwifi456", "--dhcp", "on", "--answer", "default"});
        connect(handset);
        EXPECT_EQ(handset.log_count(row.otherwise), 0u);
        ends(row.reached);
    }
    // The driver's script, and leaving.
    const char *script = "/system/bin/pv_wifi_init.sh";
    EXPECT_EQ(handset.shell(std::string("mount -o remount,rw /system && mv ") + script + " /system/bin/hidden && "
                            "printf '#!/bin/sh\nsleep 1234\n' >" + script + " && chmod 755 " + script).output, "");
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("the script", [&] { return handset.shell("pgrep -f 'sleep 123[4]'").status == 0; });
    EXPECT_EQ(handset.shell(std::string("mv /system/bin/hidden ") + script).output, "");
    connect(handset);
    EXPECT_NE(handset.shell("pgrep -f 'sleep 123[4]'").status, 0) << "goes with the thread";
    ap(handset, {"--answer", "DISABLE_NETWORK=silence"});
    EXPECT_EQ(handset.at("WiFiMoudle testItem close").status, 0);
    handset.wait_until("leaving", [&] { return thread_runs(handset, "wificlose"); });
    ap(handset, {"--answer", "default"});
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("the new one", [&] { return !thread_runs(handset, "wificlose"); });
    EXPECT_FALSE(handset.log_contains("", "mmi_WiFiConnect::disable_network fails."));
    wait_for_key(handset, "WiFi off");
    ends("last");
    EXPECT_EQ(left(), before) << "descriptors, threads, sockets of the supplicant's client";
}

TEST(Wifi, SwitchedNetworksOutliveABootAndOddTextsReachNobody) {
    HandsetOptions options = wifi_options();
    options.before_boot = [](const vh::StatePaths &paths) {
        std::ofstream(paths.cache() + "/pv_wifi_switch_ssid.cfg") << std::string(33, 'x') << "\n";
    };
    Handset handset(options);
    EXPECT_EQ(handset.at(OPEN).status, 0);
    handset.wait_until("refusal", [&] { return handset.log_count("set_network ssid fail") == 1; }, 60000);
    EXPECT_FALSE(handset.log_contains("", "SET_NETWORK 0 ssid")) << "the supplicant is not asked";
    EXPECT_EQ(handset.at("SwitchSSID testItem").status, 2);
    EXPECT_EQ(handset.at("SwitchSSID testItem " + std::string(33, 'x')).status, 2);
    EXPECT_EQ(handset.at("WiFiDataRate testItem set 1; touch /data/odd").status, 0);
    EXPECT_EQ(handset.at("WiFiDataRate testItem set mcs=7").status, 0);
    EXPECT_EQ(handset.shell("cat /tmp/iwpriv; ls /data/odd 2>/dev/null").output, "wlan0 dump mcs=7\n");
    ap(handset, {"--ssid", "Line-7 hall.2"});
    EXPECT_EQ(handset.at("SwitchSSID testItem Line-7 hall.2").status, 0);
    wait_for_key(handset, "WiFi off");
    handset.reboot();
    handset.wait_for_pc();
    connect(handset);
    ap(handset, {"--ssid", "DFX_WIFI_TEST"});
    EXPECT_EQ(handset.at("SwitchSSID testItem DFX_WIFI_TEST").status, 0) << "leaves the other one first";
    EXPECT_EQ(content_of(handset.cache() + "/pv_wifi_switch_ssid.cfg"), "");
    wait_for_key(handset, "WiFi off");
    EXPECT_NE(handset.shell("wpa_cli -i wlan0 -p /data/misc/wifi/sockets status").output.find("ssid=DFX_WIFI_TEST\n"), std::string::npos);
}

TEST(Wifi, JoinsAtTheStartWithTheWorkstationsOwnSupplicant) {
    HandsetOptions options = wifi_options({{"MMI", "WiFiCtrlParameter", "key_mgmt:NONE;wifi_init:1;def_ssid:Open field"}});
    options.before_boot = [](const vh::StatePaths &paths) {
        mkdir(paths.air().c_str(), 0755);
        std::ofstream(paths.air() + "/ap") << "supplicant=real\n";
    };
    Handset handset(options);
    wait_for_key(handset, "WiFi off");
    EXPECT_FALSE(handset.log_contains("", " psk "));
    const std::string status = handset.shell("wpa_cli -i wlan0 -p /data/misc/wifi/sockets status").output;
    for (const char *line : {"ssid=Open field\n", "key_mgmt=NONE\n", "wpa_state=COMPLETED\n", "ip_address=192.168.1.101\n"})
        EXPECT_NE(status.find(line), std::string::npos) << line << status;
    EXPECT_EQ(shown_code(handset), ADDRESS);
    EXPECT_EQ(handset.at("WiFiMoudle testItem close").status, 0);
    wait_for_key(handset, "WiFi on");
}

TEST(Wifi, DatagramsComeBackUnchangedWhileTheEchoServerIsOn) {
    Handset handset(wifi_options());
    connect(handset);
    const auto echo = [&](const std::string &command) {
        return there(handset, command + " | timeout 3 toybox nc -u -q 1 192.168.1.101 3536");
    };
    EXPECT_EQ(echo("printf early"), "");
    for (int round = 0; round < 2; ++round) { // opened twice: the newer one serves
        EXPECT_EQ(handset.at("WiFiUDPServ testItem open").status, 0);
        handset.wait_until("the server", [&] { return echo("printf 'as it is'") == "as it is"; });
    }
    EXPECT_EQ(echo("head -c 300 /dev/zero | tr '\\0' x"), std::string(256, 'x'));
    EXPECT_EQ(handset.at("WiFiUDPServ testItem close").status, 0);
    EXPECT_FALSE(thread_runs(handset, "wifiudp"));
    EXPECT_EQ(echo("printf late"), "");
    EXPECT_EQ(handset.shell("cut -d' ' -f3 /tmp/iwpriv | tr '\\n' ' '").output, "2 10 0 2 10 0 1 9 ");
}

TEST(Wifi, CommandsComeOverTheNetworkOnlyWhileSwitchedOnFromItsOwnSubnetAndWithTheKey) {
    Handset handset(wifi_options({}, {"persist.vxo.at.key=line 7's key"}));
    const std::string read = "batteryMoudle testItem health\n";
    const auto enable = [&] { return handset.at("WiFiConCptMoudle testItem open"); };
    const auto ask = [&](const std::string &lines) {
        return there(handset, "{ printf \"" + lines + "\" | timeout 10 busybox nc -w 5 192.168.1.101 3535; } 2>/dev/null");
    };
    const std::string refusal = "2 23\nfirst: AUTH and the key\n", ok = "0 0\n\n", key = "AUTH line 7's key\n";
    EXPECT_EQ(enable().status, 2);
    EXPECT_NE(enable().text.find("connect first"), std::string::npos);
    connect(handset);
    EXPECT_EQ(ask(key + read), "") << "off at first";
    EXPECT_EQ(enable().text, "192.168.1.101:3535");
    const std::string health = handset.at("batteryMoudle testItem health").text;
    const std::string told = "0 " + std::to_string(health.size()) + "\n" + health + "\n";
    EXPECT_EQ(ask(key + read), ok + told);
    EXPECT_EQ(ask("AUTH line 7's kez\n" + read + key + read), refusal + refusal + ok + told);
    EXPECT_EQ(ask("AUTH line 7's ke\nAUTH line 7's key2\n" + read + key + read), refusal + refusal + refusal);
    there(handset, "ip addr add 10.9.8.7/32 dev lo; ip route add 192.168.1.101/32 dev ap0 src 10.9.8.7");
    EXPECT_EQ(ask(key + read), "");
    EXPECT_TRUE(handset.log_contains("ATCHANNEL", "a client of another network"));
    EXPECT_EQ(handset.at("batteryMoudle testItem health").status, 0) << "the cable needs no key";

    there(handset, "ip route del 192.168.1.101/32 dev ap0");
    EXPECT_EQ(handset.shell("rm /dev/__vxo_props/persist.vxo.at.key").status, 0);
    EXPECT_EQ(ask(read), told);
    EXPECT_EQ(ask("WiFiConCptMoudle testItem close\n" + read), ok) << "its own end is answered";
    EXPECT_EQ(ask(read), "");
}
