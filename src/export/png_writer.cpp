// SPDX-License-Identifier: MIT
#include "export/png_writer.h"

#include <zlib.h>

#include <climits>
#include <cstdlib>
#include <memory>

namespace {

// Called by the library below, which frees the result. Rows are filtered, for which deflate
// has a strategy of its own.
unsigned char* DeflateForPng(unsigned char* data, int bytes, int* compressed_bytes, int level) {
  constexpr int kWindowBits = 15;
  constexpr int kMemoryLevel = 9;
  z_stream stream = {};
  if (deflateInit2(&stream, level, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_FILTERED) != Z_OK) {
    return nullptr;
  }
  const uLong room = deflateBound(&stream, static_cast<uLong>(bytes));
  auto* const compressed =
      room <= INT_MAX ? static_cast<unsigned char*>(std::malloc(room)) : nullptr;
  bool finished = false;
  if (compressed != nullptr) {
    stream.next_in = data;
    stream.avail_in = static_cast<uInt>(bytes);
    stream.next_out = compressed;
    stream.avail_out = static_cast<uInt>(room);
    finished = deflate(&stream, Z_FINISH) == Z_STREAM_END;
  }
  *compressed_bytes = static_cast<int>(stream.total_out);
  deflateEnd(&stream);
  if (finished) return compressed;
  std::free(compressed);
  return nullptr;
}

}  // namespace

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#define STBIW_ZLIB_COMPRESS DeflateForPng
#define STBIW_MALLOC(bytes) std::malloc((bytes) > 0 ? static_cast<size_t>(bytes) : 1)
#define STBIW_REALLOC(memory, bytes) std::realloc(memory, static_cast<size_t>(bytes))
#define STBIW_FREE(memory) std::free(memory)
#include <stb_image_write.h>

namespace qolm::exporter {
namespace {

constexpr int kChannels = 3;
constexpr int kCompressionLevel = 6;  // zlib's own default

std::vector<uint8_t> WithoutAlpha(const std::vector<uint8_t>& rgba) {
  std::vector<uint8_t> rgb(rgba.size() / 4 * 3);
  for (size_t pixel = 0; pixel < rgba.size() / 4; ++pixel) {
    rgb[pixel * 3] = rgba[pixel * 4];
    rgb[pixel * 3 + 1] = rgba[pixel * 4 + 1];
    rgb[pixel * 3 + 2] = rgba[pixel * 4 + 2];
  }
  return rgb;
}

struct FreeMemory {
  void operator()(unsigned char* memory) const { std::free(memory); }
};

}  // namespace

bool EncodePng(const RgbaPicture& picture, std::vector<uint8_t>& png, std::string& problem) {
  // The library counts in int: rows of one more byte each, then the whole stream with the
  // overhead of incompressible bytes.
  const uint64_t row_bytes = uint64_t{picture.width} * kChannels + 1;
  if (picture.width == 0 || picture.height == 0 ||
      row_bytes > (uint64_t{INT_MAX} - (1 << 24)) / picture.height) {
    problem = "pictures of this size cannot be stored as PNG";
    return false;
  }
  const std::vector<uint8_t> rgb = WithoutAlpha(picture.pixels);
  stbi_write_png_compression_level = kCompressionLevel;
  int bytes = 0;
  const std::unique_ptr<unsigned char, FreeMemory> encoded(stbi_write_png_to_mem(
      rgb.data(), static_cast<int>(picture.width) * kChannels, static_cast<int>(picture.width),
      static_cast<int>(picture.height), kChannels, &bytes));
  if (!encoded) {
    problem = "out of memory";
    return false;
  }
  png.assign(encoded.get(), encoded.get() + bytes);
  return true;
}

}  // namespace qolm::exporter
