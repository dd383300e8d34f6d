// The symbols through which the toolkit reaches the panel, as the program exports them.
#include "../support/fake_panel.h"

extern "C" {
tki_api_LCD_Get_Info_t tki_api_LCD_Get_Info = fake_panel::get_info;
tki_api_LCD_Refresh_t tki_api_LCD_Refresh = fake_panel::refresh;
}
