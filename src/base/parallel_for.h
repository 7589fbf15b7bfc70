// SPDX-License-Identifier: MIT
//
// Fork-join loops over a pool of worker threads.
//
// The order of the calls is unspecified, so a loop body must not depend on it;
// results are then the same for any number of workers.
#ifndef QOLM_BASE_PARALLEL_FOR_H_
#define QOLM_BASE_PARALLEL_FOR_H_

#include <cstddef>

namespace qolm {

// Threads that work on one loop, the calling one included; fewer on a machine with
// fewer processors.
inline constexpr size_t kMaxWorkers = 4;

// Sets the number of workers of every later loop; 0 restores the default. For tests,
// which use it to show that results do not depend on the number.
void ForceWorkerCount(size_t count);

// A loop over fewer samples than this takes longer to distribute than to run.
inline constexpr size_t kMinParallelSamples = 32768;

// Runs the calls `first` to `end` - 1 of the loop body that `work` points to.
using LoopChunk = void (*)(const void* work, size_t first, size_t end);

// The parallel case of ParallelFor: the calling thread and the pool's threads take chunk
// after chunk of the loop. Workers that find no chunk block at once instead of spinning,
// since decoding and other programs want the processors too; a late worker does not
// delay completion.
void RunChunks(size_t count, LoopChunk chunk, const void* work);

// Joins the pool's threads, for the end of a program; a later loop starts new ones.
// Must not be called during a loop.
void StopWorkerThreads();

// The number of threads in the pool. For tests, which use it to show that no loop starts
// more threads than it has workers. Must not be called during a loop.
size_t WorkerThreadCount();

// Calls work(i) for every i from 0 to count - 1 and returns when all calls have returned.
//
// With `parallel` false the calls are made in ascending order on the calling thread.
// Otherwise workers make them in any order, a few at a time, so that fast workers make
// more of them. Inside another loop, and while another thread runs one, the calling
// thread is the only worker.
//
// After an exception from `work` the remaining calls of its chunk are not made (without
// workers: none of the remaining calls). When all workers are done, the first exception
// caught is rethrown.
template <typename Work>
void ParallelFor(size_t count, bool parallel, const Work& work) {
  const LoopChunk chunk = [](const void* body, size_t first, size_t end) {
    const Work& call = *static_cast<const Work*>(body);
    for (size_t i = first; i < end; ++i) call(i);
  };
  if (parallel && count > 1) {
    RunChunks(count, chunk, &work);
  } else {
    chunk(&work, 0, count);
  }
}

}  // namespace qolm

#endif  // QOLM_BASE_PARALLEL_FOR_H_
