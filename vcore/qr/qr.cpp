// lib_vxo_qr.so: QR symbols, apart from the toolkit so that only a screen with a code loads libqrencode.
#include <qrencode.h>

#include <cstdint>
#include <memory>

// The symbol's modules, row by row, 1 dark, into out (max_side * max_side bytes at most). Its side, or -1. Any thread.
extern "C" __attribute__((visibility("default"))) int vxo_qr_encode(const char *text, uint8_t *out, int max_side) {
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(QRcode_encodeString8bit(text, 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code || code->width > max_side) return -1;
    for (int i = 0; i < code->width * code->width; ++i) out[i] = code->data[i] & 1;
    return code->width;
}
