#include "helper/side_job.h"

#include <system_error>
#include <utility>

namespace orin::helper {

SideJob::SideJob() {
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error&) {
    // Jobs run on the caller's thread instead.
  }
}

SideJob::~SideJob() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> guard(lock_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SideJob::Start(std::function<void()> job) {
  if (!thread_.joinable()) {
    job();
    return;
  }
  {
    std::lock_guard<std::mutex> guard(lock_);
    job_ = std::move(job);
    running_ = true;
  }
  changed_.notify_all();
}

void SideJob::Wait() {
  if (!thread_.joinable()) return;
  std::unique_lock<std::mutex> guard(lock_);
  changed_.wait(guard, [this] { return !running_; });
}

void SideJob::Run() {
  std::unique_lock<std::mutex> guard(lock_);
  for (;;) {
    changed_.wait(guard, [this] { return stop_ || job_; });
    if (!job_) return;
    std::function<void()> job = std::move(job_);
    job_ = nullptr;
    guard.unlock();
    job();
    guard.lock();
    running_ = false;
    changed_.notify_all();
  }
}

}  // namespace orin::helper
