#include "JsonUrlSign.h"

#include "SignComponentLoader.h"

bool JsonUrlSign::Load() {
    std::wstring directory = GetSDKDirectoryPath(false);
    // The JSON road reports its failure with the same words as the wide road, on purpose:
    // installers look for this one line.
    if (!LoadSecurityProxy(directory, kJsonSignProxyNumber, "Get IUrlSignProxy error\n", &proxy,
                           &proxyLibrary, &errorCode, &errorCodeLibrary)) {
        return false;
    }
    proxy->Start();
    return true;
}
