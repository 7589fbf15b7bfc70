// SPDX-License-Identifier: MIT
//
// Cancellation of the coding of long streams, such as hours of audio.
#ifndef QOLM_ENTROPY_STOP_CALLBACK_H_
#define QOLM_ENTROPY_STOP_CALLBACK_H_

#include <cstddef>
#include <functional>

namespace qolm::entropy {

// Coding ends without a stream once it returns true. Empty when it cannot be cancelled.
using StopCallback = std::function<bool()>;

// Symbols coded between two polls.
inline constexpr size_t kStopInterval = 65536;

inline bool IsToStop(const StopCallback& stop) { return stop && stop(); }

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_STOP_CALLBACK_H_
