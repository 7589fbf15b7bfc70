#include "program_run.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace qolm::cli {

ProgramRun::ProgramRun(std::vector<std::string> arguments, const std::function<void()>& in_child) {
  const std::string out_path = scratch_ / "out";
  const std::string err_path = scratch_ / "err";
  arguments.insert(arguments.begin(), kProgram);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  process_ = fork();
  if (process_ < 0) throw std::runtime_error("fork failed");
  if (process_ == 0) {
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    if (dup2(open("/dev/null", O_RDONLY), 0) < 0 ||
        dup2(open(out_path.c_str(), flags, 0600), 1) < 0 ||
        dup2(open(err_path.c_str(), flags, 0600), 2) < 0) {
      _exit(126);
    }
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
    signal(SIGXFSZ, SIG_DFL);
    in_child();
    execv(kProgram, pointers.data());
    _exit(127);
  }
  running_ = true;
}

ProgramRun::~ProgramRun() {
  if (!IsRunning()) return;
  Signal(SIGKILL);
  Wait();
}

void ProgramRun::Signal(int signal_number) const {
  if (running_) kill(process_, signal_number);
}

bool ProgramRun::IsRunning() {
  int status = 0;
  if (running_ && waitpid(process_, &status, WNOHANG) == process_) Take(status);
  return running_;
}

void ProgramRun::Wait() {
  int status = 0;
  if (running_ && waitpid(process_, &status, 0) == process_) Take(status);
}

void ProgramRun::Take(int status) {
  running_ = false;
  exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace qolm::cli
