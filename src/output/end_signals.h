// How a program that writes files takes the signals that would end it, where the
// system has such.
#ifndef QOLM_OUTPUT_END_SIGNALS_H_
#define QOLM_OUTPUT_END_SIGNALS_H_

namespace qolm::output {

using SignalHandler = void (*)(int signal_number);

// Sets the handler of SIGINT, SIGTERM or SIGHUP. A signal that the program's
// starter ignores stays ignored, and nobody else's handler is replaced. Reads
// and writes in progress go on.
void HandleEndSignal(int signal_number, SignalHandler handler);

// The signal ends the program again, unless it is ignored.
void StopHandlingEndSignal(int signal_number);

// For a handler: ends the program as if the signal had none.
void EndBySignal(int signal_number);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_END_SIGNALS_H_
