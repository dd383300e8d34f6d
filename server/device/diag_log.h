// The diagnostic log: plain text files, every line flushed and synced before the call returns. Any thread; one mutex
// serialises all opens, writes and closes.
#pragma once

#include <cstddef>
#include <cstdio>

extern FILE *g_tki_log; // the main log; null until tki_initlog succeeded

// Opens "tki.log" in g_chLogPath. 0 or -1.
int tki_initlog();
// Opens (appends to) a file of at most 100 characters' name in a directory, which is made when missing. 0 and the handle,
// which uninit_tkilog closes, or -1 and null.
int init_tki_log(FILE **handle, const char *directory, const char *filename);
// One line, "month/day-time [tag] message" or "[tag]" and the message below; messages are cut to 1023 bytes. 0, or -1:
// null handle, no memory, not written.
int writetkilog(FILE *handle, const char *tag, const char *format, ...) __attribute__((format(printf, 3, 4)));
int writetkilog_NoTime(FILE *handle, const char *tag, const char *format, ...) __attribute__((format(printf, 3, 4)));
int uninit_tkilog(FILE *handle);
// Makes every missing directory of a path: 0; 1 when the path is too long (256 bytes or more), else mkdir's result.
int mkdir_main(const char *path);
// UTC time as "Sun Nov 22 22:51:02 2026\n" into out, at most size and 256 bytes. 0, or -1 with out empty.
int Conver_time2ASC(long seconds, long nanoseconds, char *out, int size);
