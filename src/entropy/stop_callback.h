// How a caller ends the coding of a long stream, as of hours of sound.
#ifndef QOLM_ENTROPY_STOP_CALLBACK_H_
#define QOLM_ENTROPY_STOP_CALLBACK_H_

#include <cstddef>
#include <functional>

namespace qolm::entropy {

// Once it says true, coding ends without a stream. Empty where nothing may end it.
using StopCallback = std::function<bool()>;

// Symbols that are coded between two questions.
inline constexpr size_t kStopInterval = 65536;

inline bool IsToStop(const StopCallback& stop) { return stop && stop(); }

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_STOP_CALLBACK_H_
