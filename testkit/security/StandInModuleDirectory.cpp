#include "StandInModuleDirectory.h"

#if defined(_WIN32)
#include <windows.h>

#include "StandInState.h"
#else
#include <dlfcn.h>
#endif

namespace quil {
namespace standin {

namespace {
void Anchor() {}
}  // namespace

std::string ModuleDirectory() {
    std::string path;
#if defined(_WIN32)
    // The module that holds Anchor is this DLL, wherever the host loaded it from.
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&Anchor), &module)) {
        return std::string();
    }
    wchar_t buffer[MAX_PATH] = {};
    DWORD length = GetModuleFileNameW(module, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return std::string();
    // Code unit by code unit, as every wide text of the stand-in; the path module turns it back.
    path = WideToRecordText(buffer);
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&Anchor), &info) == 0 || info.dli_fname == nullptr) {
        return std::string();
    }
    path = info.dli_fname;
#endif
    std::string::size_type separator = path.find_last_of("/\\");
    if (separator == std::string::npos) return std::string();
    return path.substr(0, separator);
}

}  // namespace standin
}  // namespace quil
