// Painting against the machine's own speed, through the factory library on a panel file that is mapped as the virtual
// handset has it. It starts itself anew in a root where /sys and /dev/graphics may be written.
#include "common/turns.h"
#include "device/factory_slots.h"
#include "panel.h"
#include "queue.h"
#include "shell/main_menu.h"
#include "testwnd/mmi_testwnd_lcd.h"

#include <algorithm>
#include <android/log.h>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <ft2build.h>
#include <pixman.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tp_globals.h>
#include <tp_gui.h>
#include <tp_os.h>
#include <unistd.h>
#include FT_FREETYPE_H

namespace {
constexpr const char *PANEL = "/dev/graphics/fb0", *PANEL_FILE = "/data/bench-panel", *FLOOR_FILE = "/data/bench-floor";
constexpr int ROWS = 12, GRID = 40, CELLS = GRID * GRID;

struct Screen {
    int width, height;
    bool counts; // the goals are for this size; other sizes are reported beside it
    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// A file like the panel's, mapped as the panel is: two pages and the page behind them.
uint32_t *map_file(const char *path, const Screen &s) {
    const size_t bytes = s.pixels() * 8 + 8192;
    const int fd = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0) bench::give_up(std::string("cannot make ") + path);
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (memory == MAP_FAILED) bench::give_up(std::string("cannot map ") + path);
    return static_cast<uint32_t *>(memory);
}

void attribute(const char *name, const std::string &value) {
    std::ofstream file(std::string("/sys/class/graphics/fb0/") + name);
    if (!(file << value)) bench::give_up("cannot describe a panel: run this in tests/support/box");
}

// One size per process: the factory library opens the panel once.
uint32_t *bring_up(const Screen &s) {
    std::error_code ignored;
    std::filesystem::create_directories("/sys/class/graphics/fb0", ignored);
    attribute("virtual_size", std::to_string(s.width) + "," + std::to_string(2 * s.height));
    attribute("stride", std::to_string(s.width * 4));
    attribute("bits_per_pixel", "32");
    uint32_t *panel = map_file(PANEL_FILE, s);
    std::filesystem::remove(PANEL, ignored);
    std::filesystem::create_symlink(PANEL_FILE, PANEL, ignored);
    tp_os_thread_init();
    if (tki_init_lib_factory_dll() != 0 || tp_man_lcd_get_info_only() != 0 || InitGUI() != 0) bench::give_up("no panel");
    mmi_testwnd_InitLogFont();
    return panel;
}

const tki_panel_tail &tail_of(const uint32_t *panel, const Screen &s) {
    const size_t offset = (s.pixels() * 8 + 4095) / 4096 * 4096;
    return *reinterpret_cast<const tki_panel_tail *>(reinterpret_cast<const char *>(panel) + offset);
}
const uint32_t *shown(const uint32_t *panel, const Screen &s) { return panel + tail_of(panel, s).visible * s.pixels(); }

// Two pages that the other side draws on in turn, as the toolkit does.
struct FloorPages {
    explicit FloorPages(const Screen &screen) : s(screen), memory(map_file(FLOOR_FILE, screen)) {}
    uint32_t *page(int n) const { return memory + static_cast<size_t>(n) * s.pixels(); }
    uint32_t *next() { return page(current = 1 - current); }
    void fill(uint32_t *pixels, int x, int y, int w, int h, uint32_t color) const {
        pixman_fill(pixels, s.width, 32, x, y, w, h, color);
    }
    const Screen &s;
    uint32_t *memory;
    int current = 0;
};

bench::Goal goal(const Screen &s, double limit) { return s.counts ? bench::Goal::at_most(limit) : bench::Goal::report(); }

// ---- a full-screen colour change ----

void color_rows(const bench::Plan &plan, const Screen &s, const uint32_t *panel, FloorPages &pages) {
    int level = 0;
    const auto ours = bench::each([&] {
        level = (level + 1) % 256;
        char text[32];
        snprintf(text, sizeof text, "%d,%d,%d", level, 255 - level, level / 2);
        if (mmi_AutoTest_GrayLevel_Set(text) != 1) bench::give_up("the colour window does not open");
        tp_gui_pump();
    });
    int value = 0;
    const auto floor = bench::each([&] { memset(pages.next(), ++value, s.pixels() * 4); });
    const auto [pairs] = bench::take_turns<1>(plan, ours, floor);
    const uint32_t wanted = static_cast<uint32_t>(level + (255 - level) * 256 + level / 2 * 65536);
    const uint32_t *page = shown(panel, s);
    if (std::count(page, page + s.pixels(), wanted) != static_cast<ptrdiff_t>(s.pixels()))
        bench::give_up("the colour is not shown");
    const std::string what = "full-screen colour change, command to panel, " + s.name();
    bench::print_ratio({what + ", against one memset of the frame", goal(s, 1.5)}, pairs, "us", 1e6);
    mmi_AutoTest_GrayLevel_Set("close");
    tp_gui_pump();
}

// ---- a menu step ----

// GB18030 and the same in code points. No two rows have the same text.
struct Label {
    std::string gb;
    std::u32string text;
};
const Label LABELS[] = {{"LCD \xd1\xd5\xc9\xab\xb2\xe2\xca\xd4 Color", U"LCD 颜色测试 Color"},
                        {"\xb0\xb4\xbc\xfc Key \xd5\xf1\xb6\xaf\xb2\xe2\xca\xd4", U"按键 Key 振动测试"}};
Label label(int row) {
    Label label = LABELS[row % 2];
    label.gb += static_cast<char>('A' + row);
    label.text += U'A' + static_cast<char32_t>(row);
    return label;
}

void draw_row(HWND sv, HSVITEM item, HDC hdc, RECT *rect) { menu_draw_row(sv, item, hdc, rect, 17, true, 19); }

// The masks of a row's glyphs, drawn by the font library as the toolkit asks it to, and nothing of the toolkit's.
class BareGlyphs {
public:
    explicit BareGlyphs(int size) {
        if (FT_Init_FreeType(&library_) != 0 || FT_New_Face(library_, "/system/fonts/song.ttc", 0, &face_) != 0 ||
            FT_Set_Pixel_Sizes(face_, 0, static_cast<FT_UInt>(size)) != 0)
            bench::give_up("no font");
        cache_ = pixman_glyph_cache_create();
        pixman_glyph_cache_freeze(cache_);
    }
    // The line's glyphs from x on, with the base line at 0.
    std::vector<pixman_glyph_t> line(const std::u32string &text, int x) {
        std::vector<pixman_glyph_t> out;
        for (const char32_t c : text) {
            if (FT_Load_Char(face_, c, FT_LOAD_TARGET_LIGHT | FT_LOAD_NO_BITMAP) != 0 ||
                FT_Render_Glyph(face_->glyph, FT_RENDER_MODE_NORMAL) != 0)
                bench::give_up("the font lacks a character");
            if (const void *glyph = mask(c)) out.push_back({x, 0, glyph});
            x += static_cast<int>((face_->glyph->advance.x + 32) >> 6);
        }
        return out;
    }
    void blend(pixman_image_t *ink, pixman_image_t *page, int base_line, const std::vector<pixman_glyph_t> &glyphs) {
        auto *first = const_cast<pixman_glyph_t *>(glyphs.data()); // only read
        const int count = static_cast<int>(glyphs.size());
        pixman_composite_glyphs_no_mask(PIXMAN_OP_OVER, ink, page, 0, 0, 0, base_line, cache_, count, first);
    }

private:
    const void *mask(char32_t c) {
        void *key = reinterpret_cast<void *>(static_cast<uintptr_t>(c));
        if (const void *known = pixman_glyph_cache_lookup(cache_, this, key)) return known;
        const FT_Bitmap &b = face_->glyph->bitmap;
        if (b.width == 0 || b.rows == 0) return nullptr;
        const int width = static_cast<int>(b.width), rows = static_cast<int>(b.rows);
        pixman_image_t *image = pixman_image_create_bits(PIXMAN_a8, width, rows, nullptr, 0);
        auto *to = reinterpret_cast<uint8_t *>(pixman_image_get_data(image));
        for (int y = 0; y < rows; ++y, to += pixman_image_get_stride(image)) memcpy(to, b.buffer + y * b.pitch, b.width);
        const void *glyph =
            pixman_glyph_cache_insert(cache_, this, key, -face_->glyph->bitmap_left, face_->glyph->bitmap_top, image);
        pixman_image_unref(image);
        return glyph;
    }
    FT_Library library_ = nullptr;
    FT_Face face_ = nullptr;
    pixman_glyph_cache_t *cache_ = nullptr;
};

pixman_image_t *solid(gal_pixel color) {
    const auto channel = [&](int shift) { return static_cast<uint16_t>(((color >> shift) & 0xFF) * 0x101); };
    const pixman_color_t ink{channel(16), channel(8), channel(0), 0xFFFF};
    return pixman_image_create_solid_fill(&ink);
}

pixman_image_t *image_of(uint32_t *pixels, const Screen &s) {
    return pixman_image_create_bits_no_clear(PIXMAN_x8r8g8b8, s.width, s.height, pixels, s.width * 4);
}

// Where the toolkit put the line: the base line at which the bare glyphs give the very pixels that are shown.
int find_base_line(BareGlyphs &bare, const std::vector<pixman_glyph_t> &line, const Screen &s, const uint32_t *page, int row,
                   gal_pixel ground) {
    const int height = s.height / ROWS, top = row * height + 2, bottom = (row + 1) * height - 2;
    std::vector<uint32_t> memory(s.pixels());
    pixman_image_t *target = image_of(memory.data(), s);
    pixman_image_t *ink = solid(SysPixelIndex[19]);
    int found = -1;
    for (int base = top; base < bottom && found < 0; ++base) {
        std::fill(memory.begin(), memory.end(), ground);
        bare.blend(ink, target, base, line);
        bool same = true;
        for (int y = top; y < bottom && same; ++y)
            for (int x = 4; x < s.width - 4 && same; ++x) {
                const size_t at = static_cast<size_t>(y) * static_cast<size_t>(s.width) + static_cast<size_t>(x);
                same = (page[at] & 0xFFFFFF) == (memory[at] & 0xFFFFFF);
            }
        if (same) found = base;
    }
    pixman_image_unref(ink);
    pixman_image_unref(target);
    if (found < 0) bench::give_up("the bare glyphs are not those on the screen");
    return found;
}

struct Menu {
    HWND window, list;
};
Menu open_menu(const Screen &s, int rows) {
    const HWND window = create_shell_window(DefaultMainWinProc, HWND_DESKTOP, {0, 0, s.width, s.height});
    const HWND list = CreateWindowEx("scrollview", "", WS_VISIBLE, 0, 21, 0, 0, s.width, s.height, window, 0);
    SetWindowFont(list, g_font_menu);
    scrollview_set_itemdraw(list, draw_row);
    for (int row = 0; row < rows; ++row) scrollview_add_item(list, s.height / ROWS, 0, label(row).gb.c_str());
    scrollview_set_current(list, 0, true);
    SetFocus(list);
    ShowWindow(window, SW_SHOWNORMAL);
    tp_gui_pump();
    return {window, list};
}

int next_row(int &at, int &step) {
    if (at + step < 0 || at + step >= ROWS) step = -step;
    return at += step;
}

// The step without the toolkit: the glyphs of the row that was current and of the one that is, where the toolkit puts them.
class BareSteps {
public:
    BareSteps(const Screen &s, const uint32_t *shown_page, FloorPages &pages)
        : s_(s), pages_(pages), bare_(s.width < 1092 ? s.width / 12 : 90), ink_(solid(SysPixelIndex[19])),
          images_{image_of(pages.page(0), s), image_of(pages.page(1), s)} {
        for (int row = 0; row < ROWS; ++row) {
            auto line = bare_.line(label(row).text, (s.width - GetTextWidth(g_font_menu, label(row).gb.c_str(), -1)) / 2);
            const int base = find_base_line(bare_, line, s, shown_page, row, SysPixelIndex[row == 0 ? 17 : 18]);
            places_.push_back({std::move(line), base});
        }
    }
    void step(bool fill_first) {
        uint32_t *pixels = pages_.next();
        for (const int row : {at_, next_row(at_, way_)}) blend_row(row, fill_first ? pixels : nullptr);
    }
    void all() {
        pages_.next();
        for (int row = 0; row < ROWS; ++row) blend_row(row, nullptr);
    }

private:
    void blend_row(int row, uint32_t *fill_first) {
        const int height = s_.height / ROWS;
        if (fill_first) pages_.fill(fill_first, 0, row * height, s_.width, height, SysPixelIndex[17]);
        const Place &place = places_[static_cast<size_t>(row)];
        bare_.blend(ink_, images_[pages_.current], place.base_line, place.glyphs);
    }
    struct Place {
        std::vector<pixman_glyph_t> glyphs;
        int base_line;
    };
    const Screen &s_;
    FloorPages &pages_;
    BareGlyphs bare_;
    pixman_image_t *ink_, *images_[2];
    std::vector<Place> places_;
    int at_ = 0, way_ = 1;
};

// Each step scrolls a list of twice the rows by one, to its end and back.
void scroll_rows(const bench::Plan &plan, const Screen &s, BareSteps &bare) {
    const Menu menu = open_menu(s, 2 * ROWS);
    int top = 0, way = 1;
    const auto ours = bench::each([&] {
        if (top + way < 0 || top + way > ROWS) way = -way;
        top += way;
        scrollview_set_current(menu.list, way > 0 ? top + ROWS - 1 : top, true);
        tp_gui_pump();
    });
    const auto [whole] = bench::take_turns<1>(plan, ours, bench::each([&] { bare.all(); }));
    const int height = s.height / ROWS, wanted = way > 0 ? (top + ROWS) * height - s.height : top * height;
    if (scrollview_get_scroll(menu.list) != wanted) bench::give_up("the menu did not scroll");
    const std::string what = "menu step that scrolls, all 12 rows painted anew, warm, " + s.name();
    bench::print_ratio({what + ", against blending the 12 rows' glyphs bare", bench::Goal::at_most(1.5)}, whole, "us", 1e6);
    DestroyMainWindow(menu.window);
    tp_gui_pump();
}

void step_rows(const bench::Plan &plan, const Screen &s, const uint32_t *panel, FloorPages &pages) {
    const Menu menu = open_menu(s, ROWS);
    BareSteps bare(s, shown(panel, s), pages);
    int current = 0, way = 1;
    vcore::panel_counts() = {};
    const auto ours = bench::each([&] {
        const int before = current;
        SendMessage(menu.list, MSG_KEYDOWN, next_row(current, way) > before ? 108 : 103, 0);
        tp_gui_pump();
    });
    const auto [blended] = bench::take_turns<1>(plan, ours, bench::each([&] { bare.step(false); }));
    const vcore::PanelCounts counts = vcore::panel_counts();
    const auto [filled] = bench::take_turns<1>(plan, ours, bench::each([&] { bare.step(true); }));
    if (scrollview_get_current(menu.list) != current) bench::give_up("the selection did not move");
    DestroyMainWindow(menu.window);
    const std::string step = "menu step, 12 rows of Latin and Chinese text, warm, " + s.name();
    const double share = static_cast<double>(counts.copied) / static_cast<double>(counts.damaged);
    using bench::Goal;
    bench::print_ratio({step + ", against blending the two rows' glyphs bare", goal(s, 1.5)}, blended, "us", 1e6);
    bench::print_ratio({step + ", against filling the two rows and blending bare", Goal::report()}, filled, "us", 1e6);
    bench::print_value({step + ", pixels copied per pixel damaged", Goal::at_most(1.1)}, {share, share, share}, "");
    scroll_rows(plan, s, bare);
}

// ---- cells under a finger ----

int cell_width, cell_height;
RECT cell_at(int x, int y) {
    const int left = x / cell_width * cell_width, top = y / cell_height * cell_height;
    return {left, top, left + cell_width, top + cell_height};
}
RECT touched;
gal_pixel finger_color;

LRESULT cell_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_MOUSEMOVE) {
        touched = cell_at(LOSWORD(lParam), HISWORD(lParam));
        InvalidateRect(hwnd, &touched, false);
        return 0;
    }
    if (message == MSG_PAINT) {
        const HDC hdc = BeginPaint(hwnd);
        SetBrushColor(hdc, finger_color);
        FillBox(hdc, touched.left, touched.top, RECTW(touched), RECTH(touched));
        EndPaint(hwnd, hdc);
        return 0;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

// The next cell of a screen of whole cells, from left to right.
void next_cell(const Screen &s, int &x, int &y) {
    x += cell_width;
    if (x + cell_width <= s.width) return;
    x = 0;
    y = y + 2 * cell_height <= s.height ? y + cell_height : 0;
}

void cell_rows(const bench::Plan &plan, const Screen &s, const uint32_t *panel, FloorPages &pages, const std::string &name,
               int width, int height) {
    cell_width = width, cell_height = height;
    touched = {0, 0, s.width, s.height};
    const HWND window = create_shell_window(cell_proc, HWND_DESKTOP, {0, 0, s.width, s.height});
    ShowWindow(window, SW_SHOWNORMAL);
    tp_gui_pump();
    int n = 0, m = 0, x = 0, y = 0, u = 0, v = 0;
    uint32_t painted = 0;
    const auto ours = bench::each([&] {
        next_cell(s, x, y);
        if (++n % 1000 == 0) finger_color += 0x010203;
        ++painted;
        PostMessage(window, MSG_MOUSEMOVE, 0, MAKELONG(x + 1, y + 1));
        tp_gui_pump();
    });
    const auto fill = [&] {
        next_cell(s, u, v);
        pages.fill(pages.next(), u, v, cell_width, cell_height, static_cast<uint32_t>(++m));
    };
    const uint32_t before = tail_of(panel, s).counter;
    const auto [filled] = bench::take_turns<1>(plan, ours, bench::each(fill));
    if (tail_of(panel, s).counter - before != painted) bench::give_up("the cells were not shown one by one");
    pollfd input{-1, POLLIN, 0};
    const auto shown_fill = bench::each([&] {
        fill();
        poll(&input, 1, 0);
    });
    const auto [called] = bench::take_turns<1>(plan, ours, shown_fill);
    const std::string cells = name + " painted and flipped one by one, message to panel, " + s.name();
    bench::print_ratio({cells + ", against bare fills", bench::Goal::report()}, filled, "us", 1e6);
    bench::print_ratio({cells + ", against bare fills with a poll each", bench::Goal::report()}, called, "us", 1e6);
    DestroyMainWindow(window);
    tp_gui_pump();
}

// A sweep over the whole grid: moves that wait in the queue, and a window that paints each cell at once, as the touch test does.
struct Sweep {
    std::vector<char> marks;
    int painted = 0;
    gal_pixel color = 0; // of the first cell; each has its own
};
Sweep sweep;

LRESULT sweep_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != MSG_MOUSEMOVE) return DefaultMainWinProc(hwnd, message, wParam, lParam);
    const int column = LOSWORD(lParam) / cell_width, row = HISWORD(lParam) / cell_height, cell = row * GRID + column;
    char &mark = sweep.marks.at(static_cast<size_t>(cell));
    if (mark) return 0;
    mark = 1;
    ++sweep.painted;
    const HDC hdc = GetClientDC(hwnd);
    SetBrushColor(hdc, sweep.color + static_cast<gal_pixel>(cell));
    FillBox(hdc, column * cell_width, row * cell_height, cell_width, cell_height);
    ReleaseDC(hdc);
    return 0;
}

