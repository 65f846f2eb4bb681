// clipworker: the thread body, posting and waiting.
#include "engine/worker.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

clipworker::clipworker(handler_fn h, void *d, const std::atomic<int32_t> *g) : handler(h), data(d), gate(g) {
  try {
    thread = std::thread([this] { Body(); });
  } catch (const std::system_error &) {
    quitposted = true;  // no thread: every post is refused
    return;
  }
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

void clipworker::WaitWhileRunning() {
  if (OnThread()) return;
  while (idle.load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

bool clipworker::WaitForIdle() {
  if (quitposted.load()) return false;
  while (!Idle() && job.load() != CLIP_JOB_QUIT) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return job.load() != CLIP_JOB_QUIT;
}

void clipworker::Body() {
  // Below normal: one step nicer than the process, so the interface thread comes first. On
  // Linux the nice value of a thread id is the thread's own.
  const pid_t self = static_cast<pid_t>(::syscall(SYS_gettid));
  errno = 0;
  const int nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(self));
  if (errno == 0 && nice < 19) ::setpriority(PRIO_PROCESS, static_cast<id_t>(self), nice + 1);
  for (;;) {
    idle = 1;
    for (;;) {
      while (job.load() == CLIP_JOB_NONE) std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
      // The flag goes down before the gate is read, and the owner raises the gate before it
      // reads the flag (both sequentially consistent): one of the two always sees the other,
      // so a job never starts inside a critical section.
      idle = 0;
      if (!Gated() || job.load() == CLIP_JOB_QUIT) break;
      idle = 1;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const int j = job.exchange(CLIP_JOB_NONE);
    if (j == CLIP_JOB_QUIT) {
      job = CLIP_JOB_QUIT;  // waiters see quitting
      return;
    }
    handler(unsigned(j), data);
  }
}
