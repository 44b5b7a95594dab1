#include "runtime/image.h"

#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/files.h"

namespace textrix {
namespace {

namespace fs = std::filesystem;

// Pixels of every kind of alpha, transparent and half-transparent ones with colour.
Image patternImage(std::uint32_t width, std::uint32_t height) {
  Image image{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 4)};
  for (std::size_t i = 0; i < image.rgba.size(); ++i) {
    image.rgba[i] = static_cast<std::uint8_t>(i * 37 + i / 4);
  }
  return image;
}

// A file in the temporary directory, removed at the end of its scope.
struct TemporaryFile {
  TemporaryFile(std::string_view bytes = {})
      : path(fs::temp_directory_path() /
             ("image_test-" + std::to_string(getpid()) + "-" +
              testing::UnitTest::GetInstance()->current_test_info()->name() + ".tiff")) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~TemporaryFile() { fs::remove(path); }
  const fs::path path;
};

std::uint16_t compressionOf(std::string_view tiffBytes) {
  TemporaryFile file(tiffBytes);
  TIFF* tiff = TIFFOpen(file.path.c_str(), "r");
  if (!tiff) return 0;
  std::uint16_t compression = 0;
  TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression);
  TIFFClose(tiff);
  return compression;
}

// Sets a SHORT-valued tag of the first directory of a little-endian TIFF.
void setShortTag(std::string& tiff, std::uint16_t tag, std::uint16_t value) {
  const auto load = [&](std::size_t at, int size) {
    std::uint32_t v = 0;
    for (int i = size - 1; i >= 0; --i) v = v << 8 | static_cast<std::uint8_t>(tiff.at(at + i));
    return v;
  };
  const std::uint32_t directory = load(4, 4);
  for (std::uint32_t entry = 0; entry < load(directory, 2); ++entry) {
    const std::size_t at = directory + 2 + 12 * entry;
    if (load(at, 2) == tag && load(at + 2, 2) == TIFF_SHORT) {
      tiff.at(at + 8) = static_cast<char>(value & 0xFF);
      tiff.at(at + 9) = static_cast<char>(value >> 8);
      return;
    }
  }
  FAIL() << "no SHORT tag " << tag;
}

TEST(TiffImage, RoundTripsThroughBothCompressions) {
  const struct {
    TiffCompression compression;
    std::uint16_t tag;
  } cases[] = {{TiffCompression::none, COMPRESSION_NONE}, {TiffCompression::lzw, COMPRESSION_LZW}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tag);
    for (const Image& image : {patternImage(1, 1), patternImage(3, 2), patternImage(300, 200)}) {
      const std::string tiff = tiffRepresentationUsingCompression(image, c.compression, 1.0f);
      EXPECT_EQ(compressionOf(tiff), c.tag);
      EXPECT_EQ(imageFromTiff(tiff), image);
    }
  }
}

TEST(TiffImage, CompressesRepetitivePixelsWithLzw) {
  const Image flat{256, 256, std::vector<std::uint8_t>(256 * 256 * 4, 0x80)};
  EXPECT_LT(tiffRepresentationUsingCompression(flat, TiffCompression::lzw, 1.0f).size(),
            flat.rgba.size() / 20);
}

TEST(TiffImage, ReadsOtherLayoutsAsRgba) {
  TemporaryFile file;
  TIFF* tiff = TIFFOpen(file.path.c_str(), "w");
  ASSERT_NE(tiff, nullptr);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 3);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  std::uint8_t grey[] = {0, 0x80, 0xFF};
  ASSERT_EQ(TIFFWriteScanline(tiff, grey, 0, 0), 1);
  TIFFClose(tiff);
  const Image expected{3, 1, {0, 0, 0, 255, 0x80, 0x80, 0x80, 255, 255, 255, 255, 255}};
  EXPECT_EQ(imageFromTiff(slurp(file.path)), expected);
}

TEST(TiffImage, GivesNoImageForBytesThatAreNotOne) {
  const std::string tiff =
      tiffRepresentationUsingCompression(patternImage(64, 64), TiffCompression::lzw, 1.0f);
  const std::string cases[] = {
      "",
      "not a TIFF at all",
      std::string("II*\0\x08\0\0\0", 8),
      std::string("II*\0\xFF\xFF\xFF\x7F", 8) + std::string(100, '\0'),
      tiff.substr(0, 4),
      tiff.substr(0, tiff.size() / 2),
  };
  testing::internal::CaptureStderr();
  for (const std::string& bytes : cases) {
    SCOPED_TRACE(bytes.size());
    EXPECT_EQ(imageFromTiff(bytes), std::nullopt);
  }
  // libtiff's complaints about them stay inside.
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TiffImage, RefusesHugeDimensionsInASmallFile) {
  std::string tiff =
      tiffRepresentationUsingCompression(patternImage(1, 1), TiffCompression::lzw, 1.0f);
  ASSERT_LT(tiff.size(), 400u);
  setShortTag(tiff, TIFFTAG_IMAGEWIDTH, 0xFFFF);
  setShortTag(tiff, TIFFTAG_IMAGELENGTH, 0xFFFF);
  EXPECT_EQ(imageFromTiff(tiff), std::nullopt);
}

TEST(TiffImage, WritesNothingForAnEmptyOrInconsistentImage) {
  for (const Image& image : {Image{}, Image{0, 5, {}}, Image{2, 2, {1, 2, 3}}}) {
    for (TiffCompression compression : {TiffCompression::none, TiffCompression::lzw}) {
      EXPECT_EQ(tiffRepresentationUsingCompression(image, compression, 1.0f), "");
    }
  }
}

}  // namespace
}  // namespace textrix
