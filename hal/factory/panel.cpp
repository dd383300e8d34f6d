#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <factory/panel.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/futex.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace factory {
namespace {
constexpr const char *PANEL = "/dev/graphics/fb0";
constexpr int SIDE_MAX = 8192;
constexpr int STRIDE_MAX = SIDE_MAX * 8;

struct Size {
    int width = 0, height = 0;
};

std::optional<Size> parse_size(std::string_view text, char separator) {
    const size_t middle = text.find(separator);
    if (middle == std::string_view::npos) return std::nullopt;
    const auto width = hal::parse_int(text.substr(0, middle));
    const auto height = hal::parse_int(text.substr(middle + 1));
    if (!width || !height) return std::nullopt;
    return Size{*width, *height};
}

// "U:720x1280p-60" -> 720, 1280
std::optional<Size> parse_mode(std::string_view text) {
    text = text.substr(0, text.find('\n'));
    const size_t start = text.find(':');
    if (start == std::string_view::npos) return std::nullopt;
    text.remove_prefix(start + 1);
    return parse_size(text.substr(0, text.find_first_not_of("0123456789x")), 'x');
}

std::string attribute(const char *name) {
    return hal::read_attribute((std::string("/sys/class/graphics/fb0/") + name).c_str()).value_or("");
}

std::string failure(const char *what) { return std::string(what) + ": " + strerror(errno); }
} // namespace

std::optional<PanelGeometry> panel_geometry(std::string &reason) {
    const std::string virtual_text = attribute("virtual_size"), stride_text = attribute("stride"),
                      depth = attribute("bits_per_pixel");
    const auto virtual_size = parse_size(virtual_text, ',');
    const int stride = hal::parse_int(stride_text).value_or(0);
    reason = "virtual_size '" + virtual_text + "' stride '" + stride_text + "' bits_per_pixel '" + depth + "'";
    if (!virtual_size || depth != "32") return std::nullopt;
    Size screen{virtual_size->width, virtual_size->height / 2};
    auto mode = parse_mode(attribute("mode"));
    if (!mode) mode = parse_mode(attribute("modes"));
    if (mode) {
        reason += " mode " + std::to_string(mode->width) + "x" + std::to_string(mode->height);
        if (mode->width > screen.width || mode->height > screen.height) return std::nullopt;
        screen = *mode;
    }
    if (screen.width <= 0 || screen.width > SIDE_MAX || screen.height <= 0 || screen.height > SIDE_MAX) return std::nullopt;
    if (stride < virtual_size->width * 4LL || stride > STRIDE_MAX || stride % 4) return std::nullopt;
    return PanelGeometry{static_cast<uint32_t>(screen.width), static_cast<uint32_t>(screen.height),
                         static_cast<uint32_t>(stride)};
}

std::unique_ptr<Panel> Panel::open(std::string &reason) {
    std::unique_ptr<Panel> panel(new Panel);
    const auto geometry = panel_geometry(reason);
    if (!geometry) return nullptr;
    panel->m_geometry = *geometry;
    panel->m_fd = hal::open_file(PANEL, O_RDWR);
    struct stat status {};
    if (!panel->m_fd.valid() || fstat(panel->m_fd.get(), &status) != 0) {
        reason = failure("open");
        return nullptr;
    }
    bool attached = false;
    if (S_ISREG(status.st_mode)) attached = panel->attach_file(static_cast<size_t>(status.st_size), reason);
    else if (S_ISCHR(status.st_mode)) attached = panel->attach_device(reason);
    else reason = "neither a frame buffer device nor a file";
    return attached ? std::move(panel) : nullptr;
}

bool Panel::attach_file(size_t file_size, std::string &reason) {
    const size_t needed = m_geometry.tail_offset() + 4096;
    if (file_size < needed) {
        reason = "file holds " + std::to_string(file_size) + " bytes, its geometry needs " + std::to_string(needed);
        return false;
    }
    if (!map(needed, reason)) return false;
    m_tail = reinterpret_cast<tki_panel_tail *>(m_memory + m_geometry.tail_offset());
    // A program that starts again takes over the page that its predecessor showed: nothing flickers.
    if (m_tail->magic == TKI_PANEL_MAGIC && m_tail->visible <= 1) m_visible = m_tail->visible;
    return true;
}

