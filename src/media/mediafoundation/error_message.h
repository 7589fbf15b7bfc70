// SPDX-License-Identifier: MIT
//
// The system's message for a failed call.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_ERROR_MESSAGE_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_ERROR_MESSAGE_H_

#include <string>

#include "media/mediafoundation/com.h"

namespace qolm::media::mediafoundation {

// One line of UTF-8 in the user's language without a full stop at its end.
// Empty for a success, and for a failure without a message.
std::string ErrorMessage(HRESULT result);

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_ERROR_MESSAGE_H_
