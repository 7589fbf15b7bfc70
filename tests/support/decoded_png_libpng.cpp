// SPDX-License-Identifier: MIT
#include <png.h>

#include "support/decoded_png.h"

namespace qolm::test {

DecodedPng ReadPng(const std::filesystem::path& path) {
  DecodedPng decoded;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return decoded;
  image.format = PNG_FORMAT_RGBA;
  decoded.width = image.width;
  decoded.height = image.height;
  decoded.pixels.resize(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, decoded.pixels.data(), 0, nullptr);
  return decoded;
}

}  // namespace qolm::test
