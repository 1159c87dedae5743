// The Windows side of the platform layer: the facilities the system was written against.
// LoadLibraryW/GetProcAddress/FreeLibrary for the closed library, GetModuleFileNameW with
// shlwapi's PathRemoveFileSpecW and PathAppendW for its paths (260-character buffers),
// MultiByteToWideChar for text, InitOnce for one-time initialisation, _time64 and the
// performance counter for the clocks.
#if defined(_WIN32)

#include <windows.h>
// windows.h first: shlwapi.h relies on its types.
#include <shlwapi.h>

#include <climits>
#include <cstring>
#include <ctime>

#include "Platform.h"

namespace quil {
namespace platform {

static_assert(sizeof(wchar_t) == 2, "Windows wide characters are UTF-16 code units");
static_assert(kMaxPathChars == MAX_PATH, "path buffers hold MAX_PATH characters");

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
    // A full buffer means the name was cut; a cut path would name the wrong folder.
    if (length == 0 || length >= MAX_PATH) return std::wstring();
    if (!PathRemoveFileSpecW(buffer)) return std::wstring();
    return std::wstring(buffer);
}

bool AppendPath(const std::wstring& base, const std::wstring& more, std::wstring* result) {
    // PathAppendW works in place in a MAX_PATH buffer. A base that does not fit cannot be
    // placed there, and a whole path in more would be cut silently by PathCombineW's copy:
    // both fail here instead. Embedded nuls would end the texts early, so they fail too.
    if (base.size() >= MAX_PATH || more.size() >= MAX_PATH) return false;
    if (base.find(L'\0') != std::wstring::npos || more.find(L'\0') != std::wstring::npos) {
        return false;
    }
    wchar_t buffer[MAX_PATH] = {0};
    std::memcpy(buffer, base.c_str(), (base.size() + 1) * sizeof(wchar_t));
    if (!PathAppendW(buffer, more.c_str())) return false;
    *result = buffer;
    return true;
}

std::wstring Utf8ToWide(const std::string& text) {
    if (text.empty()) return std::wstring();
    if (text.size() > static_cast<std::size_t>(INT_MAX)) return std::wstring();
    const int size = static_cast<int>(text.size());
    // MB_ERR_INVALID_CHARS makes bad input an error instead of U+FFFD replacements.
    int needed = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), size, nullptr, 0);
    if (needed <= 0) return std::wstring();
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    int written =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), size, &wide[0], needed);
    if (written != needed) return std::wstring();
    return wide;
}

std::string WideToUtf8(const std::wstring& text) {
    if (text.empty()) return std::string();
    if (text.size() > static_cast<std::size_t>(INT_MAX / 3)) return std::string();
    const int size = static_cast<int>(text.size());
    // Without flags a lone surrogate becomes U+FFFD, as on the other platforms.
    int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) return std::string();
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    int written =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, &narrow[0], needed, nullptr, nullptr);
    if (written != needed) return std::string();
    return narrow;
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

int64_t MonotonicMilliseconds() {
    // clock() is wall time since the process began on Windows (unlike POSIX, where it is CPU
    // time), which is what send times are taken from.
    return static_cast<int64_t>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

static_assert(sizeof(INIT_ONCE) == sizeof(OnceFlag), "OnceFlag holds an INIT_ONCE");

void RunOnce(OnceFlag& flag, void (*invoke)(void*), void* context) {
    auto* once = reinterpret_cast<INIT_ONCE*>(&flag);
    BOOL pending = FALSE;
    if (!InitOnceBeginInitialize(once, 0, &pending, nullptr)) return;
    if (!pending) return;
    try {
        invoke(context);
    } catch (...) {
        // As with std::call_once, a throwing initialisation leaves the flag for the next caller.
        InitOnceComplete(once, INIT_ONCE_INIT_FAILED, nullptr);
        throw;
    }
    InitOnceComplete(once, 0, nullptr);
}

}  // namespace platform
}  // namespace quil

#endif  // _WIN32
