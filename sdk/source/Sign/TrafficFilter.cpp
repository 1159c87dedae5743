#include "TrafficFilter.h"

#include "QuilConfig.h"
#include "SignComponentLoader.h"

bool TrafficFilter::Load() {
    std::wstring directory = GetSDKDirectoryPath(true);
    if (!LoadSecurityProxy(directory, kTrafficFilterProxyNumber, "Get TrafficFIlter error\n",
                           &proxy, &proxyLibrary, &errorCode, &errorCodeLibrary)) {
        return false;
    }
    proxy->Start();

    IWKWebBrowserProxy* browserProxy = QuilConfig::GetInstance()->webBrowserProxy.load();
    if (browserProxy != nullptr) {
        uint32_t registered = 0;
        int32_t result = proxy->RegisterWebBrowserProxy(browserProxy, &registered);
        PrintSecurityMessage(
            "START SECURITY traffic-filter-proxy: %d, register webbrowser proxy: %lu\n",
            static_cast<int>(result), static_cast<unsigned long>(registered));
    }
    return true;
}
