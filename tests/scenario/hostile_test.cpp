// Every command of the table with arguments made to reach a shell, a path or a format: only what the commands do happens.
#include "scenario/raw_pc.h"

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace {
using vh::PcLink;
using Lines = std::set<std::string>;

Lines lines_of(const std::string &text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) lines.insert(line);
    return lines;
}

std::vector<std::string> commands_of_the_table() {
    const std::string source = content_of(source_folder() + "/server/adbd_connection/command_table.cpp");
    const std::regex row("\\n    \\{\"([^\"]+)\", \"");
    std::vector<std::string> commands;
    for (std::sregex_iterator at(source.begin(), source.end(), row), end; at != end; ++at) commands.push_back((*at)[1]);
    return commands;
}

const std::vector<std::string> FOR_ALL = {
    ";touch /data/pwned;#", "$(touch /data/pwned)", "`touch /data/pwned`", "'\"|touch /data/pwned&&touch /data/pwned>/data/pwned\"'",
    "../../../../data/pwned", "%n%s%n%s%500000d", std::string(255, 'A'), "\t\x01\x1b[2J\x7f\xff\xfe\x80"};
const std::vector<std::string> FOR_ARGUMENTS = {
    "&touch /data/pwned", ">/data/pwned", "-rf /data", "main,1;touch /data/pwned", "main,$(touch /data/pwned)", "main,../x", "../x,1",
    "0x1,`touch /data/pwned`", "MMI,LogPath,/data;touch /data/pwned", "MMI,LogPath,$(touch /data/pwned)", "MMI,$IFS,1", "MMI,-x,../..//",
    "main," + std::string(250, '7'), "7," + std::string(248, '7'), "1,2,3 4", "1;id", "vol=1;id", "281,1;id,write", "$(id),1,write",
    "281,1,write;id", "/etc/passwd,x", "/data/../etc/passwd,x", "/data/link/passwd,x", "/data/link/passwd", "/data/link,x",
    "/dev/block/bootdevice/by-name/vxocfg,x", "/proc/self/mem,x", "/data//pwned,x", "/data/./pwned,x", "/data/pwn\x01" "ed,x",
    "/data,x"};
// These use what they are given.
const std::regex TAKES_ARGUMENT("LCDbacklightMoudle.*|flashlightMoudle testItem front open|FMMoudle.*|audio.*|simMoudle.*|sdCard.*|"
                                "testinfo.*|WiFi.*|FileOpt.*|(Fm|Sim|Wgb)PCBA.*start|SwitchSSID.*|ConfigMoudle.*|ReadCameraID.*|"
                                "Hue.*|GrayLevel.*|commonModule.*showImage");
// These refuse every one of them.
const std::regex REFUSES("LCDbacklightMoudle.*|flashlightMoudle testItem front open|FMMoudle.*|audioMoudle testItem HiFi|"
                         "audioRingMoudle testItem open|testinfo.*|SwitchSSID.*|Hue.*|GrayLevel.*|commonModule.*showImage|"
                         "LCDTurnoffMoudle.*|LCDbacklightTestMoudle.*");

// Plain characters, which the script looks at itself and refuses.
const std::string CONFIG_CHANGE = "/system/bin/modify_tki_config.sh MMI -x ../..// /etc/tki_config.ini";
// Load and unload a driver each time, and leave a thread at work: on their own.
const std::regex WIFI_ITSELF("WiFiMoudle.*");
const std::regex WIFI_RUNS("/system/bin/(pv_wifi_init|pv_wifi_close)\\.sh|/system/bin/dhcpcd-6\\.8\\.2 wlan0|toybox ifconfig wlan0 down|"
                           "/system/bin/udhcpc\\.script [a-z]+|ip link set lo up; ip addr add 192\\.168\\.1\\.1/24 dev ap0; ip addr add 169\\.254\\.7\\.1/16 dev ap0 </dev/null >/dev/null 2>&1|"
                           "ip link add wlan0 address [0-9a-f:]+ type veth peer name ap0 netns [0-9]+ </dev/null >/dev/null 2>&1");
