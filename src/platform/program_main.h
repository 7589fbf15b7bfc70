// SPDX-License-Identifier: MIT
//
// A program's entry point on every system: the system's own main prepares arguments and
// standard streams and calls it.
#ifndef QOLM_PLATFORM_PROGRAM_MAIN_H_
#define QOLM_PLATFORM_PROGRAM_MAIN_H_

#include <string>
#include <vector>

namespace qolm {

// Every program defines it. `arguments` are UTF-8 and start with the program's name.
// Printed bytes are UTF-8 and are passed on unchanged. Returns the exit code.
int ProgramMain(const std::vector<std::string>& arguments);

}  // namespace qolm

#endif  // QOLM_PLATFORM_PROGRAM_MAIN_H_
