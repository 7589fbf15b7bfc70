// SPDX-License-Identifier: MIT
//
// PNG files, deflated by zlib.
#ifndef QOLM_EXPORT_PNG_WRITER_H_
#define QOLM_EXPORT_PNG_WRITER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "export/rgba_picture.h"

namespace qolm::exporter {

// Replaces `png` by the picture as an 8-bit RGB image file; alpha is left out.
// False with the reason in `problem` when the picture is too large or memory is short.
[[nodiscard]] bool EncodePng(const RgbaPicture& picture, std::vector<uint8_t>& png,
                             std::string& problem);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_PNG_WRITER_H_
