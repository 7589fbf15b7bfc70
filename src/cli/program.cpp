// SPDX-License-Identifier: MIT
#include "cli/program.h"

#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <system_error>

#include "cli/encode_command.h"
#include "cli/info_command.h"
#include "cli/messages.h"
#include "cli/option_names.h"
#include "cli/options.h"
#include "cli/report_buffer.h"

namespace qolm::cli {
namespace {

constexpr size_t kFirstOption = 4;

bool IsHelpOption(const std::string& argument) {
  return argument == names::kHelp || argument == names::kHelpShort;
}

// As a command, or as the last argument of a command that expects a file name there.
bool AsksForHelp(const std::vector<std::string>& arguments) {
  const std::string& command = arguments[1];
  if (IsHelpOption(command) || command == names::kHelpCommand) return true;
  const size_t names = command == names::kEncodeCommand ? 2
                       : command == names::kInfoCommand ? 1
                                                        : 0;
  return arguments.size() >= 3 && arguments.size() <= 2 + names && IsHelpOption(arguments.back());
}

int Dispatch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  out << messages::Banner();
  const std::string program = arguments.empty() ? "qolm2_converter" : arguments[0];
  if (arguments.size() < 2) {
    out << messages::Usage(program);
    return 0;
  }
  const std::string& command = arguments[1];
  if (command == names::kVersion) return 0;  // the banner names it
  if (AsksForHelp(arguments)) {
    out << messages::Usage(program);
    return 0;
  }
  // "--" is not the name of an output.
  const bool lacks_output = arguments.size() == 4 && arguments[3] == names::kOptionsEnd;
  if (command == names::kEncodeCommand && arguments.size() >= 4 && !lacks_output) {
    for (const std::string& path : {arguments[2], arguments[3]}) {
      if (!IsOptionName(path)) continue;
      out << std::flush;
      err << messages::OptionAsPathError(path) << std::flush;
      return 1;
    }
    if (arguments[3] == names::kStandardInput) {
      out << std::flush;
      err << messages::StandardOutputError() << std::flush;
      return 1;
    }
    return RunEncodeCommand(
        {arguments[2], arguments[3], ParseEncodeOptions(arguments, kFirstOption)}, out, err);
  }
  if (command == names::kInfoCommand && arguments.size() >= 3) {
    return RunInfoCommand(arguments[2], out, err);
  }
  out << messages::Usage(program);
  return 1;
}

int FailWith(const std::string& message, std::ostream& out, std::ostream& err) {
  out << std::flush;
  err << messages::Error(message) << std::flush;
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

// The exit code after a success whose report may have been lost. Most commands produce
// nothing but their report; a conversion has written its file.
int ExitCodeOfReport(const std::vector<std::string>& arguments, std::error_code failure,
                     std::ostream& err) {
  if (!failure) return 0;
  const std::string reason =
      failure == std::errc::bad_file_descriptor ? "it is closed" : failure.message();
  if (arguments.size() < 2 || arguments[1] != names::kEncodeCommand) {
    err << messages::ReportWriteError(reason) << std::flush;
    return 1;
  }
  // The reader closed the pipe (EPIPE); not an error.
  if (failure != std::errc::broken_pipe) {
    err << messages::ReportLostNotice(reason, arguments[3]) << std::flush;
  }
  return 0;
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  ReportBuffer buffer(*out.rdbuf());
  std::ostream report(&buffer);
  const int exit_code = RunGuarded(arguments, report, err);
  report << std::flush;
  return exit_code == 0 ? ExitCodeOfReport(arguments, buffer.failure(), err) : exit_code;
}

}  // namespace qolm::cli
