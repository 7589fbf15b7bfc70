// SPDX-License-Identifier: MIT
#include <iostream>

#include "cli/program.h"
#include "platform/program_main.h"
#include "platform/write_signals.h"

int qolm::ProgramMain(const std::vector<std::string>& arguments) {
  platform::IgnoreFileSizeSignal();
  return cli::RunProgram(arguments, std::cout, std::cerr);
}
