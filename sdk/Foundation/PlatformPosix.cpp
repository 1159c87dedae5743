// The POSIX side of the platform layer: dlopen for library loading, /proc/self/exe for the
// executable's directory, std::chrono for the clocks.
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <vector>

#include "Platform.h"

namespace quil {
namespace platform {

LibraryHandle OpenLibrary(const std::wstring& path) {
    if (path.empty()) return nullptr;
    return dlopen(WideToUtf8(path).c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindLibraryEntry(LibraryHandle library, const char* name) {
    if (library == nullptr || name == nullptr) return nullptr;
    return dlsym(library, name);
}

void CloseLibrary(LibraryHandle library) {
    if (library != nullptr) dlclose(library);
}

std::wstring ExecutableDirectory() {
    std::vector<char> buffer(4096);
    ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    if (length <= 0) return std::wstring();
    std::string path(buffer.data(), static_cast<std::size_t>(length));
    std::string::size_type slash = path.find_last_of('/');
    if (slash == std::string::npos) return std::wstring();
    path.resize(slash == 0 ? 1 : slash);
    return Utf8ToWide(path);
}

int64_t WallClockSeconds() { return static_cast<int64_t>(std::time(nullptr)); }

int64_t MonotonicNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int64_t MonotonicMilliseconds() { return MonotonicNanoseconds() / 1000000; }

}  // namespace platform
}  // namespace quil
