// Key codes: the kernel's on one side, the operator's on the other.
#include <linux/input-event-codes.h>
#include <tp_gui.h>

namespace {
struct KeyCode {
    int linux_code, operator_code;
};
// The first row of an operator code is the one it converts back to.
constexpr KeyCode KEY_CODES[] = {
    {KEY_VOLUMEUP, 103}, {KEY_VOLUMEDOWN, 108}, {KEY_POWER, 1},   {KEY_HOMEPAGE, 102},  {KEY_HOME, 102},
    {KEY_BACK, 88},      {KEY_MENU, 127},       {KEY_CAMERA, 68}, {KEY_SEARCH, 128},    {KEY_MEDIA, 130},
    {KEY_APPSELECT, 187}, {KEY_TV, 377},        {KEY_LIGHTS_TOGGLE, 131},
};
} // namespace

int scancode_convert_keycode(int scancode) {
    for (const KeyCode &row : KEY_CODES)
        if (row.operator_code == scancode) return row.linux_code;
    return 0;
}

int tp_keycode_to_scancode(int keycode) {
    for (const KeyCode &row : KEY_CODES)
        if (row.linux_code == keycode) return row.operator_code;
    return keycode;
}
