#include "entry/program_main.h"

int main(int argc, char** argv) {
  return qolm::ProgramMain(std::vector<std::string>(argv, argv + argc));
}
