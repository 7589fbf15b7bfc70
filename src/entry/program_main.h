// The way into a program: the system's own entry puts the arguments and the
// streams into the form that the program expects everywhere and calls it.
#ifndef QOLM_ENTRY_PROGRAM_MAIN_H_
#define QOLM_ENTRY_PROGRAM_MAIN_H_

#include <string>
#include <vector>

namespace qolm {

// Every program defines it. `arguments` holds UTF-8, the program's name first;
// what is printed is UTF-8 and reaches its reader byte for byte. Returns the
// exit code.
int ProgramMain(const std::vector<std::string>& arguments);

}  // namespace qolm

#endif  // QOLM_ENTRY_PROGRAM_MAIN_H_