const std::string WPA_CLI = "wpa_cli -i wlan0 -p /data/misc/wifi/sockets ";
// What the commands run, whatever stands behind them.
const Lines RUN = {"killall spk_audio", "camera_pcba -0", "/system/bin/camera_pcba -0", "camera_pcba -1", "/system/bin/camera_pcba -1",
                   "echo 0 > /sys/class/graphics/fb0/blank", "echo 4 > /sys/class/graphics/fb0/blank",
                   "echo mem > /sys/power/autosleep", "echo off > /sys/power/autosleep", "echo 2 > /proc/panel_cabc_level_switch",
                   "echo 0 > /proc/panel_cabc_level_switch", CONFIG_CHANGE, WPA_CLI + "signal_poll", WPA_CLI + "status"};
// Power saving off for the echo server, and on again.
const std::regex RUN_TOO("(/system/bin/)?iwpriv wlan0 setPower (2|10|0|1|9)");
// What they leave behind.
const std::regex LEFT("/tmp/iwpriv|/cache/tki/camera_(back|auxback|front)\\.png|/sys/class/leds/vibrator/duration|/sys/devices/platform/tki_factory/.*|"
                      "/sys/bus/iio/devices/iio:device./in_.*_calibbias|/sys/class/(force_touch/ft0|smartpa/spa0)/calibrate");

// Every shell command is written down before it runs: the sandbox's shell is replaced by one that does.
void trace_shells(const Handset &handset) {
    const auto made = handset.shell("cp -L /bin/sh /run/sh && printf '#!/usr/bin/bash\\n[ \"$1\" = -c ] && c=$2 || c=$*\\n"
                                    "printf \"%%s\\\\n\" \"$c\" >>/run/commands\\nexec /run/sh \"$@\"\\n' >/run/tracer &&"
                                    "chmod 755 /run/tracer && : >/run/commands && mount --bind /run/tracer \"$(readlink -f /bin/sh)\"");
    ASSERT_EQ(made.status, 0) << made.output;
}
Lines traced(const Handset &handset) { return lines_of(handset.client().exec({"cat", "/run/commands"}).output); }

// Files with their content, and all attributes that can be set; what the hardware itself moves is left out.
Lines everything(const Handset &handset) {
    static const std::string look =
        "find /data /cache /system /tmp /dev/block/bootdevice/by-name -type f ! -name tki.log -exec md5sum {} +;"
        "find /data /cache /tmp ! -type f -printf '%l %m  %p\\n'; find /sys -type f -perm -200 ! -path '*/suspend_stats/*' |"
        "while read f; do printf '%s  %s\\n' \"$(tr '\\n' ' ' <$f 2>&1)\" $f; done;"
        "for f in /proc/panel_* /proc/touchscreen/ts_main_ctrl; do printf '%s  %s\\n' \"$(cat $f)\" $f; done;"
        "ps -eo args --no-headers | grep -v -e find -e 'ps -eo' -e md5sum -e '/run/sh -c' | sed 's/$/  process/'";
    return lines_of(handset.client().exec({"/run/sh", "-c", look}).output);
}

void expect_nothing_else_changed(const Handset &handset, const Lines &before) {
    const Lines after = everything(handset);
    for (const auto &[mine, other, what] : {std::tuple(after, before, "new: "), std::tuple(before, after, "gone: ")})
        for (const std::string &line : mine)
            if (!other.contains(line) && !std::regex_match(line.substr(line.rfind("  ") + 2), LEFT)) ADD_FAILURE() << what << line;
    for (const std::string &command : traced(handset)) EXPECT_TRUE(RUN.contains(command) || std::regex_match(command, RUN_TOO)) << "ran: " << command;
}

bool ends_the_handset(const std::string &command) { return command.starts_with("PowerOff") || command.starts_with("Reboot"); }
} // namespace

