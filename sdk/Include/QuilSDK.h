// QuilSDK: the one header a host includes. It pulls in every public header of the SDK.
#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "IHttpClient.h"
#include "IQuilCustomLog.h"
#include "MD5.h"
#include "QuilExport.h"
#include "QuilVersion.h"
