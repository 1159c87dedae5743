// QuilSDK: the one header a host includes. It pulls in every public header of the SDK.
#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "IHttpClient.h"
#include "IQuilCookieStorage.h"
#include "IQuilCustomLog.h"
#include "IQuilStatistics.h"
#include "IWKWebBrowserProxy.h"
#include "LoginContext.h"
#include "QuilConfig.h"
#include "QuilExport.h"
#include "QuilRequest.h"
#include "QuilResponse.h"
#include "QuilSecurityProxies.h"
#include "QuilVersion.h"
#include "RetInfo.h"
