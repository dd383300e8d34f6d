/* The least that a program can do to show a frame: map the panel file, fill one page, raise the counter. Argument: the bytes of a
   page. */
#include <fcntl.h>
#include <linux/futex.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <tki_lcd.h>
#include <unistd.h>

int main(int argc, char **argv) {
    if (argc < 2) return 1;
    const size_t page = strtoul(argv[1], NULL, 10), tail = (2 * page + 4095) / 4096 * 4096;
    const int fd = open("/dev/graphics/fb0", O_RDWR | O_CLOEXEC);
    char *memory = fd < 0 ? MAP_FAILED : mmap(NULL, tail + 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) return 1;
    memset(memory, 0x40, page);
    struct tki_panel_tail *shown = (struct tki_panel_tail *)(void *)(memory + tail);
    shown->visible = 0;
    __atomic_fetch_add(&shown->counter, 1, __ATOMIC_RELEASE);
    syscall(SYS_futex, &shown->counter, FUTEX_WAKE, 1, NULL, NULL, 0);
    pause();
    return 0;
}
