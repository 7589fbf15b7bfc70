#include <iostream>
#include <string>
#include <vector>

#include "cli/program.h"
#include "output/signals.h"

int main(int argc, char** argv) {
  qolm::output::IgnoreFileSizeSignal();
  return qolm::cli::RunProgram(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
