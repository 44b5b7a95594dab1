// SPDX-License-Identifier: MIT
#include "runtime/image.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <new>

#include "util/shared_library.h"

namespace textrix {
namespace {

// The functions of libtiff that images use. The library is loaded when an image is first read or
// written, so that a run without images neither loads it nor needs it.
struct TiffLibrary {
  static constexpr const char* kSoname = "libtiff.so.6";
  decltype(&TIFFOpenOptionsAlloc) openOptionsAlloc;
  decltype(&TIFFOpenOptionsFree) openOptionsFree;
  decltype(&TIFFOpenOptionsSetErrorHandlerExtR) openOptionsSetErrorHandler;
  decltype(&TIFFOpenOptionsSetWarningHandlerExtR) openOptionsSetWarningHandler;
  decltype(&TIFFOpenOptionsSetMaxSingleMemAlloc) openOptionsSetMaxSingleMemAlloc;
  decltype(&TIFFClientOpenExt) clientOpen;
  decltype(&TIFFClose) close;
  decltype(&TIFFGetFieldDefaulted) getFieldDefaulted;
  decltype(&TIFFSetField) setField;
  decltype(&TIFFIsTiled) isTiled;
  decltype(&TIFFScanlineSize64) scanlineSize;
  decltype(&TIFFReadScanline) readScanline;
  decltype(&TIFFReadRGBAImageOriented) readRgbaImage;
  decltype(&TIFFWriteScanline) writeScanline;
  decltype(&TIFFDefaultStripSize) defaultStripSize;
  decltype(&TIFFFlush) flush;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{openOptionsAlloc, "TIFFOpenOptionsAlloc"},
            {openOptionsFree, "TIFFOpenOptionsFree"},
            {openOptionsSetErrorHandler, "TIFFOpenOptionsSetErrorHandlerExtR"},
            {openOptionsSetWarningHandler, "TIFFOpenOptionsSetWarningHandlerExtR"},
            {openOptionsSetMaxSingleMemAlloc, "TIFFOpenOptionsSetMaxSingleMemAlloc"},
            {clientOpen, "TIFFClientOpenExt"},
            {close, "TIFFClose"},
            {getFieldDefaulted, "TIFFGetFieldDefaulted"},
            {setField, "TIFFSetField"},
            {isTiled, "TIFFIsTiled"},
            {scanlineSize, "TIFFScanlineSize64"},
            {readScanline, "TIFFReadScanline"},
            {readRgbaImage, "TIFFReadRGBAImageOriented"},
            {writeScanline, "TIFFWriteScanline"},
            {defaultStripSize, "TIFFDefaultStripSize"},
            {flush, "TIFFFlush"}};
  }
};

// libtiff, loaded on the first call; null when it, or a function of it, is missing: there are no
// images then.
const TiffLibrary* loadedLibtiff() {
  return SharedLibrary<TiffLibrary>::loaded().functions();
}

// libtiff, for the steps below imageFromTiff and tiffRepresentationUsingCompression, which have
// made sure that it is loaded.
const TiffLibrary& libtiff() {
  return *loadedLibtiff();
}

// The bytes libtiff reads or writes, with its position in them: a file to libtiff.
struct MemoryFile {
  std::string_view input;         // read from when output is null
  std::string* output = nullptr;  // written to, and read back from, when libtiff writes
  std::uint64_t position = 0;

  std::string_view contents() const { return output ? std::string_view(*output) : input; }
};

MemoryFile& memoryFile(thandle_t handle) {
  return *static_cast<MemoryFile*>(handle);
}

