/* The panel, as the factory library offers it to the drawing layer. C and C++. */
#ifndef TKI_LCD_H
#define TKI_LCD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Attributes in /sys/class/graphics/fb0: virtual_size "W,H" (H lines hold two screens or more), stride, bits_per_pixel
   (32), and optionally mode or modes "U:WxHp-60", the visible size; without it a screen is W wide and H / 2 high. */
struct tki_lcd_info {
    uint16_t width;          /* pixels, from virtual_size and mode of /sys/class/graphics/fb0 */
    uint16_t height;         /* pixels of one page */
    uint32_t stride;         /* bytes per line */
    uint32_t bits_per_pixel; /* 32 (XRGB8888); other depths are refused */
    uint32_t *page[2];       /* the two pages, mapped for the life of the process */
    int visible;             /* page shown now: 0 or 1 */
};

struct tki_lcd_rect { int left, top, right, bottom; };

/* Maps the panel at the first call and describes it. 0, or -1 when there is no panel. Any thread. */
typedef int (*tki_api_LCD_Get_Info_t)(struct tki_lcd_info *out);
/* With a rectangle: shows the page that is hidden now; the rectangle says what changed since it was hidden.
   Null: presents the visible page again and flips nothing. Returns the page now visible, or -1. Any thread. */
typedef int (*tki_api_LCD_Refresh_t)(const struct tki_lcd_rect *damage);
/* Switches the panel off. 0 or -1. */
typedef int (*tki_api_LCD_Off_t)(void);

#define TKI_PANEL_MAGIC 0x4c455650u /* "PVEL", little endian */

/* The memory page behind the pixels when /dev/graphics/fb0 is an ordinary mapped file: at the first multiple of 4096
   at or behind 2 * stride * height. A viewer waits on counter with FUTEX_WAIT (shared), between adding 1 to viewers and
   taking it away again; nobody is woken while viewers is 0. */
struct tki_panel_tail {
    uint32_t magic;           /* TKI_PANEL_MAGIC once a program drew */
    uint32_t visible;         /* page shown: 0 or 1 */
    uint32_t counter;         /* +1 per Refresh, after the other fields are written */
    struct tki_lcd_rect damage; /* of the last Refresh */
    uint32_t width, height, stride;
    uint32_t viewers;         /* how many wait; a viewer that dies in its wait costs a wake per Refresh, nothing else */
};

#ifdef __cplusplus
}
#endif
#endif
