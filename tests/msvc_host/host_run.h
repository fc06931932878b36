#pragma once
// What a host built by Visual C++ (or clang for the MSVC ABI) does with the module, with nothing
// but kernel32 and IEventTap.h: no C runtime, so the module is proven to need none of its host.
#include <orinpoint/IEventTap.h>

extern "C" {
__declspec(dllimport) int __stdcall CloseHandle(void* handle);
__declspec(dllimport) void* __stdcall CreateFileW(const wchar_t* name, unsigned long access,
                                                  unsigned long share, void* security,
                                                  unsigned long disposition, unsigned long flags,
                                                  void* templateFile);
__declspec(dllimport) __declspec(noreturn) void __stdcall ExitProcess(unsigned int code);
__declspec(dllimport) unsigned long __stdcall GetEnvironmentVariableW(const wchar_t* name,
                                                                      wchar_t* buffer,
                                                                      unsigned long size);
__declspec(dllimport) int __stdcall GetFileSizeEx(void* file, long long* size);
__declspec(dllimport) unsigned long __stdcall GetModuleFileNameW(void* module, wchar_t* buffer,
                                                                 unsigned long size);
__declspec(dllimport) void* __stdcall GetProcAddress(void* module, const char* name);
__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long which);
__declspec(dllimport) void* __stdcall LoadLibraryW(const wchar_t* name);
__declspec(dllimport) int __stdcall ReadFile(void* file, void* buffer, unsigned long size,
                                             unsigned long* read, void* overlapped);
__declspec(dllimport) int __stdcall SetFilePointerEx(void* file, long long distance,
                                                     long long* position, unsigned long method);
__declspec(dllimport) void __stdcall Sleep(unsigned long ms);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* buffer, unsigned long size,
                                              unsigned long* written, void* overlapped);
}

namespace msvc_host {

inline void Say(const char* text) {
  unsigned long length = 0, written = 0;
  while (text[length] != '\0') ++length;
  WriteFile(GetStdHandle(static_cast<unsigned long>(-12)), text, length, &written, nullptr);
}

[[noreturn]] inline void Fail(const char* why) {
  Say("msvc host: ");
  Say(why);
  Say("\n");
  ExitProcess(1);
}

inline void Append(wchar_t* to, const wchar_t* text) {
  while (*to != 0) ++to;
  while ((*to++ = *text++) != 0) {}
}

// Records in the cache file, walked by their length fields; -1 while the file cannot be read.
inline int CachedRecords() {
  wchar_t path[600];  // no initializer: that would call memset, which no C runtime here provides
  if (GetEnvironmentVariableW(L"ProgramData", path, 500) == 0) Fail("no ProgramData");
  Append(path, L"\\QuillBR\\KD_OF.dat");
  void* file = CreateFileW(path, 0x80000000u /* GENERIC_READ */, 7 /* share all */, nullptr,
                           3 /* OPEN_EXISTING */, 0, nullptr);
  if (file == reinterpret_cast<void*>(-1)) return -1;
  long long size = 0, offset = 0;
  int records = 0;
  GetFileSizeEx(file, &size);
  while (offset + 4 <= size) {
    unsigned char field[4];
    unsigned long read = 0;
    if (!ReadFile(file, field, 4, &read, nullptr) || read != 4) break;
    const long length = field[0] | field[1] << 8 | field[2] << 16 | long(field[3]) << 24;
    if (length < 4 || offset + length > size) break;
    ++records;
    offset += length;
    if (!SetFilePointerEx(file, offset, nullptr, 0 /* FILE_BEGIN */)) break;
  }
  CloseHandle(file);
  return records;
}

// Every operation once. The queued ones come first and a queued record last, so once that record
// is in the cache the module has started and every queued helper start has been made; then the
// calls that work on this thread must leave their effect before they return.
[[noreturn]] inline void Run(GetOrinPointObjFn get) {
  IEventTap* tap = get();
  if (tap == nullptr || get() != tap) Fail("GetOrinPointObj gave no single facade");
  tap->SetPoint(2, 200);
  tap->PrepareAndSubmitCache();
  tap->SubmitCache();
  tap->SetPoint(1, 100);
  tap->SetPointParam(0, "abi", 7);
  tap->SetPointParam(1, "ignored", 1);
  tap->RecordPoint();
  for (int tries = 0; CachedRecords() < 1; ++tries) {
    if (tries == 12000) Fail("the recorded point never reached the cache");
    Sleep(20);
  }
  tap->PreparePoint(3, 300);
  tap->ReportPointNow();
  if (CachedRecords() != 2) Fail("ReportPointNow returned before its point was cached");
  tap->SubmitCacheNow();
  Say("msvc host: every operation called\n");
  ExitProcess(0);
}

}  // namespace msvc_host
