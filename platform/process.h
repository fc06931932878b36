#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace orin::platform {

using ProcessHandle = void*;

// Starts a program from a Windows-style command line with a hidden window, inheriting nothing but
// the environment and the current folder. Win32: CreateProcessA with no application name.
// POSIX: posix_spawn of the argument vector SplitCommandLine gives; never a shell.
// Returns nullptr when nothing was started. The caller owns the handle and closes it; a handle
// is used by one thread at a time. Timeouts are in ms; 0xFFFFFFFF waits without limit.
ProcessHandle StartProcess(const std::string& commandLine);
// WaitForSingleObject(process, timeoutMs); true when the process ended within the time.
bool WaitProcess(ProcessHandle process, std::uint32_t timeoutMs);
// The exit code of a process that has ended (after a successful WaitProcess): its exit status,
// or on POSIX 128 + the signal that ended it. False while it runs or when unknown.
bool ProcessExitCode(ProcessHandle process, std::uint32_t& code);
// Releases the handle; the process itself keeps running. POSIX reaps it in the background.
void CloseProcess(ProcessHandle process);
// TerminateProcess: ends the process at once, without its exit handlers (POSIX: SIGKILL); what it
// held is abandoned. The handle stays the caller's to wait on and close.
bool KillProcess(ProcessHandle process);

// Splits a command line into arguments by the rules of the Microsoft C runtime (the ones
// CommandLineToArgvW and a program's argv follow), so a POSIX child sees what a Windows child sees.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

}  // namespace orin::platform
