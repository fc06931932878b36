#include "platform/process.h"
#include "platform/raw_command_line.h"

#include <cstring>
#include <cerrno>
#include <mutex>
#include <new>
#include <thread>

#include <dlfcn.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

namespace orin::platform {
namespace {

constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

struct PosixProcess {
  pid_t pid;
  bool reaped = false;  // touched only by the thread that holds the handle
  int status = -1;      // as waitpid gave it; -1 when somebody else reaped the child
};

// True when the child has ended and has been reaped; never blocks.
bool TryReap(PosixProcess* process) {
  if (process->reaped) return true;
  int status = 0;
  pid_t r;
  do {
    r = ::waitpid(process->pid, &status, WNOHANG);
  } while (r < 0 && errno == EINTR);
  // ECHILD: somebody else (a host with its own SIGCHLD handling) already reaped it.
  if (r == process->pid) process->status = status;
  if (r == process->pid || (r < 0 && errno == ECHILD)) process->reaped = true;
  return process->reaped;
}

void Nap(long ms) {
  timespec t{0, ms * 1000000L};
  ::nanosleep(&t, nullptr);
}

// A reaper thread runs code of this module; should the host unload the module while one waits,
// the thread would return into unmapped memory. So the first reaper pins the module for good.
void PinThisModule() {
  static std::once_flag once;
  std::call_once(once, [] {
    Dl_info info;
    const void* self = reinterpret_cast<const void*>(&PinThisModule);
    if (::dladdr(self, &info) != 0 && info.dli_fname != nullptr) {
      ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);  // kept open on purpose
    }
  });
}

// Waits for the child on a thread of its own, so the caller never blocks and no zombie stays.
void ReapInBackground(pid_t pid) {
  PinThisModule();
  try {
    std::thread([pid] {
      while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
      }
    }).detach();
  } catch (...) {
    // No thread to spare: a zombie is the lesser harm than blocking the host.
  }
}

}  // namespace

ProcessHandle StartProcess(const std::string& commandLine) {
  std::vector<std::string> args = SplitCommandLine(commandLine);
  if (args.empty() || args[0].empty()) return nullptr;
  std::vector<char*> argv;
  argv.reserve(args.size() + 1);
  for (std::string& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);

  // Like CreateProcess without handle inheritance: the child gets the standard streams only.
  posix_spawn_file_actions_t actions;
  if (::posix_spawn_file_actions_init(&actions) != 0) return nullptr;
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
  ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif
  // The child also gets the line itself, as a Windows child can read it back whole.
  std::string rawEntry = std::string(kRawCommandLineVariable) + "=" + commandLine;
  std::vector<char*> envp;
  const std::size_t nameLength = std::strlen(kRawCommandLineVariable);
  for (char** e = environ; *e != nullptr; ++e) {
    if (std::strncmp(*e, kRawCommandLineVariable, nameLength) == 0 && (*e)[nameLength] == '=') continue;
    envp.push_back(*e);
  }
  envp.push_back(&rawEntry[0]);
  envp.push_back(nullptr);
  pid_t pid = 0;
  const int rc = ::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) return nullptr;
  auto* process = new (std::nothrow) PosixProcess{pid};
  if (process == nullptr) {
    ReapInBackground(pid);  // so a failed allocation leaves no zombie behind
  }
  return process;
}

bool WaitProcess(ProcessHandle process, std::uint32_t timeoutMs) {
  if (process == nullptr) return false;
  auto* p = static_cast<PosixProcess*>(process);
  if (timeoutMs == kInfinite) {
    while (!p->reaped) {
      int status = 0;
      const pid_t r = ::waitpid(p->pid, &status, 0);
      if (r == p->pid) p->status = status;
      if (r == p->pid || (r < 0 && errno != EINTR)) p->reaped = true;
    }
    return true;
  }
  // Polling keeps the wait bounded without signals, which belong to the host process.
  timespec start;
  ::clock_gettime(CLOCK_MONOTONIC, &start);
  for (;;) {
    if (TryReap(p)) return true;
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const long long elapsed =
        (now.tv_sec - start.tv_sec) * 1000LL + (now.tv_nsec - start.tv_nsec) / 1000000LL;
    if (elapsed >= static_cast<long long>(timeoutMs)) return false;
    const long long left = static_cast<long long>(timeoutMs) - elapsed;
    Nap(left < 5 ? static_cast<long>(left) : 5L);
  }
}

bool KillProcess(ProcessHandle process) {
  if (process == nullptr) return false;
  auto* p = static_cast<PosixProcess*>(process);
  // Once reaped, the pid may belong to somebody else.
  return !p->reaped && ::kill(p->pid, SIGKILL) == 0;
}

bool ProcessExitCode(ProcessHandle process, std::uint32_t& code) {
  if (process == nullptr) return false;
  auto* p = static_cast<PosixProcess*>(process);
  if (!TryReap(p) || p->status < 0) return false;
  if (WIFEXITED(p->status)) {
    code = static_cast<std::uint32_t>(WEXITSTATUS(p->status));
  } else if (WIFSIGNALED(p->status)) {
    code = 128u + static_cast<std::uint32_t>(WTERMSIG(p->status));
  } else {
    return false;
  }
  return true;
}

void CloseProcess(ProcessHandle process) {
  if (process == nullptr) return;
  auto* p = static_cast<PosixProcess*>(process);
  if (!TryReap(p)) ReapInBackground(p->pid);
  delete p;
}

}  // namespace orin::platform
