#pragma once
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace orin::helper {

// Runs one job at a time on a thread of its own, so the delivery reads the next batch and flushes
// the last count while this thread posts. Start and Wait alternate, from one thread; what the job
// touches is the job's until Wait returns. Where no thread can be started, Start runs the job at
// once on the caller's thread.
class SideJob {
 public:
  SideJob();
  ~SideJob();
  SideJob(const SideJob&) = delete;
  SideJob& operator=(const SideJob&) = delete;

  void Start(std::function<void()> job);
  void Wait();

 private:
  void Run();

  std::mutex lock_;
  std::condition_variable changed_;
  std::function<void()> job_;  // set from Start until the thread takes it
  bool running_ = false;       // from Start until the job has ended
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace orin::helper
