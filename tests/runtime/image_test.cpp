// SPDX-License-Identifier: MIT
#include "runtime/image.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "support/unloadable_libraries.h"

namespace textrix {
namespace {

// Pixels of every kind of alpha, transparent and half-transparent ones with colour.
Image patternImage(std::uint32_t width, std::uint32_t height) {
  Image image{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 4)};
  for (std::size_t i = 0; i < image.rgba.size(); ++i) {
    image.rgba[i] = static_cast<std::uint8_t>(i * 37 + i / 4);
  }
  return image;
}

std::uint32_t loadLittleEndian(std::string_view bytes, std::size_t at, int size) {
  std::uint32_t value = 0;
  for (int i = size - 1; i >= 0; --i)
    value = value << 8 | static_cast<std::uint8_t>(bytes.at(at + i));
  return value;
}

void appendLittleEndian(std::string& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i));
}

// Where the value of a SHORT-valued tag of the first directory of a little-endian TIFF is.
std::optional<std::size_t> shortTagValueAt(std::string_view tiff, std::uint16_t tag) {
  const std::uint32_t directory = loadLittleEndian(tiff, 4, 4);
  for (std::uint32_t entry = 0; entry < loadLittleEndian(tiff, directory, 2); ++entry) {
    const std::size_t at = directory + 2 + 12 * entry;
    if (loadLittleEndian(tiff, at, 2) == tag && loadLittleEndian(tiff, at + 2, 2) == TIFF_SHORT) {
      return at + 8;
    }
  }
  return std::nullopt;
}

std::uint16_t compressionOf(std::string_view tiff) {
  const std::optional<std::size_t> at = shortTagValueAt(tiff, TIFFTAG_COMPRESSION);
  return at ? static_cast<std::uint16_t>(loadLittleEndian(tiff, *at, 2)) : 0;
}

void setShortTag(std::string& tiff, std::uint16_t tag, std::uint16_t value) {
  const std::optional<std::size_t> at = shortTagValueAt(tiff, tag);
  ASSERT_TRUE(at) << "no SHORT tag " << tag;
  tiff.at(*at) = static_cast<char>(value & 0xFF);
  tiff.at(*at + 1) = static_cast<char>(value >> 8);
}

// Black, middle grey and white.
constexpr std::string_view kGreys("\x00\x80\xFF", 3);

// A TIFF as another program writes it, not as imageFromTiff's counterpart does: one row of 8-bit
// grey pixels, uncompressed, in one strip.
std::string greyRowTiff(std::string_view greys) {
  struct Entry {
    std::uint16_t tag, type;
    std::uint32_t value;
  };
  constexpr std::uint32_t kEntries = 9, kPixelsAt = 8 + 2 + 12 * kEntries + 4;
  const auto width = static_cast<std::uint32_t>(greys.size());
  const Entry entries[kEntries] = {
      {TIFFTAG_IMAGEWIDTH, TIFF_LONG, width},
      {TIFFTAG_IMAGELENGTH, TIFF_LONG, 1},
      {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 8},
      {TIFFTAG_COMPRESSION, TIFF_SHORT, COMPRESSION_NONE},
      {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, PHOTOMETRIC_MINISBLACK},
      {TIFFTAG_STRIPOFFSETS, TIFF_LONG, kPixelsAt},
      {TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 1},
      {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, 1},
      {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, width},
  };
  std::string tiff = "II";
  appendLittleEndian(tiff, 42, 2);
  appendLittleEndian(tiff, 8, 4);  // the first directory
  appendLittleEndian(tiff, kEntries, 2);
  for (const Entry& entry : entries) {
    appendLittleEndian(tiff, entry.tag, 2);
    appendLittleEndian(tiff, entry.type, 2);
    appendLittleEndian(tiff, 1, 4);  // one value, held in the entry
    appendLittleEndian(tiff, entry.value, 4);
  }
  appendLittleEndian(tiff, 0, 4);  // no next directory
  return tiff.append(greys);
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
  const Image expected{3, 1, {0, 0, 0, 255, 0x80, 0x80, 0x80, 255, 255, 255, 255, 255}};
  EXPECT_EQ(imageFromTiff(greyRowTiff(kGreys)), expected);
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

// Without libtiff the bytes that are an image with it (ReadsOtherLayoutsAsRgba) are none, and no
// image has bytes: a clean failure, not a crash.
TEST(TiffImage, IsNoneWithoutLibtiff) {
  WithoutLoadedLibraries missing;
  EXPECT_EXIT(
      {
        const bool image = imageFromTiff(greyRowTiff(kGreys)).has_value();
        const bool bytes =
            !tiffRepresentationUsingCompression(patternImage(2, 2), TiffCompression::lzw, 1.0f)
                 .empty();
        std::fprintf(stderr, "image %d, bytes %d\n", image, bytes);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "image 0, bytes 0");
}

}  // namespace
}  // namespace textrix
