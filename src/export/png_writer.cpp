#include "export/png_writer.h"

#include <png.h>

namespace qolm::exporter {
namespace {

std::vector<uint8_t> WithoutAlpha(const std::vector<uint8_t>& rgba) {
  std::vector<uint8_t> rgb(rgba.size() / 4 * 3);
  for (size_t pixel = 0; pixel < rgba.size() / 4; ++pixel) {
    rgb[pixel * 3] = rgba[pixel * 4];
    rgb[pixel * 3 + 1] = rgba[pixel * 4 + 1];
    rgb[pixel * 3 + 2] = rgba[pixel * 4 + 2];
  }
  return rgb;
}

}  // namespace

bool EncodePng(const PackedPicture& picture, std::vector<uint8_t>& png, std::string& problem) {
  const std::vector<uint8_t> rgb = WithoutAlpha(picture.pixels);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = picture.width;
  image.height = picture.height;
  image.format = PNG_FORMAT_RGB;
  png_alloc_size_t bytes = PNG_IMAGE_PNG_SIZE_MAX(image);
  png.resize(bytes);
  if (png_image_write_to_memory(&image, png.data(), &bytes, 0, rgb.data(), 0, nullptr) == 0) {
    problem = image.message;
    png_image_free(&image);
    return false;
  }
  png.resize(bytes);
  return true;
}

}  // namespace qolm::exporter
