// The barcode screen: a text as a QR code that the line's scanners read, with the text below it. GUI thread.
#pragma once

constexpr const char *BARCODE_PICTURE = "/data/mmi_barcode.png"; // the code shown last, for the PC to fetch

// title_key: language key of what the text is. An empty text, or one that no code holds, is said so.
void barcode_show(const char *title_key, const char *text);