void check_sweep(const Screen &s, const uint32_t *page) {
    for (int y = 0; y < GRID * cell_height; ++y)
        for (int x = 0; x < GRID * cell_width; ++x)
            if (page[y * s.width + x] != sweep.color + static_cast<gal_pixel>(y / cell_height * GRID + x / cell_width))
                bench::give_up("a cell is not shown");
}

void sweep_rows(const bench::Plan &plan, const Screen &s, const uint32_t *panel, FloorPages &pages) {
    cell_width = s.width / GRID, cell_height = s.height / GRID;
    sweep.marks.assign(CELLS, 0);
    const HWND window = create_shell_window(sweep_proc, HWND_DESKTOP, {0, 0, s.width, s.height});
    ShowWindow(window, SW_SHOWNORMAL);
    const auto each_cell = [&](auto &&then) {
        for (int y = 0; y < GRID; ++y)
            for (int x = 0; x < GRID; ++x) then(x * cell_width, y * cell_height);
    };
    using Kind = vcore::InputEvent::Kind;
    vcore::queue_input({Kind::touch_down});
    tp_gui_pump();
    const auto ours = bench::each([&] {
        std::fill(sweep.marks.begin(), sweep.marks.end(), 0);
        sweep.color += CELLS;
        sweep.painted = 0;
        each_cell([](int x, int y) { vcore::queue_input({Kind::touch_move, 0, x + 1, y + 1}); });
        tp_gui_pump();
        if (sweep.painted != CELLS) bench::give_up("a cell was not painted by itself");
    });
    uint32_t color = 0;
    const auto fills = bench::each([&] {
        uint32_t *page = pages.next();
        each_cell([&](int x, int y) { pages.fill(page, x, y, cell_width, cell_height, ++color); });
    });
    const auto [filled] = bench::take_turns<1>(plan, ours, fills);
    check_sweep(s, shown(panel, s));
    const std::string what = "a grid of 40 x 40 cells swept by moves that wait, each cell painted by itself, moves to panel, ";
    bench::print_ratio({what + s.name() + ", against bare fills", goal(s, 3)}, filled, "us a cell", 1e6 / CELLS);
    vcore::queue_input({Kind::touch_up});
    DestroyMainWindow(window);
    tp_gui_pump();
}

