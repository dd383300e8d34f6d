// The one door to kernel attributes and other small control files.
#pragma once

#include <cstddef>

// Writes text to path (append mode), syncs, reads it back and compares: 0 only when the same bytes came back, else -1.
// Texts of at most 256 bytes. Blocks as long as the attribute does. Any thread.
int write_file(const char *path, const char *text);
// Reads up to n bytes; the count (greater than 0), or -1. The buffer is not terminated. Any thread.
int read_file(const char *path, char *buffer, int n);
// Whether the path exists and can be read.
bool file_readable(const char *path);
// Removes a file if it is there; creates an empty one. 0 or -1.
int remove_file(const char *path);
int touch_file(const char *path);
// Makes what was last done to the file durable, its removal included: a power cut takes neither back. 0 or -1.
int sync_file(const char *path);
