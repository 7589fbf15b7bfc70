// SPDX-License-Identifier: MIT
#include "media/mediafoundation/error_message.h"

#include <gtest/gtest.h>

#include <string>

#include "media/mediafoundation/com.h"
// After windows.h.
#include <mferror.h>

namespace qolm::media::mediafoundation {
namespace {

TEST(ErrorMessage, AreOneLineWithoutAFullStop) {
  for (const HRESULT result : {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND),
                               HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_OUTOFMEMORY}) {
    const std::string words = ErrorMessage(result);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words.find_first_of("\r\n\t"), std::string::npos) << words;
    EXPECT_NE(words.back(), '.') << words;
    EXPECT_NE(words.back(), ' ') << words;
  }
}

TEST(ErrorMessage, OfDifferentFailuresDiffer) {
  EXPECT_NE(ErrorMessage(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)),
            ErrorMessage(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)));
}

TEST(ErrorMessage, AreEmptyWithoutAFailureOrWithoutWords) {
  EXPECT_EQ(ErrorMessage(S_OK), "");
  EXPECT_EQ(ErrorMessage(S_FALSE), "");
  EXPECT_EQ(ErrorMessage(static_cast<HRESULT>(0xa1234567)), "");
}

// The source says "no video stream" where the framework has nothing better.
TEST(ErrorMessage, AMissingStreamHasNone) { EXPECT_EQ(ErrorMessage(MF_E_INVALIDSTREAMNUMBER), ""); }

}  // namespace
}  // namespace qolm::media::mediafoundation
