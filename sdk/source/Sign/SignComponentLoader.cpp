#include "SignComponentLoader.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "QuilConfig.h"

using quil::platform::LibraryHandle;

const wchar_t kDefaultSecurityPathFile[] = L"..\\SafeGuard\\OruSafePath.dll";
const wchar_t kSecurityProxyFile[] = L"OruSafeProxy.dll";

namespace {

// The capacity of the directory buffer handed to the path component, in wide characters.
constexpr int32_t kDirectoryCapacity = 1024;

// The files the closed library is made of, in the order its path component expects them.
const wchar_t* const kSecurityFiles[] = {L"OruSafeProxy.dll", L"SignBox.dll", L"RqSign.dll",
                                         L"Report.dll", L"NetCore.dll"};
constexpr int32_t kSecurityFileCount = 5;

std::wstring FindDirectory() {
    std::wstring pathFile = QuilConfig::GetInstance()->securityPathFile;
    if (pathFile.empty()) pathFile = kDefaultSecurityPathFile;

    ISecurityPathProxy* pathProxy = nullptr;
    LibraryHandle pathLibrary = nullptr;
    // The handle is deliberately kept open: the closed library expects its path component to
    // stay loaded, and each load opens it afresh.
    if (!LoadSignComponent(pathFile, kSecurityPathProxyNumber, &pathProxy, &pathLibrary)) {
        PrintSecurityMessage("Load OruSafePath.dll error\n");
        return std::wstring();
    }

    std::vector<wchar_t> buffer(kDirectoryCapacity, L'\0');
    const wchar_t* names[kSecurityFileCount];
    for (int32_t i = 0; i < kSecurityFileCount; ++i) names[i] = kSecurityFiles[i];
    if (pathProxy->GetSDKDirectoryPath(buffer.data(), kDirectoryCapacity, names,
                                       kSecurityFileCount) == 0) {
        PrintSecurityMessage("GetSDKDirectoryPath error,please make sure the SDK is installed\n");
        return std::wstring();
    }
    // The library may fill the buffer to the brim; never read past it.
    buffer.back() = L'\0';
    return std::wstring(buffer.data());
}

}  // namespace

void PrintSecurityMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
}

bool LoadSignComponent(const std::wstring& file, int number, void** pointer,
                       LibraryHandle* handle) {
    if (*pointer != nullptr && *handle != nullptr) return true;

    std::wstring path;
    if (!quil::platform::AppendPath(quil::platform::ExecutableDirectory(), file, &path)) {
        *handle = nullptr;
        return false;
    }
    *handle = quil::platform::OpenLibrary(path);
    if (*handle == nullptr) return false;

    auto entry = reinterpret_cast<QueryInterfaceEntry>(
        quil::platform::FindLibraryEntry(*handle, kQueryInterfaceEntryName));
    if (entry != nullptr && entry(number, pointer) != 0 && *pointer != nullptr) return true;

    quil::platform::CloseLibrary(*handle);
    *pointer = nullptr;
    *handle = nullptr;
    return false;
}

std::wstring GetSDKDirectoryPath(bool printInstallPath) {
    std::wstring directory = FindDirectory();
    if (printInstallPath) {
        PrintSecurityMessage("SecuritySDK install path: %s\n",
                             quil::platform::WideToUtf8(directory).c_str());
    }
    return directory;
}

bool LoadSecurityProxy(const std::wstring& directory, int number, const char* failMessage,
                       void** proxy, LibraryHandle* proxyLibrary, IErrorCode** errorCode,
                       LibraryHandle* errorCodeLibrary) {
    if (directory.empty()) return false;

    // A directory too long for a path buffer leaves the path empty, and the loads below fail.
    std::wstring path;
    if (!quil::platform::AppendPath(directory, kSecurityProxyFile, &path)) path.clear();
    PrintSecurityMessage("The full path to OruSafeProxy.dll is:\n[%s]\n",
                         quil::platform::WideToUtf8(path).c_str());

    if (*errorCode == nullptr &&
        !LoadSignComponent(path, kErrorCodeNumber, errorCode, errorCodeLibrary)) {
        PrintSecurityMessage("Get IErrorCode error\n");
        return false;
    }
    if (*proxy == nullptr && !LoadSignComponent(path, number, proxy, proxyLibrary)) {
        PrintSecurityMessage("%s", failMessage);
        return false;
    }
    return true;
}
