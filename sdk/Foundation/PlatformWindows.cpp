// The Windows side of the platform layer: the facilities the system was written against.
#if defined(_WIN32)

#include <windows.h>

#include <ctime>

#include "Platform.h"

namespace quil {
namespace platform {

LibraryHandle OpenLibrary(const std::wstring& path) {
    if (path.empty()) return nullptr;
    return reinterpret_cast<LibraryHandle>(LoadLibraryW(path.c_str()));
}

void* FindLibraryEntry(LibraryHandle library, const char* name) {
    if (library == nullptr || name == nullptr) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(LibraryHandle library) {
    if (library != nullptr) FreeLibrary(static_cast<HMODULE>(library));
}

std::wstring ExecutableDirectory() {
    wchar_t buffer[MAX_PATH] = {0};
    DWORD length = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return std::wstring();
    std::wstring path(buffer, length);
    std::wstring::size_type slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos) return std::wstring();
    path.resize(slash);
    return path;
}

int64_t WallClockSeconds() { return static_cast<int64_t>(_time64(nullptr)); }

int64_t MonotonicNanoseconds() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER counter;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    // Split to avoid overflow of counter * 1e9.
    int64_t seconds = counter.QuadPart / frequency.QuadPart;
    int64_t rest = counter.QuadPart % frequency.QuadPart;
    return seconds * 1000000000LL + rest * 1000000000LL / frequency.QuadPart;
}

int64_t MonotonicMilliseconds() { return MonotonicNanoseconds() / 1000000; }

}  // namespace platform
}  // namespace quil

#endif  // _WIN32
