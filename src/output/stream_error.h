// Why a stream of the C library could not write.
#ifndef QOLM_OUTPUT_STREAM_ERROR_H_
#define QOLM_OUTPUT_STREAM_ERROR_H_

namespace qolm::output {

// errno of the operation that has just failed; EPIPE where the reader of a pipe
// has gone.
int StreamError();

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_STREAM_ERROR_H_
