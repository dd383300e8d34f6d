// Picture files: good ones arrive whole, broken ones are refused and leave the picture untouched.
#include "draw_page.h"

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {
// 3x2, 8-bit colour with alpha: red, green, blue / white, half white, transparent.
constexpr unsigned char PNG_BYTES[] = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00,
    0x00, 0x03, 0x00, 0x00, 0x00, 0x02, 0x08, 0x06, 0x00, 0x00, 0x00, 0x9D, 0x74, 0x66, 0x1A, 0x00, 0x00, 0x00,
    0x17, 0x49, 0x44, 0x41, 0x54, 0x78, 0xDA, 0x63, 0xF8, 0xCF, 0xC0, 0xF0, 0x1F, 0x0C, 0x19, 0xFE, 0x03, 0x49,
    0x08, 0x68, 0x00, 0x62, 0x06, 0x00, 0xBB, 0xE0, 0x10, 0x71, 0xF9, 0xD8, 0xD0, 0x97, 0x00, 0x00, 0x00, 0x00,
    0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
const std::string PNG_3X2(reinterpret_cast<const char *>(PNG_BYTES), sizeof PNG_BYTES);

void put(std::string &out, uint64_t value, int bytes) {
    for (; bytes > 0; --bytes, value >>= 8) out.push_back(static_cast<char>(value));
}
// Every pixel is 0xRRGGBB = its place.
std::string bmp(int width, int height, int bits, uint32_t compression = 0) {
    std::string out = "BM";
    put(out, 0, 8);
    put(out, 54, 4);
    put(out, 40, 4);
    put(out, static_cast<uint32_t>(width), 4);
    put(out, static_cast<uint32_t>(height), 4);
    put(out, 1, 2);
    put(out, static_cast<uint32_t>(bits), 2);
    put(out, compression, 4);
    put(out, 0, 20);
    if (width > 100 || width < 0 || height > 100 || height < -100) return out; // a header alone
    const int rows = std::abs(height);
    for (int line = 0; line < rows; ++line) {
        const int y = height > 0 ? rows - 1 - line : line;
        for (int x = 0; x < width; ++x) put(out, static_cast<uint32_t>(0x010000 * y + x + 1), bits / 8);
        while ((out.size() - 54) % 4) out.push_back(0);
    }
    return out;
}

class DrawBitmaps : public ::testing::Test {
protected:
    std::string path = "/tmp/picture";
    BITMAP picture;
    int load(const std::string &bytes) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        UnloadBitmap(&picture);
        return LoadBitmapFromFile(HDC_INVALID, &picture, path.c_str());
    }
    void TearDown() override {
        UnloadBitmap(&picture);
        unlink(path.c_str());
    }
};