[[noreturn]] void enter_box(const bench::Plan &plan) {
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string build = self.parent_path().parent_path(), box = std::string(SOURCE_FOLDER) + "/tests/support/box";
    std::vector<const char *> argv{box.c_str(), build.c_str(), self.c_str(), "--inside"};
    if (plan.quick) argv.push_back("--quick");
    argv.push_back(nullptr);
    execv(argv[0], const_cast<char **>(argv.data()));
    bench::give_up("cannot run " + box);
}

int run(const bench::Plan &plan, const Screen &s) {
    __android_log_set_minimum_priority(ANDROID_LOG_INFO); // as shipped
    bench::pin_thread(bench::cores().back());
    const uint32_t *panel = bring_up(s);
    FloorPages pages(s);
    color_rows(plan, s, panel, pages);
    step_rows(plan, s, panel, pages);
    sweep_rows(plan, s, panel, pages);
    cell_rows(plan, s, panel, pages, "cells of 40 x 40 pixels", 40, 40);
    cell_rows(plan, s, panel, pages, "a grid of 40 x 40 cells", s.width / GRID, s.height / GRID);
    TerminateGUI();
    return 0;
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv, {"--inside"});
    if (!bench::has_option(argc, argv, "--inside")) enter_box(plan);
    // The log goes to a file, as on a handset; it looks for the folder when the program is loaded.
    if (mkdir("/dev/__vxo_log", 0755) == 0) execv("/proc/self/exe", argv);
    int failed = 0;
    for (const Screen &s : {Screen{720, 1280, true}, Screen{1080, 2340, false}}) {
        const pid_t child = fork();
        if (child == 0) exit(run(plan, s));
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || status != 0) failed = 1;
    }
    return failed;
}
