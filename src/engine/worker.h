// clipworker: the worker thread of a root arrangement. One job word and one idle flag, polled
// by both sides without a lock: the latest job posted wins, there is no queue.
#pragma once

#include <atomic>
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

  // Starts the thread at once; Running() tells whether it could be made.
  clipworker(handler_fn handler, void *data);
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
  // True on the worker thread itself (which must never wait for itself).
  bool OnThread() const { return std::this_thread::get_id() == thread.get_id(); }
  bool Idle() const { return idle.load() != 0 && job.load() == CLIP_JOB_NONE; }

  // How long the thread sleeps between two looks at the job word.
  static constexpr int kPollMs = 200;

 private:
  void Body();

  handler_fn handler;
  void *data;
  std::atomic<int> job{CLIP_JOB_NONE};
  std::atomic<int> idle{1};
  std::atomic<bool> quitposted{false};
  std::thread thread;
};
