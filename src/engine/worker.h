// clipworker: the worker thread of a root arrangement. One job word and one idle flag, polled
// by both sides without a lock: the latest job posted wins, there is no queue. An optional gate
// (the owner's critical-section count) holds a posted job back while it is above zero.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

// Jobs of the worker. 0 is no job; 1 ends the thread.
enum : int {
  CLIP_JOB_NONE = 0,
  CLIP_JOB_QUIT = 1,
  CLIP_JOB_COMPOSE = 3,
  CLIP_JOB_MAKE = 4,
  CLIP_JOB_PLAY = 5,
};

class clipworker {
 public:
  // Called on the worker thread for each job with the data given at construction.
  using handler_fn = int (*)(unsigned int job, void *data);

  // Starts the thread at once; Running() tells whether it could be made. No job starts while
  // *gate is above zero (quit excepted).
  clipworker(handler_fn handler, void *data, const std::atomic<int32_t> *gate = nullptr);
  // Waits for the running job to end, posts quit and joins the thread.
  ~clipworker();
  clipworker(const clipworker &) = delete;
  clipworker &operator=(const clipworker &) = delete;

  bool Running() const { return thread.joinable(); }
  // Sets the job word, replacing a job that has not started yet. False once quit was posted
  // (or when the thread could not be made).
  bool Post(int job);
  // Sleeps in steps of 10 ms until the thread is idle with no job waiting; false at once when
  // quitting.
  bool WaitForIdle();
  // Waits until no job is running, leaving a waiting one waiting: after raising the gate, the
  // owner calls this and then has the tree to itself until it lowers the gate again.
  void WaitWhileRunning();
  // True on the worker thread itself (which must never wait for itself).
  bool OnThread() const { return std::this_thread::get_id() == thread.get_id(); }
  // Nothing runs and nothing could start: no job waits, or the gate holds it back.
  bool Idle() const { return idle.load() != 0 && (job.load() == CLIP_JOB_NONE || Gated()); }

  // How long the thread sleeps between two looks at the job word.
  static constexpr int kPollMs = 200;

 private:
  void Body();
  bool Gated() const { return gate && gate->load() > 0; }

  handler_fn handler;
  void *data;
  const std::atomic<int32_t> *gate;
  std::atomic<int> job{CLIP_JOB_NONE};
  std::atomic<int> idle{1};
  std::atomic<bool> quitposted{false};
  std::thread thread;
};
