// The results of an aging run as its file tells them: "[phase]" and the lines below it, one item per phase.
// GUI thread.
#pragma once

constexpr int AGING_RESULT_TEXT = 256; // bytes of a name or text with its terminator

struct AgingResultItem {
    int index;                    // from 0, in file order
    char name[AGING_RESULT_TEXT]; // the phase, CR and LF; a long name is cut in front of them
    char text[AGING_RESULT_TEXT]; // the lines as they stand; what does not fit is left out, no character is
                                  // halved (GBK)
    int lines;                    // 1 and one more for each line, also for those that did not fit
    AgingResultItem *next;
};
constexpr int AGING_RESULT_MAX = 4096; // items that are kept; further ones are left out with a log line

extern AgingResultItem *g_aging_results; // null when there is nothing to show

// Replaces the list by the file's. Number of items, or -1 with an empty list: no such file, or a malformed
// bracket line. A "#" line is a comment; lines before the first phase do not count; a line of 2048 bytes or
// more counts as several.
int aging_results_read(const char *path);
void aging_results_forget();
