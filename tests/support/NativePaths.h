// Paths spelled the way the platform spells them (a drive and backslashes on Windows, slashes
// elsewhere), so that one test states the same path behaviour on every platform.
#pragma once

#include <initializer_list>
#include <string>

namespace quil {
namespace test {

#if defined(_WIN32)
constexpr wchar_t kNativeRoot[] = L"C:\\";
constexpr wchar_t kNativeSeparator = L'\\';
#else
constexpr wchar_t kNativeRoot[] = L"/";
constexpr wchar_t kNativeSeparator = L'/';
#endif

// An absolute path from the platform's root: NativePath({L"opt", L"bin"}) is "/opt/bin" or
// "C:\opt\bin".
inline std::wstring NativePath(std::initializer_list<std::wstring> parts) {
    std::wstring path = kNativeRoot;
    bool first = true;
    for (const std::wstring& part : parts) {
        if (!first) path.push_back(kNativeSeparator);
        path += part;
        first = false;
    }
    return path;
}

// directory and a file name joined with the platform's separator.
inline std::wstring NativeJoin(const std::wstring& directory, const std::wstring& name) {
    return directory + kNativeSeparator + name;
}

}  // namespace test
}  // namespace quil