tmsize_t readMemory(thandle_t handle, void* buffer, tmsize_t size) {
  MemoryFile& file = memoryFile(handle);
  const std::string_view contents = file.contents();
  if (size <= 0 || file.position >= contents.size()) return 0;
  const std::size_t count =
      std::min<std::uint64_t>(static_cast<std::uint64_t>(size), contents.size() - file.position);
  std::memcpy(buffer, contents.data() + file.position, count);
  file.position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t writeMemory(thandle_t handle, void* buffer, tmsize_t size) {
  MemoryFile& file = memoryFile(handle);
  if (!file.output || size < 0) return -1;
  const std::uint64_t end = file.position + static_cast<std::uint64_t>(size);
  if (end > file.output->size()) file.output->resize(end);
  std::memcpy(file.output->data() + file.position, buffer, static_cast<std::size_t>(size));
  file.position = end;
  return size;
}

toff_t seekMemory(thandle_t handle, toff_t offset, int whence) {
  MemoryFile& file = memoryFile(handle);
  const std::uint64_t base = whence == SEEK_CUR   ? file.position
                             : whence == SEEK_END ? file.contents().size()
                                                  : 0;
  // A negative offset arrives as its two's complement, which unsigned addition undoes.
  file.position = base + offset;
  return file.position;
}

int closeMemory(thandle_t) {
  return 0;
}

toff_t sizeOfMemory(thandle_t handle) {
  return memoryFile(handle).contents().size();
}

// libtiff falls back to reading through readMemory when mapping fails.
int mapNothing(thandle_t, void**, toff_t*) {
  return 0;
}
void unmapNothing(thandle_t, void*, toff_t) {}

// Returning 1 keeps libtiff from passing the message on to its process-wide handler.
int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

struct TiffCloser {
  void operator()(TIFF* tiff) const { libtiff().close(tiff); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

struct OpenOptionsFreer {
  void operator()(TIFFOpenOptions* options) const { libtiff().openOptionsFree(options); }
};

// Opens the memory as a TIFF in libtiff's mode ("r" or "w"), with no allocation of libtiff's
// larger than maxAllocation bytes (0: no bound). Null when libtiff refuses it.
Tiff openTiff(MemoryFile& file, const char* mode, std::uint64_t maxAllocation) {
  const std::unique_ptr<TIFFOpenOptions, OpenOptionsFreer> options(libtiff().openOptionsAlloc());
  if (!options) throw std::bad_alloc();
  libtiff().openOptionsSetErrorHandler(options.get(), ignoreMessage, nullptr);
  libtiff().openOptionsSetWarningHandler(options.get(), ignoreMessage, nullptr);
  libtiff().openOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(maxAllocation));
  return Tiff(libtiff().clientOpen("memory", mode, &file, readMemory, writeMemory, seekMemory,
                                   closeMemory, sizeOfMemory, mapNothing, unmapNothing,
                                   options.get()));
}

std::uint64_t decodeBudget(std::size_t tiffSize) {
  return std::min(kMaxTiffDecodeSize,
                  std::max(kMaxTiffFreeDecodeSize, kMaxTiffExpansion * tiffSize));
}

template <typename T>
T fieldOrDefault(TIFF* tiff, ttag_t tag) {
  T value{};
  libtiff().getFieldDefaulted(tiff, tag, &value);
  return value;
}

// The layout this system writes: 8-bit RGBA with unassociated alpha, in strips, top row first.
bool isPlainRgba(TIFF* tiff) {
  std::uint16_t extraCount = 0;
  std::uint16_t* extraTypes = nullptr;
  libtiff().getFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extraTypes);
  return fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE) == 8 &&
         fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL) == 4 &&
         fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_UINT &&
         fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_RGB &&
         fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG &&
         fieldOrDefault<std::uint16_t>(tiff, TIFFTAG_ORIENTATION) == ORIENTATION_TOPLEFT &&
         !libtiff().isTiled(tiff) && extraCount == 1 && extraTypes[0] == EXTRASAMPLE_UNASSALPHA;
}

// Reads the rows as stored; libtiff's RGBA interface would premultiply their alpha.
bool readPlainRgba(TIFF* tiff, Image& image) {
  const std::size_t rowSize = std::size_t{image.width} * 4;
  if (libtiff().scanlineSize(tiff) != rowSize) return false;
  for (std::uint32_t row = 0; row < image.height; ++row) {
    if (libtiff().readScanline(tiff, image.rgba.data() + row * rowSize, row, 0) < 0) return false;
  }
  return true;
}

std::uint8_t unpremultiplied(std::uint32_t component, std::uint32_t alpha) {
  return static_cast<std::uint8_t>(
      std::min<std::uint32_t>(255, (component * 255 + alpha / 2) / alpha));
}

