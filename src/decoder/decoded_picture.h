// A rebuilt picture that several holders share; nobody changes one that is shared.
#ifndef QOLM_DECODER_DECODED_PICTURE_H_
#define QOLM_DECODER_DECODED_PICTURE_H_

#include <cstdint>
#include <memory>

#include "video/yuv_planes.h"

namespace qolm::decoder {

using SharedPlanes = std::shared_ptr<const video::YuvPlanes>;

struct DecodedPicture {
  SharedPlanes planes;  // null for none
  uint64_t id = 0;      // names the picture among all of this process; 0 names none
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_DECODED_PICTURE_H_
