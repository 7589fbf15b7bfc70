#include <iostream>
#include <string>
#include <vector>

#include "cli/interrupt.h"
#include "cli/program.h"

int main(int argc, char** argv) {
  qolm::cli::IgnoreFileSizeSignal();
  return qolm::cli::RunProgram(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr);
}
