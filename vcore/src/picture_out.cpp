// Pictures that the program makes: texts as QR codes, bitmaps written as PNG files.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <png.h>
#include <string>
#include <tp_gui.h>
#include <unistd.h>
#include <vector>

namespace {
constexpr const char *LIBRARY = "lib_vxo_qr.so";
constexpr int SIDE_MAX = 177;  // the largest symbol
constexpr int QUIET = 4;       // light modules around it, without which no reader finds it
constexpr int MODULE_MAX = 22; // (177 + 2 * 4) * 22 is the widest picture
constexpr uint32_t LIGHT = 0xffffff, DARK = 0;

using Encode = int (*)(const char *, uint8_t *, int);

Encode encoder() {
    static std::mutex lock;
    static Encode found = nullptr;
    const std::lock_guard guard(lock);
    if (found) return found;
    void *handle = dlopen(LIBRARY, RTLD_NOW);
    if (handle) found = reinterpret_cast<Encode>(dlsym(handle, "vxo_qr_encode"));
    return found;
}

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};

bool write_png(FILE *file, const BITMAP &bmp) {
    std::vector<uint8_t> rgb;
    rgb.reserve(3 * static_cast<size_t>(bmp.bmWidth) * static_cast<size_t>(bmp.bmHeight));
    for (const uint32_t *p = bmp.pixels; rgb.size() < rgb.capacity(); ++p)
        for (const int shift : {16, 8, 0}) rgb.push_back(static_cast<uint8_t>(*p >> shift));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(bmp.bmWidth);
    image.height = static_cast<png_uint_32>(bmp.bmHeight);
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_stdio(&image, file, 0, rgb.data(), 0, nullptr) && fflush(file) == 0 &&
           fsync(fileno(file)) == 0;
}
} // namespace

int SaveBitmapToFile(const BITMAP *bmp, const char *path) {
    if (!bmp || !bmp->pixels || bmp->bmWidth <= 0 || bmp->bmHeight <= 0 || !path) {
        errno = EINVAL;
        return -1;
    }
    const std::string half = std::string(path) + ".new";
    bool whole = false;
    if (const std::unique_ptr<FILE, FileCloser> file(fopen(half.c_str(), "wbe")); file) whole = write_png(file.get(), *bmp);
    if (whole && rename(half.c_str(), path) == 0) return 0;
    const int why = errno;
    unlink(half.c_str());
    errno = why;
    return -1;
}

int MakeBitmapOfQrCode(BITMAP *bmp, const char *text, int module) {
    const Encode encode = encoder();
    if (!encode || !bmp || !text || !*text || module < 1 || module > MODULE_MAX) return -1;
    std::vector<uint8_t> symbol(SIDE_MAX * SIDE_MAX);
    const int modules = encode(text, symbol.data(), SIDE_MAX);
    if (modules <= 0) return -1;
    const int side = (modules + 2 * QUIET) * module;
    auto *pixels = static_cast<uint32_t *>(malloc(static_cast<size_t>(side) * static_cast<size_t>(side) * sizeof(uint32_t)));
    if (!pixels) return -1;
    for (int i = 0; i < side * side; ++i) {
        const int x = i % side / module - QUIET, y = i / side / module - QUIET;
        const bool inside = x >= 0 && x < modules && y >= 0 && y < modules;
        pixels[i] = inside && symbol[static_cast<size_t>(y * modules + x)] ? DARK : LIGHT;
    }
    *bmp = {side, side, pixels};
    return 0;
}
