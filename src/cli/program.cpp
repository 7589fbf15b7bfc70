#include "cli/program.h"

#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <system_error>

#include "cli/encode_command.h"
#include "cli/info_command.h"
#include "cli/option_words.h"
#include "cli/options.h"
#include "cli/report_buffer.h"
#include "cli/texts.h"

namespace qolm::cli {
namespace {

constexpr size_t kFirstOption = 4;

bool IsHelpOption(const std::string& argument) {
  return argument == words::kHelp || argument == words::kHelpShort;
}

// As a command of its own, or as the last argument of a command where that expects
// the name of a file.
bool AsksForHelp(const std::vector<std::string>& arguments) {
  const std::string& command = arguments[1];
  if (IsHelpOption(command) || command == words::kHelpCommand) return true;
  const size_t names = command == words::kEncodeCommand ? 2
                       : command == words::kInfoCommand ? 1
                                                        : 0;
  return arguments.size() >= 3 && arguments.size() <= 2 + names && IsHelpOption(arguments.back());
}

int Dispatch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  out << texts::Banner();
  const std::string program = arguments.empty() ? "qolm2_converter" : arguments[0];
  if (arguments.size() < 2) {
    out << texts::Usage(program);
    return 0;
  }
  const std::string& command = arguments[1];
  if (command == words::kVersion) return 0;  // the banner names it
  if (AsksForHelp(arguments)) {
    out << texts::Usage(program);
    return 0;
  }
  // What ends the options of other programs is no output here.
  const bool lacks_output = arguments.size() == 4 && arguments[3] == words::kOptionsEnd;
  if (command == words::kEncodeCommand && arguments.size() >= 4 && !lacks_output) {
    for (const std::string& path : {arguments[2], arguments[3]}) {
      if (!IsOptionWord(path)) continue;
      out << std::flush;
      err << texts::OptionAsPathError(path) << std::flush;
      return 1;
    }
    if (arguments[3] == words::kStandardInput) {
      out << std::flush;
      err << texts::StandardOutputError() << std::flush;
      return 1;
    }
    return RunEncodeCommand(
        {arguments[2], arguments[3], ParseEncodeOptions(arguments, kFirstOption)}, out, err);
  }
  if (command == words::kInfoCommand && arguments.size() >= 3) {
    return RunInfoCommand(arguments[2], out, err);
  }
  out << texts::Usage(program);
  return 1;
}

int FailWith(const std::string& message, std::ostream& out, std::ostream& err) {
  out << std::flush;
  err << texts::Error(message) << std::flush;
  return 1;
}

int RunGuarded(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  try {
    return Dispatch(arguments, out, err);
  } catch (const std::bad_alloc&) {
    return FailWith("out of memory", out, err);
  } catch (const std::exception& error) {
    return FailWith(error.what(), out, err);
  }
}

// The exit code after a success whose report may have been lost. A report is all
// that most commands make, but a conversion has made its file.
int JudgeReport(const std::vector<std::string>& arguments, std::error_code failure,
                std::ostream& err) {
  if (!failure) return 0;
  const std::string reason =
      failure == std::errc::bad_file_descriptor ? "it is closed" : failure.message();
  if (arguments.size() < 2 || arguments[1] != words::kEncodeCommand) {
    err << texts::ReportWriteError(reason) << std::flush;
    return 1;
  }
  // Who closes a pipe has read enough.
  if (failure != std::errc::broken_pipe) {
    err << texts::ReportLostNotice(reason, arguments[3]) << std::flush;
  }
  return 0;
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  ReportBuffer buffer(*out.rdbuf());
  std::ostream report(&buffer);
  const int exit_code = RunGuarded(arguments, report, err);
  report << std::flush;
  return exit_code == 0 ? JudgeReport(arguments, buffer.failure(), err) : exit_code;
}

}  // namespace qolm::cli
