#include <iostream>

#include "cli/program.h"
#include "entry/program_main.h"
#include "output/write_signals.h"

int qolm::ProgramMain(const std::vector<std::string>& arguments) {
  output::IgnoreFileSizeSignal();
  return cli::RunProgram(arguments, std::cout, std::cerr);
}
