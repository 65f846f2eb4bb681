// clipworker: the thread body, posting and waiting.
#include "engine/worker.h"

#include <pthread.h>
#include <sched.h>

#include <chrono>
#include <system_error>

clipworker::clipworker(handler_fn h, void *d) : handler(h), data(d) {
  try {
    thread = std::thread([this] { Body(); });
  } catch (const std::system_error &) {
    quitposted = true;  // no thread: every post is refused
    return;
  }
  // Below normal: the interface thread comes first. Without the right to change it the
  // thread simply runs at the normal priority.
  sched_param p{};
  pthread_setschedparam(thread.native_handle(), SCHED_OTHER, &p);
}

clipworker::~clipworker() {
  if (!thread.joinable()) return;
  WaitForIdle();
  job = CLIP_JOB_QUIT;
  quitposted = true;
  thread.join();
}

bool clipworker::Post(int j) {
  if (quitposted.load() || j == CLIP_JOB_NONE) return false;
  if (j == CLIP_JOB_QUIT) quitposted = true;
  job = j;
  return true;
}

bool clipworker::WaitForIdle() {
  if (quitposted.load()) return false;
  while (!Idle() && job.load() != CLIP_JOB_QUIT) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return job.load() != CLIP_JOB_QUIT;
}

void clipworker::Body() {
  for (;;) {
    idle = 1;
    while (job.load() == CLIP_JOB_NONE) std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
    idle = 0;
    const int j = job.exchange(CLIP_JOB_NONE);
    if (j == CLIP_JOB_QUIT) {
      job = CLIP_JOB_QUIT;  // waiters see quitting
      return;
    }
    handler(unsigned(j), data);
  }
}
