#include "platform/process.h"

#include <windows.h>

namespace orin::platform {

ProcessHandle StartProcess(const std::string& commandLine) {
  // CreateProcessA may write into the command line, so it gets its own copy.
  std::vector<char> buffer(commandLine.begin(), commandLine.end());
  buffer.push_back('\0');
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_HIDE;
  PROCESS_INFORMATION info = {};
  if (!CreateProcessA(nullptr, buffer.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &info)) {
    return nullptr;
  }
  CloseHandle(info.hThread);
  return info.hProcess;
}

bool WaitProcess(ProcessHandle process, std::uint32_t timeoutMs) {
  if (process == nullptr) return false;
  return WaitForSingleObject(static_cast<HANDLE>(process), timeoutMs) == WAIT_OBJECT_0;
}

bool KillProcess(ProcessHandle process) {
  return process != nullptr && TerminateProcess(static_cast<HANDLE>(process), 1) != 0;
}

bool ProcessExitCode(ProcessHandle process, std::uint32_t& code) {
  DWORD value = 0;
  if (process == nullptr || !GetExitCodeProcess(static_cast<HANDLE>(process), &value) ||
      value == STILL_ACTIVE) {
    return false;
  }
  code = value;
  return true;
}

void CloseProcess(ProcessHandle process) {
  if (process != nullptr) CloseHandle(static_cast<HANDLE>(process));
}

}  // namespace orin::platform
