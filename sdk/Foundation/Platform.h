// The platform layer: every call into the operating system that the SDK makes goes through
// here, so no other file includes dlfcn.h or windows.h. All functions are thread-safe.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

namespace quil {
namespace platform {

// An opaque handle to an opened dynamic library; null when nothing is open.
using LibraryHandle = void*;

// Opens the dynamic library at path (the file name is used as given, ".dll" included).
// Returns null on failure. The caller owns the handle and closes it with CloseLibrary.
LibraryHandle OpenLibrary(const std::wstring& path);

// Looks up an exported entry; null when the handle is null or the entry is missing.
void* FindLibraryEntry(LibraryHandle library, const char* name);

// Closes a handle from OpenLibrary; a null handle is ignored.
void CloseLibrary(LibraryHandle library);

// The directory of the running executable, without a trailing separator; empty on failure.
std::wstring ExecutableDirectory();

// The longest path, in wide characters with its terminator, that a path buffer holds.
constexpr std::size_t kMaxPathChars = 260;

// Appends more to base as the platform's path append does, folding "." and ".." segments.
// Windows: PathAppendW itself ("\" separates; a more with a drive or a UNC name replaces base;
// leading backslashes of more are dropped). Elsewhere: "\" and "/" both separate, and a more
// starting with either replaces base. Returns false, leaving result untouched, when base, more
// or the joined path would not fit in kMaxPathChars wide characters.
bool AppendPath(const std::wstring& base, const std::wstring& more, std::wstring* result);

// Strict UTF-8 to wide conversion: invalid input (bad sequences, overlongs, surrogates, code
// points above U+10FFFF) gives an empty string. Windows: MultiByteToWideChar into UTF-16, so a
// character above U+FFFF becomes a surrogate pair; elsewhere wchar_t holds whole code points.
std::wstring Utf8ToWide(const std::string& text);

// Wide to UTF-8, for handing wide paths to byte-oriented system calls.
std::string WideToUtf8(const std::wstring& text);

// Wall-clock seconds since the epoch.
int64_t WallClockSeconds();

// Monotonic nanoseconds; only differences mean anything.
int64_t MonotonicNanoseconds();

// Whole milliseconds for send times; only differences mean anything. Windows: clock(), which
// there counts wall time from the process start; elsewhere the steady clock (POSIX clock() is
// CPU time, which would misreport).
int64_t MonotonicMilliseconds();

// A time mark: monotonic nanoseconds divided by 1,000,000 with truncation, as a double.
double TimeMarkMilliseconds();

// One-time initialisation: runs init exactly once per flag, whatever thread comes first; the
// others wait until it has run. If init throws, the flag stays unset for the next caller.
#if defined(_WIN32)
// Windows: the storage of an INIT_ONCE (one pointer, zero at first), driven through
// InitOnceBeginInitialize and InitOnceComplete; opaque here so that windows.h stays inside the
// platform sources.
class OnceFlag {
public:
    constexpr OnceFlag() noexcept = default;
    OnceFlag(const OnceFlag&) = delete;
    OnceFlag& operator=(const OnceFlag&) = delete;

private:
    void* state_ = nullptr;
};
void RunOnce(OnceFlag& flag, void (*invoke)(void*), void* context);
template <typename Function>
void CallOnce(OnceFlag& flag, Function&& init) {
    using Callable = std::remove_reference_t<Function>;
    RunOnce(
        flag, [](void* context) { (*static_cast<Callable*>(context))(); },
        const_cast<void*>(static_cast<const void*>(&init)));
}
#else
using OnceFlag = std::once_flag;
template <typename Function>
void CallOnce(OnceFlag& flag, Function&& init) {
    std::call_once(flag, std::forward<Function>(init));
}
#endif

}  // namespace platform
}  // namespace quil

// printf-style format checking for the logger, where the compiler offers it.
#if defined(__GNUC__) || defined(__clang__)
#define QUIL_PRINTF_FORMAT(format_index, first_arg) \
    __attribute__((format(printf, format_index, first_arg)))
#else
#define QUIL_PRINTF_FORMAT(format_index, first_arg)
#endif
