#include "cli/program.h"

#include <exception>
#include <new>
#include <ostream>

#include "cli/encode_command.h"
#include "cli/info_command.h"
#include "cli/option_words.h"
#include "cli/options.h"
#include "cli/texts.h"

namespace qolm::cli {
namespace {

constexpr size_t kFirstOption = 4;

int Dispatch(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  out << texts::Banner();
  const std::string program = arguments.empty() ? "qolm2_converter" : arguments[0];
  if (arguments.size() < 2) {
    out << texts::Usage(program);
    return 0;
  }
  if (arguments[1] == words::kEncodeCommand && arguments.size() >= 4) {
    return RunEncodeCommand(
        {arguments[2], arguments[3], ParseEncodeOptions(arguments, kFirstOption)}, out, err);
  }
  if (arguments[1] == words::kInfoCommand && arguments.size() >= 3) {
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

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  try {
    return Dispatch(arguments, out, err);
  } catch (const std::bad_alloc&) {
    return FailWith("out of memory", out, err);
  } catch (const std::exception& error) {
    return FailWith(error.what(), out, err);
  }
}

}  // namespace qolm::cli