TEST_F(DrawBitmaps, GoodFilesArriveWhole) {
    for (const int height : {5, -5})
        for (const int bits : {24, 32}) {
            ASSERT_EQ(load(bmp(7, height, bits)), 0);
            ASSERT_EQ(picture.bmWidth * 10 + picture.bmHeight, 75);
            for (uint32_t y = 0; y < 5; ++y)
                for (uint32_t x = 0; x < 7; ++x) EXPECT_EQ(picture.pixels[y * 7 + x], 0x010000 * y + x + 1);
        }
    ASSERT_EQ(load(PNG_3X2), 0);
    ASSERT_EQ(picture.bmWidth * 10 + picture.bmHeight, 32);
    const uint32_t opaque[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    EXPECT_TRUE(std::equal(opaque, opaque + 4, picture.pixels));
    EXPECT_EQ(picture.pixels[5], SysPixelIndex[18]); // what is transparent shows the background
    const uint32_t half = picture.pixels[4] & 0xFF, ground = SysPixelIndex[18] & 0xFF;
    EXPECT_NEAR(half, (255 + ground) / 2, 2);
}

TEST_F(DrawBitmaps, BrokenAndHostileFilesAreRefused) {
    std::vector<std::string> broken{"", "B", "BM", "GIF89a, not ours", std::string(100, '\0')};
    for (const std::string &whole : {PNG_3X2, bmp(7, 5, 24)})
        for (size_t size = 0; size + 12 < whole.size(); size += 5) broken.push_back(whole.substr(0, size));
    for (const auto &[w, h] : {std::pair{4097, 1}, {1, 4097}, {0, 5}, {-7, 5}, {5, INT32_MIN}, {INT32_MAX, INT32_MAX}})
        broken.push_back(bmp(w, h, 32));
    broken.push_back(bmp(7, 5, 8));
    broken.push_back(bmp(7, 5, 32, 1));
    std::string offset = bmp(7, 5, 24);
    offset[13] = '\x7F'; // the pixels begin far behind the end
    broken.push_back(offset);
    offset[13] = 0, offset[10] = 4; // or inside the header
    broken.push_back(offset);
    for (size_t at : {18u, 40u, 50u}) { // dimensions, data length, data
        broken.push_back(PNG_3X2);
        broken.back()[at] = '\x7F';
    }
    for (const std::string &bytes : broken) {
        EXPECT_EQ(load(bytes), -2) << testing::PrintToString(bytes);
        EXPECT_EQ(picture.pixels, nullptr);
    }
    EXPECT_EQ(LoadBitmapFromFile(HDC_INVALID, &picture, "/tmp/none"), -1);
    EXPECT_EQ(LoadBitmapFromFile(HDC_INVALID, &picture, nullptr), -1);
    EXPECT_EQ(LoadBitmapFromFile(HDC_INVALID, &picture, "/tmp"), -2);
}

TEST_F(DrawBitmaps, CodesAreWrittenAndReadAgain) {
    BITMAP code, read;
    ASSERT_EQ(MakeBitmapOfQrCode(&code, "PSN0000000001", 2), 0);
    EXPECT_EQ(code.bmWidth, (21 + 8) * 2);
    EXPECT_EQ(code.bmHeight, code.bmWidth);
    const auto dark = [&](int x, int y) { return code.pixels[2 * y * code.bmWidth + 2 * x] == 0; };
    // Finder patterns in three corners, the light margin around.
    EXPECT_TRUE(dark(4, 4) && dark(24, 4) && dark(4, 24) && dark(5, 4) && !dark(5, 5));
    EXPECT_FALSE(dark(3, 4) || dark(4, 3) || dark(25, 4) || dark(28, 28));
    ASSERT_EQ(SaveBitmapToFile(&code, "/data/code.png"), 0);
    ASSERT_EQ(LoadBitmapFromFile(HDC_INVALID, &read, "/data/code.png"), 0);
    ASSERT_EQ(read.bmWidth, code.bmWidth);
    EXPECT_TRUE(std::equal(read.pixels, read.pixels + read.bmWidth * read.bmHeight, code.pixels));
    UnloadBitmap(&read);
    EXPECT_EQ(SaveBitmapToFile(&code, "/nowhere/code.png"), -1);
    EXPECT_EQ(SaveBitmapToFile(&read, "/data/code.png"), -1) << "no pixels";
    EXPECT_NE(access("/data/code.png", F_OK), -1) << "what stood there stays";
    UnloadBitmap(&code);
    EXPECT_EQ(MakeBitmapOfQrCode(&code, std::string(2400, 'x').c_str(), 2), -1);
    EXPECT_EQ(MakeBitmapOfQrCode(&code, "", 2), -1);
    EXPECT_EQ(MakeBitmapOfQrCode(&code, "x", 0), -1);
}

TEST_F(DrawBitmaps, FillTheirBoxWithinTheClip) {
    uint32_t pixels[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    const BITMAP small{2, 2, pixels};
    Page page(40, 40);
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 4, 6, 2, 2, &small), 0); // unscaled: exact
    EXPECT_EQ(page.ink(), (RECT{4, 6, 6, 8}));
    EXPECT_EQ(page.at(5, 6) + page.at(4, 7), 0x00FFFFu);
    page.clear();
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 10, 10, 20, 20, &small), 0);
    EXPECT_EQ(page.ink(), (RECT{10, 10, 30, 30}));
    EXPECT_EQ(page.damage, page.ink());
    EXPECT_EQ(page.at(11, 11), 0xFF0000u);
    // A clip shows the same pixels that the whole picture has there.
    const uint32_t middle = page.at(20, 17);
    page.clear();
    page.reopen({0, 0, 40, 40}, {{20, 15, 22, 40}});
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 10, 10, 20, 20, &small), 0);
    EXPECT_EQ(page.ink(), (RECT{20, 15, 22, 30}));
    EXPECT_EQ(page.at(20, 17), middle);
    page.reopen({0, 0, 40, 40});
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, -500000, -500000, 1000000, 1000000, &small), 0);
    EXPECT_EQ(page.inked(), 40 * 40);
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 0, 0, 0, 5, &small), -1);
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 0, 0, 5, 5, nullptr), -1);
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 0, 0, 5, 5, &picture), -1);
}
} // namespace
