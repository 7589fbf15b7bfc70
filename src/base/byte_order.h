// SPDX-License-Identifier: MIT
//
// Little-endian reads and appends, independent of the machine's own byte order.
//
// The Load functions read exactly sizeof(result) bytes and check nothing; the
// caller has compared the position with the buffer's size first.
#ifndef QOLM_BASE_BYTE_ORDER_H_
#define QOLM_BASE_BYTE_ORDER_H_

#include <cstdint>
#include <vector>

namespace qolm {

inline uint16_t LoadLe16(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8));
}

inline uint32_t LoadLe32(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) | (static_cast<uint32_t>(bytes[1]) << 8) |
         (static_cast<uint32_t>(bytes[2]) << 16) | (static_cast<uint32_t>(bytes[3]) << 24);
}

inline uint64_t LoadLe64(const uint8_t* bytes) {
  return static_cast<uint64_t>(LoadLe32(bytes)) |
         (static_cast<uint64_t>(LoadLe32(bytes + 4)) << 32);
}

inline void StoreLe16(uint8_t* bytes, uint16_t value) {
  bytes[0] = static_cast<uint8_t>(value);
  bytes[1] = static_cast<uint8_t>(value >> 8);
}

inline void StoreLe32(uint8_t* bytes, uint32_t value) {
  StoreLe16(bytes, static_cast<uint16_t>(value));
  StoreLe16(bytes + 2, static_cast<uint16_t>(value >> 16));
}

inline void StoreLe64(uint8_t* bytes, uint64_t value) {
  StoreLe32(bytes, static_cast<uint32_t>(value));
  StoreLe32(bytes + 4, static_cast<uint32_t>(value >> 32));
}

inline void AppendLe16(std::vector<uint8_t>& out, uint16_t value) {
  out.push_back(static_cast<uint8_t>(value));
  out.push_back(static_cast<uint8_t>(value >> 8));
}

inline void AppendLe32(std::vector<uint8_t>& out, uint32_t value) {
  AppendLe16(out, static_cast<uint16_t>(value));
  AppendLe16(out, static_cast<uint16_t>(value >> 16));
}

}  // namespace qolm

#endif  // QOLM_BASE_BYTE_ORDER_H_