TEST(Pc, HostileArgumentsOfTheWifiSwitch) {
    Handset handset({.speed = 200});
    handset.wait_for_text("Device tests");
    ASSERT_NO_FATAL_FAILURE(trace_shells(handset));
    PcLink pc(handset.client());
    for (const auto *arguments : {&FOR_ALL, &FOR_ARGUMENTS})
        for (const std::string &argument : *arguments)
            for (const char *command : {"WiFiMoudle testItem open ", "WiFiMoudle testItem close "})
                EXPECT_EQ(pc.at(command + argument).status, 0) << command << argument;
    // Those closes followed at once: whether the thread ever came to its first command is chance.
    EXPECT_EQ(pc.at("WiFiMoudle testItem open " + FOR_ARGUMENTS.front()).status, 0);
    handset.wait_until("the driver", [&] { return traced(handset).contains("/system/bin/pv_wifi_init.sh"); });
    EXPECT_EQ(pc.at("WiFiMoudle testItem close").status, 0);
    EXPECT_EQ(handset.client().exec({"find", "/data", "/tmp", "/cache", "-name", "*pwned*"}).output, "");
    for (const std::string &command : traced(handset))
        EXPECT_TRUE(RUN.contains(command) || std::regex_match(command, WIFI_RUNS)) << "ran: " << command;
}

TEST(Pc, HostileArgumentsReachNothingInAnyRow) {
    const std::vector<std::string> commands = commands_of_the_table();
    ASSERT_EQ(commands.size(), 181u);
    Handset handset({.speed = 200});
    handset.wait_for_text("Device tests");
    handset.shell("echo secret > /data/secret; ln -s /etc /data/link");
    ASSERT_NO_FATAL_FAILURE(trace_shells(handset));
    handset.at("LightControl testItem Open"); // the close behind it restores what is now
    handset.at("LightControl testItem Close");
    const Lines before = everything(handset);
    for (const char *seen : {"/data/secret", "/system/etc/tki_config.ini", "/by-name/vxoflag", "/leds/red/brightness", "/proc/panel_reg"})
        ASSERT_TRUE(std::any_of(before.begin(), before.end(), [&](const std::string &line) { return line.ends_with(seen); })) << seen;
    PcLink pc(handset.client());
    std::string refused;
    size_t asked = 0;
    for (const std::string &command : commands) {
        if (ends_the_handset(command) || std::regex_match(command, WIFI_ITSELF)) continue;
        ++asked;
        for (const auto *arguments : {&FOR_ALL, &FOR_ARGUMENTS}) {
            if (arguments == &FOR_ARGUMENTS && !std::regex_match(command, TAKES_ARGUMENT)) continue;
            for (const std::string &argument : *arguments) {
                const int status = pc.at(command + " " + argument).status;
                EXPECT_TRUE(status == 2 || (status == 0 && !std::regex_match(command, REFUSES)))
                    << status << " " << command << " " << argument;
            }
        }
        refused += command + " " + std::string(256, 'A') + "\n" + command + " 1" + std::string(1, '\0') + "\n";
    }
    std::string refusals;
    for (size_t i = 0; i < asked; ++i) refusals += answer(2) + answer(2, "malformed");
    EXPECT_EQ(RawPc(handset).converse(refused), refusals) << "too long, and with a zero byte";
    EXPECT_EQ(RawPc(handset).converse("HueMoudle testItem set main,1;\n$(touch /data/pwned)\n"), answer(2) + answer(2)) << "two commands";
    pc.at("usbChargeMoudle testItem open"); // its close stands last
    expect_nothing_else_changed(handset, before);
    EXPECT_TRUE(traced(handset).contains("killall spk_audio")) << "the trace sees what does run";
    EXPECT_EQ(pc.at("FileOptMoudle testItem read /data/secret").text, "secret\n") << "what is allowed still works";
    handset.wait_for_text("Device tests");

    RawPc(handset).send("RebootMoudle testItem close $(touch /data/pwned)\n");
    handset.wait_until("the second boot", [&] { return handset.status().value("boots", 0) == 2; }, 20000);
    handset.wait_for_pc();
    EXPECT_EQ(handset.at("PowerOffMoudle testItem close ;touch /data/pwned").status, 0);
    handset.wait_until("power-off", [&] { return handset.state() == "off"; }, 20000);
    EXPECT_FALSE(std::ifstream(handset.data() + "/pwned").is_open());
}
