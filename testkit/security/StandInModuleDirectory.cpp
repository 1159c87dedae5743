#include "StandInModuleDirectory.h"

#if defined(_WIN32)
#include <windows.h>
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
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&Anchor), &module)) {
        return std::string();
    }
    char buffer[MAX_PATH] = {};
    DWORD length = GetModuleFileNameA(module, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return std::string();
    path.assign(buffer, length);
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
