// What is fitted, felt and seen, by the words of the tool.
#include "scenario/handset.h"

#include "picture/picture.h"

TEST(Hardware, PartsComeAndGoByTheToolAndStayAsTheyAreThroughBoots) {
    Handset handset;
    const std::string light = "/sys/bus/iio/devices/iio:device0/in_illuminance_raw";
    const auto inside = [&](const std::string &line) { return handset.shell(line).output; };
    const auto succeeds = [&](const std::vector<std::string> &args) {
        const auto outcome = handset.tool(args);
        EXPECT_EQ(outcome.status, 0) << args.front() << " " << args.back() << ": " << outcome.output;
        return outcome.output;
    };
    const auto line_of = [](const std::string &text, const std::string &name) {
        const size_t begin = text.starts_with(name + " ") ? 0 : text.find("\n" + name + " ") + 1;
        return text.substr(begin, text.find('\n', begin) - begin);
    };
    EXPECT_EQ(handset.tool({"fit"}).output.find("not fitted"), std::string::npos) << "complete at first";
    EXPECT_EQ(inside("cat " + light), "6000\n");
    succeeds({"unfit", "light", "camera-aux", "gps", "wifi"});
    EXPECT_NE(line_of(handset.tool({"fit"}).output, "light").find("not fitted"), std::string::npos);
    EXPECT_NE(inside("cat " + light).find("No such file"), std::string::npos);
    EXPECT_EQ(inside("ls /sys/bus/iio/devices | wc -l; ls /sys/class/gnss /sys/class/net 2>&1 | wc -l"), "6\n2\n") << "two complaints";
    EXPECT_EQ(inside("cd /dev; echo video? gnss?"), "video0 video2 gnss?\n");
    const auto wrong = handset.tool({"fit", "light", "lidar"});
    EXPECT_NE(wrong.status, 0);
    EXPECT_NE(wrong.output.find("no part 'lidar'; the parts are: camera-back, "), std::string::npos) << wrong.output;
    EXPECT_NE(inside("cat " + light).find("No such file"), std::string::npos) << "nothing was fitted";

    succeeds({"sensor", "accelerometer", "0", "-9.8", "0"});
    EXPECT_EQ(line_of(handset.tool({"sensor"}).output, "accelerometer"), "accelerometer   0 -9.8 0               m/s^2");
    EXPECT_LT(atoi(inside("cat /sys/bus/iio/devices/iio:device2/in_accel_y_raw").c_str()), -8000);
    EXPECT_NE(handset.tool({"sensor", "hall", "7"}).output.find("hall takes: 1 while"), std::string::npos);
    EXPECT_NE(handset.tool({"sensor", "nose"}).output.find("one of: light, "), std::string::npos);

    // Another picture at the back; what is none is refused and changes nothing.
    const std::string picture = handset.data() + "/../picture.png";
    const uint32_t pixels[6] = {};
    vh::write_png(picture, pixels, 3, 2, 12);
    const std::string at_first = inside("cksum < /dev/video0");
    EXPECT_NE(at_first, inside("cksum < /dev/video2")) << "each its own";
    EXPECT_NE(handset.tool({"camera", "back", source_folder() + "/README.md"}).output.find("is no PNG picture"), std::string::npos);
    EXPECT_EQ(inside("cksum < /dev/video0"), at_first);
    succeeds({"camera", "back", picture});
    const std::string replaced = inside("cksum < /dev/video0");
    EXPECT_NE(replaced, at_first);

    handset.reboot();
    EXPECT_NE(inside("cat " + light).find("No such file"), std::string::npos);
    EXPECT_EQ(inside("cd /dev; echo video? gnss?"), "video0 video2 gnss?\n");
    succeeds({"stop"});
    succeeds({"fit", "wifi"});
    succeeds({"boot", "--headless"});
    EXPECT_NE(inside("cat " + light).find("No such file"), std::string::npos);
    EXPECT_EQ(inside("cat /sys/class/net/wlan0/operstate"), "down\n");
    EXPECT_EQ(inside("cksum < /dev/video0"), replaced);
    succeeds({"fit", "light", "camera-aux", "gps"});
    EXPECT_EQ(inside("cat " + light), "6000\n");
    EXPECT_EQ(inside("head -c 7 /dev/gnss0; head -c 4 /dev/video1 | tail -c 3"), "$GPGGA,PNG");
    succeeds({"camera", "back", "default"});
    EXPECT_EQ(inside("cksum < /dev/video0"), at_first);

    succeeds({"stop"});
    EXPECT_NE(handset.tool({"boot", "--unfit", "nfc,radar"}).output.find("no part 'radar'; the parts are"), std::string::npos);
    succeeds({"boot", "--headless", "--unfit", "nfc,fm"});
    EXPECT_EQ(inside("ls /sys/class/nfc /sys/class/radio 2>&1 | wc -l; ls /sys/class/rfkill | wc -l"), "2\n3\n");
}