bool Panel::attach_device(std::string &reason) {
    fb_fix_screeninfo fixed{};
    fb_var_screeninfo variable{};
    if (ioctl(m_fd.get(), FBIOGET_FSCREENINFO, &fixed) != 0 || ioctl(m_fd.get(), FBIOGET_VSCREENINFO, &variable) != 0) {
        reason = failure("screen information");
        return false;
    }
    if (fixed.smem_len < m_geometry.pixel_bytes() || fixed.line_length != m_geometry.stride) {
        reason = "device has " + std::to_string(fixed.smem_len) + " bytes in lines of " + std::to_string(fixed.line_length);
        return false;
    }
    m_visible = variable.yoffset >= m_geometry.height ? 1 : 0;
    return map(m_geometry.pixel_bytes(), reason);
}

bool Panel::map(size_t length, std::string &reason) {
    void *memory = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd.get(), 0);
    if (memory == MAP_FAILED) {
        reason = failure("mmap");
        return false;
    }
    m_memory = static_cast<uint8_t *>(memory);
    m_length = length;
    return true;
}

Panel::~Panel() {
    if (m_memory) munmap(m_memory, m_length);
}

void Panel::describe(tki_lcd_info &out) const {
    out.width = static_cast<uint16_t>(m_geometry.width);
    out.height = static_cast<uint16_t>(m_geometry.height);
    out.stride = m_geometry.stride;
    out.bits_per_pixel = 32;
    out.page[0] = reinterpret_cast<uint32_t *>(m_memory);
    out.page[1] = reinterpret_cast<uint32_t *>(m_memory + m_geometry.page_bytes());
    out.visible = static_cast<int>(m_visible);
}

int Panel::present(const tki_lcd_rect *damage) {
    const uint32_t page = damage ? 1 - m_visible : m_visible;
    if (m_tail) publish(page, damage);
    else if (!pan(page)) return -1;
    m_visible = page;
    return static_cast<int>(page);
}

bool Panel::pan(uint32_t page) const {
    fb_var_screeninfo variable{};
    int result = ioctl(m_fd.get(), FBIOGET_VSCREENINFO, &variable);
    if (result == 0) {
        variable.xoffset = 0;
        variable.yoffset = page * m_geometry.height;
        do {
            result = ioctl(m_fd.get(), FBIOPAN_DISPLAY, &variable);
        } while (result != 0 && errno == EINTR);
    }
    return result == 0;
}

// The counter goes last, with release: a viewer that sees the new count sees the pixels and the fields of this flip.
// The fields are stored atomically because a viewer may look at any time.
void Panel::publish(uint32_t page, const tki_lcd_rect *damage) {
    const int width = static_cast<int>(m_geometry.width), height = static_cast<int>(m_geometry.height);
    tki_lcd_rect area{0, 0, width, height};
    if (damage) {
        area = {std::clamp(damage->left, 0, width), std::clamp(damage->top, 0, height),
                std::clamp(damage->right, 0, width), std::clamp(damage->bottom, 0, height)};
    }
    const auto store = [](auto &field, auto value) { __atomic_store_n(&field, value, __ATOMIC_RELAXED); };
    store(m_tail->visible, page);
    store(m_tail->damage.left, area.left);
    store(m_tail->damage.top, area.top);
    store(m_tail->damage.right, area.right);
    store(m_tail->damage.bottom, area.bottom);
    store(m_tail->width, m_geometry.width);
    store(m_tail->height, m_geometry.height);
    store(m_tail->stride, m_geometry.stride);
    store(m_tail->magic, TKI_PANEL_MAGIC);
    __atomic_fetch_add(&m_tail->counter, 1, __ATOMIC_SEQ_CST);
    // A viewer that adds itself behind this look finds the counter changed and does not sleep.
    if (__atomic_load_n(&m_tail->viewers, __ATOMIC_SEQ_CST) == 0) return;
    syscall(SYS_futex, &m_tail->counter, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace factory
