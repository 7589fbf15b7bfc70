// SPDX-License-Identifier: MIT
//
// Copies a source that can be read only once (a pipe, a socket, a device) to a file that
// can be opened repeatedly.
#ifndef QOLM_PLATFORM_SOURCE_COPY_H_
#define QOLM_PLATFORM_SOURCE_COPY_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace qolm::platform {

class SourceCopy {
 public:
  enum class Status {
    kDone,
    kStopped,           // by `stop`
    kSourceUnreadable,  // the source could not be opened or read
    kFolderRefused,     // no file could be created in the folder
    kWriteFailed,       // the source could not be written to the file
  };
  struct Result {
    Status status = Status::kDone;
    std::string reason;  // of a failure, for an error message
  };

  SourceCopy() = default;
  // Removes the copy.
  ~SourceCopy();
  SourceCopy(const SourceCopy&) = delete;
  SourceCopy& operator=(const SourceCopy&) = delete;

  // Whether `source` exists and can be read only once.
  static bool IsNeeded(const std::filesystem::path& source);

  // The path of the file that standard input reads, when that is a regular file at its
  // beginning and the system can name it.
  static std::optional<std::filesystem::path> FileOfStandardInput();

  // Reads `source`, or standard input when it is not given, to its end into a new
  // file in `folder`. On POSIX systems the file has no name, so nothing of it remains,
  // however the program ends. `stop` is polled at least ten times a second, also while
  // the source delivers nothing. Call it once.
  [[nodiscard]] Result Make(const std::optional<std::filesystem::path>& source,
                            const std::filesystem::path& folder, const std::function<bool()>& stop);

  // The copy, valid while this object exists.
  const std::filesystem::path& path() const { return path_; }

 private:
  static constexpr intptr_t kNone = -1;

  intptr_t file_ = kNone;  // as the system names open files
  std::filesystem::path path_;
};

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_SOURCE_COPY_H_
