// Finding and opening the closed security library's files, and binding their interfaces. Used
// only by the wrappers' loads, which QuilSignImpl::Start runs once; no locks. Messages go to
// standard output, not to the logger, because the library's installers read them there.
#pragma once

#include <string>

#include "Platform.h"
#include "QuilSecurityProxies.h"

// Where the path component lies when QuilConfig's securityPathFile is empty.
extern const wchar_t kDefaultSecurityPathFile[];
// The file that gives every interface except the path component's.
extern const wchar_t kSecurityProxyFile[];

// Opens file (relative to the host executable's directory, or absolute) and asks its
// "QueryInterface" for number. Succeeds at once when *pointer and *handle are both set already.
// On failure both are null (the file is closed again if it was opened). The handle is the
// caller's to keep; the interface belongs to the closed library.
bool LoadSignComponent(const std::wstring& file, int number, void** pointer,
                       quil::platform::LibraryHandle* handle);

template <typename Interface>
bool LoadSignComponent(const std::wstring& file, int number, Interface** pointer,
                       quil::platform::LibraryHandle* handle) {
    void* raw = *pointer;
    bool loaded = LoadSignComponent(file, number, &raw, handle);
    *pointer = static_cast<Interface*>(raw);
    return loaded;
}

// The directory of the closed library, asked of the path component named by QuilConfig's
// securityPathFile (opened afresh, never closed). Empty on failure, after printing why.
// printInstallPath adds the "SecuritySDK install path" line, as the traffic filter's load does.
std::wstring GetSDKDirectoryPath(bool printInstallPath);

// The steps every wrapper's load shares once the directory is known: prints the full path of
// the proxy file, binds IErrorCode (273) unless bound, then the interface number unless bound,
// printing failMessage when that fails. True when both are bound.
bool LoadSecurityProxy(const std::wstring& directory, int number, const char* failMessage,
                       void** proxy, quil::platform::LibraryHandle* proxyLibrary,
                       IErrorCode** errorCode, quil::platform::LibraryHandle* errorCodeLibrary);

template <typename Interface>
bool LoadSecurityProxy(const std::wstring& directory, int number, const char* failMessage,
                       Interface** proxy, quil::platform::LibraryHandle* proxyLibrary,
                       IErrorCode** errorCode, quil::platform::LibraryHandle* errorCodeLibrary) {
    void* raw = *proxy;
    bool loaded = LoadSecurityProxy(directory, number, failMessage, &raw, proxyLibrary, errorCode,
                                    errorCodeLibrary);
    *proxy = static_cast<Interface*>(raw);
    return loaded;
}

// Prints one message on standard output at once (the loader's messages are read there).
void PrintSecurityMessage(const char* format, ...) QUIL_PRINTF_FORMAT(1, 2);
