// SPDX-License-Identifier: MIT
// Images on the pasteboard: pixels in memory, and their TIFF representation, through libtiff.
//
// The pasteboard carries images as TIFF bytes. An Image is what those bytes decode to, whatever
// their layout (strips or tiles, palette, grey or RGB, any compression libtiff reads); writing
// gives one RGBA page.
//
//   std::optional<textrix::Image> image = textrix::imageFromTiff(bytes);
//   if (image) {
//     std::string tiff =
//         textrix::tiffRepresentationUsingCompression(*image, textrix::TiffCompression::lzw, 1.0f);
//   }
//
// libtiff's warnings and errors stay inside: bytes it cannot read are simply no image. libtiff is
// loaded when an image is first read or written; where it cannot be loaded, no bytes are an image
// and no image has TIFF bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

// An image in memory: 8-bit RGBA pixels, rows top to bottom, no padding; rgba holds
// width * height * 4 bytes, alpha not premultiplied.
struct Image {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> rgba;

  bool operator==(const Image&) const = default;
};

// The TIFF compression schemes the system writes, by their TIFF code.
enum class TiffCompression : std::uint16_t { none = 1, lzw = 5 };

// The most bytes of pixels that any TIFF decodes to, and, above kMaxTiffFreeDecodeSize, the most
// per byte of TIFF: a few hundred bytes that declare a huge image must not allocate gigabytes.
inline constexpr std::uint64_t kMaxTiffDecodeSize = std::uint64_t{1} << 32;
inline constexpr std::uint64_t kMaxTiffFreeDecodeSize = std::uint64_t{64} << 20;
inline constexpr std::uint64_t kMaxTiffExpansion = 4096;

// The image a TIFF holds (its first page), or none when the bytes are not a TIFF libtiff can read,
// their pixels would pass the bounds above, or libtiff cannot be loaded. Linear in the pixels.
std::optional<Image> imageFromTiff(std::string_view bytes);

// The TIFF bytes of an image, compressed as asked; factor is kept for the interface (lossless
// compressions ignore it). An empty image (no pixels), or one whose rgba does not hold width *
// height * 4 bytes, gives empty bytes, as does any image when libtiff cannot be loaded.
std::string tiffRepresentationUsingCompression(const Image& image, TiffCompression compression,
                                               float factor);

}  // namespace textrix
