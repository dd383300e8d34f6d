// The panel for the drawing layer. Opened at the first use and never given back: the drawing layer keeps pointers into
// the pages for the life of the process.
#include <cerrno>
#include <cstring>
#include <factory/api.h>
#include <factory/lights.h>
#include <factory/panel.h>
#include <mutex>

namespace {
constexpr const char *BLANK = "/sys/class/graphics/fb0/blank";
constexpr const char *POWER_DOWN = "4"; // the frame buffer's deepest blanking

std::mutex g_lock;
factory::Panel *g_panel = nullptr;

bool open_panel_locked() {
    if (g_panel) return true;
    std::string reason;
    g_panel = factory::Panel::open(reason).release();
    if (!g_panel) HAL_LOG_E(FACTORY_TAG, "no panel: %s", reason.c_str());
    return g_panel != nullptr;
}
} // namespace

TKI_API(int) tki_api_LCD_Get_Info(tki_lcd_info *out) noexcept {
    if (!out) return -1;
    const std::lock_guard guard(g_lock);
    if (!open_panel_locked()) return -1;
    g_panel->describe(*out);
    return 0;
}

TKI_API(int) tki_api_LCD_Refresh(const tki_lcd_rect *damage) noexcept {
    const std::lock_guard guard(g_lock);
    if (!open_panel_locked()) return -1;
    const int visible = g_panel->present(damage);
    if (visible < 0) HAL_LOG_E(FACTORY_TAG, "pan: %s", strerror(errno));
    return visible;
}

TKI_API(int) tki_api_LCD_Off() noexcept {
    const bool dark = factory::light_set(TKI_LIGHT_LCD, 0);
    const bool blanked = hal::write_attribute(BLANK, POWER_DOWN);
    if (!blanked) HAL_LOG_E(FACTORY_TAG, "%s: %s", BLANK, strerror(errno));
    return dark && blanked ? 0 : -1;
}
