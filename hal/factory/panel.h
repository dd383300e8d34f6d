// The panel behind /dev/graphics/fb0: a frame buffer device that pans, or an ordinary file with a memory page that
// tells a viewer what is shown. The class does not lock; its user does.
//
// Geometry comes from attributes in /sys/class/graphics/fb0:
//   virtual_size    "W,H"          the mapped pixels per line and lines; two screens high or more
//   stride          bytes per line
//   bits_per_pixel  32, anything else is refused
//   mode, modes     "U:WxHp-60"    optional: the visible size, where the driver pads lines or keeps more than two
//                                  screens. The first that holds a size counts; without it a screen is W wide and
//                                  H / 2 high.
#pragma once

#include <common/file.h>
#include <memory>
#include <string>
#include <tki_lcd.h>

namespace factory {

struct PanelGeometry {
    uint32_t width = 0, height = 0, stride = 0;
    size_t page_bytes() const { return size_t{stride} * height; }
    size_t pixel_bytes() const { return 2 * page_bytes(); }
    size_t tail_offset() const { return (pixel_bytes() + 4095) / 4096 * 4096; }
};
// Null with the reason when the attributes are missing or no panel can have these values.
std::optional<PanelGeometry> panel_geometry(std::string &reason);

class Panel {
public:
    // Null with the reason in words.
    static std::unique_ptr<Panel> open(std::string &reason);
    ~Panel();
    Panel(const Panel &) = delete;
    Panel &operator=(const Panel &) = delete;

    void describe(tki_lcd_info &out) const;
    // As tki_api_LCD_Refresh.
    int present(const tki_lcd_rect *damage);

private:
    Panel() = default;
    bool attach_file(size_t file_size, std::string &reason);
    bool attach_device(std::string &reason);
    bool map(size_t length, std::string &reason);
    bool pan(uint32_t page) const;
    void publish(uint32_t page, const tki_lcd_rect *damage);

    hal::UniqueFd m_fd;
    PanelGeometry m_geometry;
    uint8_t *m_memory = nullptr;
    size_t m_length = 0;
    tki_panel_tail *m_tail = nullptr; // null on a device
    uint32_t m_visible = 0;
};

} // namespace factory
