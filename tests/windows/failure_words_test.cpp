#include "media/mediafoundation/failure_words.h"

#include <gtest/gtest.h>

#include <string>

#include "media/mediafoundation/com.h"
// After windows.h.
#include <mferror.h>

namespace qolm::media::mediafoundation {
namespace {

TEST(FailureWords, AreOneLineWithoutAFullStop) {
  for (const HRESULT result : {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND),
                               HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_OUTOFMEMORY}) {
    const std::string words = FailureWords(result);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words.find_first_of("\r\n\t"), std::string::npos) << words;
    EXPECT_NE(words.back(), '.') << words;
    EXPECT_NE(words.back(), ' ') << words;
  }
}

TEST(FailureWords, OfDifferentFailuresDiffer) {
  EXPECT_NE(FailureWords(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)),
            FailureWords(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)));
}

TEST(FailureWords, AreEmptyWithoutAFailureOrWithoutWords) {
  EXPECT_EQ(FailureWords(S_OK), "");
  EXPECT_EQ(FailureWords(S_FALSE), "");
  EXPECT_EQ(FailureWords(static_cast<HRESULT>(0xa1234567)), "");
}

// The source says "no video stream" where the framework has nothing better.
TEST(FailureWords, AMissingStreamHasNone) { EXPECT_EQ(FailureWords(MF_E_INVALIDSTREAMNUMBER), ""); }

}  // namespace
}  // namespace qolm::media::mediafoundation
