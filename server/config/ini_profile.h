// Reader and writer of INI profile files: the whole file per call, no cache. Files of 16 KiB or more are refused whole:
// reads answer "not found", writes answer -1 and leave the file untouched. Callers serialise writers themselves.
#pragma once

// The value of section and key into out (size bytes, cut and terminated): 0. Otherwise -1 with the default, if any, copied
// without a terminator when it fills out.
int read_profile_string(const char *section, const char *key, char *out, int size, const char *def, const char *path);
// The value's leading number, 0 when it has none, def when the key is missing.
int read_profile_int(const char *section, const char *key, int def, const char *path);
// Replaces the value, or adds the key under its section's header, or the section at the end; all else stays as it was.
// 0, or -1: not readable, not writable, or the new text would reach 16 KiB. A missing file is created.
int write_profile_string(const char *section, const char *key, const char *value, const char *path);
int write_profile_int(const char *section, const char *key, int value, const char *path);

constexpr int INI_BUFFER_SIZE = 16384;
// Internal, exposed for tests and fuzzers.
// Reads the file into buffer (INI_BUFFER_SIZE bytes), terminated: 1. 0 when there is no such file, -1 when it cannot be
// read or is too large; *size is 0 then.
int load_ini_file(const char *path, char *buffer, int *size);
// 1 when section and key are there. Positions name first and last character ("[" and "]" for the section; an empty text
// ends before it starts); -1 where not found.
int parse_file(const char *section, const char *key, const char *buffer, int *sec_s, int *sec_e, int *key_s, int *key_e,
               int *value_s, int *value_e);
