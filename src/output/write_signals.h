// A write that fails shall be a failure with a reason, not the end of the
// program. Systems whose failed writes raise no signal have nothing to do.
#ifndef QOLM_OUTPUT_WRITE_SIGNALS_H_
#define QOLM_OUTPUT_WRITE_SIGNALS_H_

namespace qolm::output {

// A file outgrows the user's limit.
void IgnoreFileSizeSignal();

// The reader of a pipe has gone, as `head` does.
void IgnoreBrokenPipeSignal();

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_WRITE_SIGNALS_H_
