// The window procedures of the built-in controls.
#pragma once

#include <tp_gui.h>

LRESULT static_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT scrollview_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
