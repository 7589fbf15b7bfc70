// Runs a program as a user would and captures what it leaves.
#ifndef QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
#define QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::test {

struct ProgramRun {
  int exit_code = -1;  // -1 when a signal ended the program
  std::vector<uint8_t> output;
  std::string errors;
};

enum class OutputEnd { kCaptured, kClosedPipe, kTerminal };

// `arguments` follow the program's name. With a closed pipe the program's
// standard output is a pipe that nobody reads, with a terminal it is one; its
// `output` then stays empty.
inline ProgramRun RunProgram(const std::filesystem::path& program,
                             const std::vector<std::string>& arguments,
                             OutputEnd output_end = OutputEnd::kCaptured) {
  const TemporaryFolder folder;
  const std::string output_path = (folder / "output").string();
  const std::string errors_path = (folder / "errors").string();
  int pipe_ends[2] = {-1, -1};
  if (output_end == OutputEnd::kClosedPipe && pipe(pipe_ends) != 0) return {};

  const int terminal =
      output_end == OutputEnd::kTerminal ? posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
  if (terminal >= 0 && (grantpt(terminal) != 0 || unlockpt(terminal) != 0)) return {};
  const std::string terminal_path = terminal >= 0 ? ptsname(terminal) : "";

  const pid_t child = fork();
  if (child == 0) {
    int output = pipe_ends[1];
    if (terminal >= 0) {
      output = open(terminal_path.c_str(), O_WRONLY | O_NOCTTY);
    } else if (output_end == OutputEnd::kCaptured) {
      output = open(output_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    const int errors = open(errors_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (pipe_ends[0] >= 0) close(pipe_ends[0]);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    std::vector<std::string> words = {program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  for (const int end : pipe_ends) {
    if (end >= 0) close(end);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {};
  if (terminal >= 0) close(terminal);
  const std::vector<uint8_t> errors = ReadBytes(errors_path);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadBytes(output_path),
          std::string(errors.begin(), errors.end())};
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
