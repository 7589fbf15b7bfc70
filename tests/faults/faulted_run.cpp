// SPDX-License-Identifier: MIT
#include "faults/faulted_run.h"

#include <sys/mman.h>

#include <new>

#include "support/cpu_limit.h"

namespace qolm::test {
namespace {

// Far more than any run here needs: a program that goes round and round is ended.
constexpr rlim_t kMostSeconds = 120;

// A report that this process and its children share.
class SharedReport {
 public:
  SharedReport()
      : memory_(mmap(nullptr, sizeof(FaultReport), PROT_READ | PROT_WRITE,
                     MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::bad_alloc();
    report_ = new (memory_) FaultReport{};
  }
  ~SharedReport() { munmap(memory_, sizeof(FaultReport)); }
  SharedReport(const SharedReport&) = delete;
  SharedReport& operator=(const SharedReport&) = delete;

  FaultReport& operator*() const { return *report_; }

 private:
  void* memory_;
  FaultReport* report_ = nullptr;
};

}  // namespace

FaultedRun RunWithFault(CalledProgram program, const std::vector<std::string>& arguments,
                        const Fault& fault, const std::function<void()>& in_child) {
  const SharedReport report;
  const ForkedRun run = RunForked(program, arguments, [&] {
    LimitCpuSeconds(kMostSeconds);
    in_child();
    MeetFault(fault, *report);
  });
  return {run, (*report).calls, (*report).faults};
}

std::vector<std::string> OutputFiles(const std::string& output) {
  return {output, output + ".part"};
}

}  // namespace qolm::test
