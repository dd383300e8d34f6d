// The diagnostic log: plain text files, every line flushed and synced before the call returns. Any thread.
#pragma once

#include <cstddef>
#include <cstdio>

extern FILE *g_tki_log; // the main log; null until tki_initlog succeeded

int tki_initlog();
int init_tki_log(FILE **handle, const char *directory, const char *filename);
int writetkilog(FILE *handle, const char *tag, const char *format, ...) __attribute__((format(printf, 3, 4)));
int writetkilog_NoTime(FILE *handle, const char *tag, const char *format, ...) __attribute__((format(printf, 3, 4)));
int uninit_tkilog(FILE *handle);
int mkdir_main(const char *path);
int Conver_time2ASC(long seconds, long nanoseconds, char *out, int size);