// Any other layout, through libtiff's RGBA interface, which gives premultiplied alpha.
bool readThroughRgbaInterface(TIFF* tiff, Image& image) {
  // libtiff fills one 32-bit word per pixel, in storage the pixels then take over byte by byte.
  auto* raster = reinterpret_cast<std::uint32_t*>(image.rgba.data());
  if (!libtiff().readRgbaImage(tiff, image.width, image.height, raster, ORIENTATION_TOPLEFT,
                               /*stop_on_error=*/1)) {
    return false;
  }
  for (std::uint8_t* pixel = image.rgba.data(); pixel != image.rgba.data() + image.rgba.size();
       pixel += 4) {
    std::uint32_t packed;
    std::memcpy(&packed, pixel, 4);
    const std::uint32_t alpha = TIFFGetA(packed);
    pixel[0] = alpha ? unpremultiplied(TIFFGetR(packed), alpha) : 0;
    pixel[1] = alpha ? unpremultiplied(TIFFGetG(packed), alpha) : 0;
    pixel[2] = alpha ? unpremultiplied(TIFFGetB(packed), alpha) : 0;
    pixel[3] = static_cast<std::uint8_t>(alpha);
  }
  return true;
}

bool writeRows(TIFF* tiff, const Image& image) {
  const std::size_t rowSize = std::size_t{image.width} * 4;
  // libtiff may encode in place, so each row goes through a copy.
  std::vector<std::uint8_t> row(rowSize);
  for (std::uint32_t y = 0; y < image.height; ++y) {
    std::copy_n(image.rgba.begin() + static_cast<std::ptrdiff_t>(y * rowSize), rowSize,
                row.begin());
    if (libtiff().writeScanline(tiff, row.data(), y, 0) < 0) return false;
  }
  return true;
}

// Writes the image as one RGBA page; libtiff has written everything when this returns.
bool writeTiff(MemoryFile& file, const Image& image, TiffCompression compression) {
  const Tiff owned = openTiff(file, "w", 0);
  TIFF* const tiff = owned.get();
  const std::uint16_t extraSamples[] = {EXTRASAMPLE_UNASSALPHA};
  return tiff && libtiff().setField(tiff, TIFFTAG_IMAGEWIDTH, image.width) &&
         libtiff().setField(tiff, TIFFTAG_IMAGELENGTH, image.height) &&
         libtiff().setField(tiff, TIFFTAG_BITSPERSAMPLE, 8) &&
         libtiff().setField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4) &&
         libtiff().setField(tiff, TIFFTAG_EXTRASAMPLES, 1, extraSamples) &&
         libtiff().setField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) &&
         libtiff().setField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
         libtiff().setField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
         libtiff().setField(tiff, TIFFTAG_COMPRESSION, static_cast<std::uint16_t>(compression)) &&
         libtiff().setField(tiff, TIFFTAG_ROWSPERSTRIP, libtiff().defaultStripSize(tiff, 0)) &&
         writeRows(tiff, image) && libtiff().flush(tiff);
}

}  // namespace

std::optional<Image> imageFromTiff(std::string_view bytes) {
  if (!loadedLibtiff()) return std::nullopt;
  MemoryFile file{bytes};
  const std::uint64_t budget = decodeBudget(bytes.size());
  const Tiff tiff = openTiff(file, "r", budget);
  if (!tiff) return std::nullopt;
  Image image;
  image.width = fieldOrDefault<std::uint32_t>(tiff.get(), TIFFTAG_IMAGEWIDTH);
  image.height = fieldOrDefault<std::uint32_t>(tiff.get(), TIFFTAG_IMAGELENGTH);
  const std::uint64_t size = std::uint64_t{image.width} * image.height * 4;
  if (size == 0 || size > budget) return std::nullopt;
  image.rgba.resize(size);
  const bool read = isPlainRgba(tiff.get()) ? readPlainRgba(tiff.get(), image)
                                            : readThroughRgbaInterface(tiff.get(), image);
  if (!read) return std::nullopt;
  return image;
}

std::string tiffRepresentationUsingCompression(const Image& image, TiffCompression compression,
                                               float /*factor*/) {
  if (image.width == 0 || image.height == 0 ||
      image.rgba.size() != std::uint64_t{image.width} * image.height * 4) {
    return {};
  }
  if (!loadedLibtiff()) return {};
  std::string bytes;
  MemoryFile file{{}, &bytes};
  if (!writeTiff(file, image, compression)) return {};
  return bytes;
}

}  // namespace textrix
