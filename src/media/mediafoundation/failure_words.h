// The system's own words for a failed call.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_FAILURE_WORDS_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_FAILURE_WORDS_H_

#include <string>

#include "media/mediafoundation/com.h"

namespace qolm::media::mediafoundation {

// One line of UTF-8 in the user's language without a full stop at its end.
// Empty for a success, and for a failure that the system has no words for.
std::string FailureWords(HRESULT result);

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_FAILURE_WORDS_H_
