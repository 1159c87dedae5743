// QUIL_CURL_API marks what the curl adapter library exports; everything else is hidden.
// Hosts include this through CurlHttpClient.h and never define QUIL_CURL_BUILDING.
#pragma once

#if defined(_WIN32)
#if defined(QUIL_CURL_BUILDING)
#define QUIL_CURL_API __declspec(dllexport)
#else
#define QUIL_CURL_API __declspec(dllimport)
#endif
#else
#define QUIL_CURL_API __attribute__((visibility("default")))
#endif
