// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string_view>

#include "support/default_signals.h"
#include "support/run_program.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

// A descriptor that takes what the program prints, or a negative number.
int OpenOutput(OutputEnd end, const std::string& captured_path, int terminal) {
  if (end == OutputEnd::kTerminal) return open(ptsname(terminal), O_WRONLY | O_NOCTTY);
  if (end == OutputEnd::kCaptured) {
    return open(captured_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) return -1;
  close(ends[0]);
  return ends[1];
}

bool HasEnded(intptr_t process, int options, int& status, uint64_t& peak_bytes) {
  rusage used{};
  if (wait4(static_cast<pid_t>(process), &status, options, &used) != process) return false;
  peak_bytes = static_cast<uint64_t>(used.ru_maxrss) << 10;
  return true;
}

}  // namespace

ProgramRun::ProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                       const std::function<void()>& in_child, OutputEnd output_end) {
  const std::string out_path = (folder_ / "out").string();
  const std::string err_path = (folder_ / "err").string();
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  if (output_end == OutputEnd::kTerminal) {
    terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal_ < 0 || grantpt(terminal_) != 0 || unlockpt(terminal_) != 0) {
      throw std::runtime_error("no terminal");
    }
  }

  process_ = fork();
  if (process_ < 0) throw std::runtime_error("fork failed");
  if (process_ == 0) {
    if (dup2(open("/dev/null", O_RDONLY), 0) < 0 ||
        dup2(OpenOutput(output_end, out_path, terminal_), 1) < 0 ||
        dup2(open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2) < 0) {
      _exit(126);
    }
    const DefaultSignals signals;
    if (output_end == OutputEnd::kNoStreams) {
      for (const int descriptor : {0, 1, 2}) close(descriptor);
    }
    in_child();
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  running_ = true;
}

ProgramRun::~ProgramRun() {
  if (IsRunning()) {
    Signal(SIGKILL);
    Wait();
  }
  if (terminal_ >= 0) close(terminal_);
}

void ProgramRun::Signal(int signal_number) const {
  if (running_) kill(static_cast<pid_t>(process_), signal_number);
}

bool ProgramRun::IsRunning() {
  int status = 0;
  if (running_ && HasEnded(process_, WNOHANG, status, peak_bytes_)) Take(status);
  return running_;
}

void ProgramRun::Wait() {
  int status = 0;
  if (running_ && HasEnded(process_, 0, status, peak_bytes_)) Take(status);
}

std::string ProgramRun::out() const { return ReadFile(folder_ / "out"); }
std::string ProgramRun::err() const { return ReadFile(folder_ / "err"); }

void ProgramRun::Take(int status) {
  running_ = false;
  exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool Catches(const ProgramRun& run, int signal_number) {
  constexpr std::string_view kField = "SigCgt:";  // a bit for each signal
  const std::string status = ReadFile("/proc/" + std::to_string(run.process()) + "/status");
  const size_t field = status.find(kField);
  if (field == std::string::npos) return false;
  const uint64_t caught = std::stoull(status.substr(field + kField.size()), nullptr, 16);
  return (caught >> (signal_number - 1) & 1) != 0;
}

void DropRoot() {
  constexpr uid_t kNobody = 65534;
  if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(126);
}

}  // namespace qolm::test
