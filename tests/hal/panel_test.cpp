// The panel as an ordinary file: geometry, pages, the memory page behind the pixels.
#include "support.h"

#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <tki_lcd.h>

using namespace hal_test;

namespace {
constexpr const char *PANEL = "/dev/graphics/fb0";
const std::filesystem::path ATTRIBUTES = "/sys/class/graphics/fb0";

void attributes(const char *virtual_size, const char *stride, const char *depth, const char *modes) {
    put(ATTRIBUTES / "virtual_size", virtual_size);
    put(ATTRIBUTES / "stride", stride);
    put(ATTRIBUTES / "bits_per_pixel", depth);
    put(ATTRIBUTES / "modes", modes);
}
} // namespace

// One test, in this order: the panel that is found first stays for the life of the process.
TEST(Panel, RefusesBadGeometryThenShowsPages) {
    const auto get_info = bind<tki_api_LCD_Get_Info_t>(factory(), "tki_api_LCD_Get_Info");
    const auto refresh = bind<tki_api_LCD_Refresh_t>(factory(), "tki_api_LCD_Refresh");
    tki_lcd_info info{};
    EXPECT_EQ(get_info(nullptr), -1);
    EXPECT_EQ(refresh(nullptr), -1);
    const size_t page = 64 * 4 * 30, tail_at = 16384; // 2 * 7680 bytes of pixels, then the next memory page
    put(PANEL, std::string(tail_at + 4096, '\0'));
    const struct { const char *size, *stride, *depth, *modes; } BAD[] = {
        {"", "256", "32", ""},         {"60", "256", "32", ""},       {"60,", "256", "32", ""},
        {"abc,def", "256", "32", ""},  {"0,60", "256", "32", ""},     {"60,0", "256", "32", ""},
        {"60,1", "256", "32", ""},     {"-60,60", "256", "32", ""},   {"60,60", "239", "32", ""},
        {"60,60", "242", "32", ""},    {"60,60", "", "32", ""},       {"60,60", "-256", "32", ""},
        {"60,60", "99999999999", "32", ""}, {"60,60", "256", "16", ""}, {"60,60", "256", "", ""},
        {"8193,60", "40000", "32", ""}, {"60,16386", "256", "32", ""}, {"60,60", "256", "32", "U:61x30p-60"},
        {"60,60", "256", "32", "U:60x31p-60"}, {"60,60", "256", "32", "U:0x30p-60"}, {"60,600", "256", "32", ""},
        {"8192,16384", "32768", "32", ""}};
    for (const auto &row : BAD) {
        attributes(row.size, row.stride, row.depth, row.modes);
        const LogCapture log;
        EXPECT_EQ(get_info(&info), -1) << row.size << " " << row.stride << " " << row.depth << " " << row.modes;
        EXPECT_EQ(log.count("no panel: "), 1u);
    }
    attributes("62,60\n", "256\n", "32\n", "U:60x30p-60\n"); // lines padded by the driver
    put(PANEL, std::string(tail_at + 4095, '\0'));
    EXPECT_EQ(get_info(&info), -1) << "no room behind the pixels";
    put(PANEL, std::string(tail_at + 4096, '\0'));
    ASSERT_EQ(get_info(&info), 0);
    EXPECT_EQ(info.width, 60);
    EXPECT_EQ(info.height, 30);
    EXPECT_EQ(info.stride, 256u);
    EXPECT_EQ(info.bits_per_pixel, 32u);
    EXPECT_EQ(info.visible, 0);
    EXPECT_EQ(reinterpret_cast<char *>(info.page[1]) - reinterpret_cast<char *>(info.page[0]), static_cast<ptrdiff_t>(page));

    const int fd = open(PANEL, O_RDWR | O_CLOEXEC);
    auto *viewer = static_cast<char *>(mmap(nullptr, tail_at + 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(viewer, MAP_FAILED);
    auto *tail = reinterpret_cast<tki_panel_tail *>(viewer + tail_at);
    EXPECT_EQ(tail->magic, 0u);
    // A viewer sleeps on the counter and is woken by the flip; then it sees the pixels of that flip.
    std::atomic<bool> sleeping{false};
    std::thread watch([&] {
        __atomic_fetch_add(&tail->viewers, 1, __ATOMIC_SEQ_CST);
        sleeping = true;
        while (__atomic_load_n(&tail->counter, __ATOMIC_ACQUIRE) == 0)
            syscall(SYS_futex, &tail->counter, FUTEX_WAIT, 0, nullptr, nullptr, 0);
        __atomic_fetch_sub(&tail->viewers, 1, __ATOMIC_SEQ_CST);
        EXPECT_EQ(*reinterpret_cast<uint32_t *>(viewer + page), 0x123456u);
        EXPECT_EQ(tail->visible, 1u);
        EXPECT_EQ(tail->magic, TKI_PANEL_MAGIC);
    });
    ASSERT_TRUE(eventually([&] { return sleeping.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    info.page[1][0] = 0x123456;
    const tki_lcd_rect damage{-5, 3, 1000, 4};
    EXPECT_EQ(refresh(&damage), 1);
    watch.join();
    EXPECT_EQ(tail->damage.left, 0);
    EXPECT_EQ(tail->damage.top, 3);
    EXPECT_EQ(tail->damage.right, 60);
    EXPECT_EQ(tail->damage.bottom, 4);
    EXPECT_EQ(tail->stride, 256u);
    EXPECT_EQ(refresh(nullptr), 1) << "presents, flips nothing";
    EXPECT_EQ(tail->counter, 2u);
    EXPECT_EQ(tail->damage.bottom, 30);

    std::thread others[3];
    for (std::thread &other : others)
        other = std::thread([&] {
            for (int i = 0; i < 100; ++i) EXPECT_GE(refresh(&damage), 0);
        });
    for (std::thread &other : others) other.join();
    EXPECT_EQ(tail->counter, 302u);
    EXPECT_EQ(tail->visible, 1u);
    ASSERT_EQ(get_info(&info), 0);
    EXPECT_EQ(info.visible, 1);
    munmap(viewer, tail_at + 4096);
    close(fd);

    const auto off = bind<tki_api_LCD_Off_t>(factory(), "tki_api_LCD_Off");
    std::filesystem::remove_all("/sys/class/leds");
    EXPECT_EQ(off(), -1);
    put("/sys/class/leds/lcd-backlight/brightness", "100");
    put(ATTRIBUTES / "blank", "0");
    EXPECT_EQ(off(), 0);
    EXPECT_EQ(content(ATTRIBUTES / "blank"), "4");
    EXPECT_EQ(content("/sys/class/leds/lcd-backlight/brightness"), "0");
}
