// A source that can be read only once (a pipe, a socket, a device) as a file that
// can be opened as often as needed.
#ifndef QOLM_MEDIA_SOURCE_COPY_H_
#define QOLM_MEDIA_SOURCE_COPY_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace qolm::media {

class SourceCopy {
 public:
  enum class Status {
    kDone,
    kStopped,           // by `stop`
    kSourceUnreadable,  // the source could not be opened or read
    kFolderRefused,     // no file could be made in the folder
    kWriteFailed,       // the file could not take all of the source
  };
  struct Result {
    Status status = Status::kDone;
    std::string reason;  // of a failure, in a few words
  };

  SourceCopy() = default;
  // Removes the copy.
  ~SourceCopy();
  SourceCopy(const SourceCopy&) = delete;
  SourceCopy& operator=(const SourceCopy&) = delete;

  // Whether `source` exists and can be read only once.
  static bool IsNeeded(const std::filesystem::path& source);

  // A path to the file that standard input reads from its beginning; nothing when
  // standard input is no file, or when the system cannot name it.
  static std::optional<std::filesystem::path> FileOfStandardInput();

  // Reads `source`, or standard input when it is not given, to its end into a new
  // file in `folder`. On POSIX systems the file has no name, so that nothing of it
  // stays behind, however the program ends. `stop` is asked at least ten times a
  // second, also while the source delivers nothing. Call it once.
  [[nodiscard]] Result Make(const std::optional<std::filesystem::path>& source,
                            const std::filesystem::path& folder, const std::function<bool()>& stop);

  // Leads to the copy while this object lives.
  const std::filesystem::path& path() const { return path_; }

 private:
  static constexpr intptr_t kNone = -1;

  intptr_t file_ = kNone;  // as the system names open files
  std::filesystem::path path_;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_SOURCE_COPY_H_
