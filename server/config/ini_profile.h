// Reader and writer of INI profile files: the whole file per call, no cache. Files of 16 KiB or more are refused whole:
// reads answer "not found", writes answer -1 and leave the file untouched. Callers serialise writers themselves.
#pragma once

int read_profile_string(const char *section, const char *key, char *out, int size, const char *def, const char *path);
int read_profile_int(const char *section, const char *key, int def, const char *path);
int write_profile_string(const char *section, const char *key, const char *value, const char *path);
int write_profile_int(const char *section, const char *key, int value, const char *path);

constexpr int INI_BUFFER_SIZE = 16384;
// Internal, exposed for tests and fuzzers.
int load_ini_file(const char *path, char *buffer, int *size);
int parse_file(const char *section, const char *key, const char *buffer, int *sec_s, int *sec_e, int *key_s, int *key_e,
               int *value_s, int *value_e);
