#include "UrlSign.h"

#include "SignComponentLoader.h"

bool UrlSign::Load() {
    std::wstring directory = GetSDKDirectoryPath(false);
    if (!LoadSecurityProxy(directory, kUrlSignProxyNumber, "Get IUrlSignProxy error\n", &proxy,
                           &proxyLibrary, &errorCode, &errorCodeLibrary)) {
        return false;
    }
    proxy->Start();
    return true;
}
