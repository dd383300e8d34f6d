// A GUI on a small panel in memory, and windows that write down what they are told.
#pragma once

#include "../support/fake_panel.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <tp_clock.h>
#include <tp_gui.h>
#include <vector>

extern "C" {
extern tki_api_LCD_Get_Info_t tki_api_LCD_Get_Info;
extern tki_api_LCD_Refresh_t tki_api_LCD_Refresh;
}

using Told = MSG;

class GuiTest : public ::testing::Test {
protected:
    // Answers a message instead of the default procedure; false leaves it to that.
    using Handler = std::function<bool(HWND, const MSG &, LRESULT *)>;

    static constexpr int WIDTH = 72, HEIGHT = 128;
    inline static std::vector<Told> told;
    inline static std::map<HWND, Handler> handlers;
    inline static Handler every_handler; // asked when the window has none of its own

    void SetUp() override { start(WIDTH, HEIGHT); }
    void start(int width, int height) {
        fake_panel::resize(width, height);
        tp_clock_set_scale(1);
        told.clear();
        handlers.clear();
        every_handler = nullptr;
        ASSERT_EQ(InitGUI(), 0);
        const WNDCLASS probe{"probe", proc<DefaultControlProc>, 0x112233};
        ASSERT_EQ(RegisterWindowClass(&probe), 0);
    }
    void TearDown() override {
        handlers.clear();
        every_handler = nullptr;
        TerminateGUI();
        tp_clock_set_scale(1);
    }

    template <auto Default> static LRESULT proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
        told.push_back({hwnd, message, wParam, lParam});
        const auto own = handlers.find(hwnd);
        const Handler handler = own != handlers.end() ? own->second : every_handler;
        LRESULT result = 0;
        return handler && handler(hwnd, Told(told.back()), &result) ? result : Default(hwnd, message, wParam, lParam);
    }

    static HWND create(const RECT &r, gal_pixel color, HWND host = HWND_DESKTOP, const char *caption = "") {
        MAINWINCREATE info;
        info.spCaption = caption;
        info.MainWindowProc = proc<DefaultMainWinProc>;
        info.lx = r.left, info.ty = r.top, info.rx = r.right, info.by = r.bottom;
        info.iBkColor = color;
        info.hHosting = host;
        return CreateMainWindow(&info);
    }
    static HWND open(const RECT &r, gal_pixel color, HWND host = HWND_DESKTOP, const char *caption = "") {
        const HWND hwnd = create(r, color, host, caption);
        ShowWindow(hwnd, SW_SHOWNORMAL);
        return hwnd;
    }
    static HWND open_full(gal_pixel color = 0xffffff) { return open({0, 0, WIDTH, HEIGHT}, color); }
    static HWND control(HWND parent, int id, const RECT &r) {
        return CreateWindowEx("probe", "", WS_VISIBLE, 0, id, r.left, r.top, RECTW(r), RECTH(r), parent, 0);
    }

    // What the window was told of the given messages, in order.
    static std::vector<Told> of(HWND hwnd, std::initializer_list<UINT> messages) {
        std::vector<Told> out;
        for (const Told &t : told)
            if ((hwnd == HWND_NULL || t.hwnd == hwnd) && std::find(messages.begin(), messages.end(), t.message) != messages.end())
                out.push_back(t);
        return out;
    }
    struct Pixel {
        int x, y;
        gal_pixel color;
    };
    static void expect_pixels(std::initializer_list<Pixel> pixels) {
        for (const Pixel &p : pixels) EXPECT_EQ(fake_panel::pixel(p.x, p.y), p.color) << p.x << "," << p.y;
    }
    static void fill(HWND hwnd, gal_pixel color, const RECT &r) {
        const HDC hdc = GetClientDC(hwnd);
        SetBrushColor(hdc, color);
        FillBox(hdc, r.left, r.top, RECTW(r), RECTH(r));
        ReleaseDC(hdc);
    }
};
