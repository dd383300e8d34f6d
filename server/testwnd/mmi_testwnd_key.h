// Key test: every configured key is pressed and released once, one at a time. Operator, board test and PC.
#pragma once

#include <cstdint>
#include <tp_gui.h>

#include "config/main_config.h"

constexpr int KEYTEST_ITEMS = 12;
struct KeyTestItem {
    int32_t keycode;
    char config_name[CFG_TEXT];
    int32_t test_enable; // 1: must be tested
    char text[CFG_TEXT]; // language key, translated in place when first drawn
    int32_t tested;
    RECT rect;           // the key's line, client coordinates
    uint8_t down, up;    // a key down, respectively a key up, was seen
};
extern KeyTestItem Keytest_Item[KEYTEST_ITEMS];
extern char g_keys_buf[CFG_TEXT]; // released keys as input codes, each followed by a comma. GUI thread.

void append_released_key(int code);
void reply_released_keys(char *out, int maxoutlen); // the list, terminated

// Both find the first entry whose name is a prefix of the given one. GUI thread.
void setKeytest_Item_value(const char *name, int value);
int Get_Keytest_item_key_value(const char *name); // 102 (HOME) when none matches
void init_keyrect();
void mmi_teswnd_KeyTest();
void CheckKeyisDown(HWND hwnd, int code);
void CheckKeyisUp(HWND hwnd, int code);

void mmi_teswnd_KeyTestEntry();
void mmi_teswnd_KeyTest_Stop_Entry();
// Runs the test for the board test, at most 31 s. 1 passed, 0 not. Channel thread.
int PCBAKeyTestStart();
int PCBAKeyTestStop();                               // 1
int mmi_AutoTest_KeyTestEntry();                     // 1. Channel thread.
int mmi_AutoTest_KeyTest_Stop(char *out, int maxoutlen); // 1; g_keys_buf into out. Channel thread.
