// QUIL_API marks what the shared library exports. Everything else is hidden.
// Hosts include this through the public headers; they never define QUIL_SDK_BUILDING.
#pragma once

#if defined(_WIN32)
#if defined(QUIL_SDK_BUILDING)
#define QUIL_API __declspec(dllexport)
#elif defined(QUIL_SDK_STATIC)
#define QUIL_API
#else
#define QUIL_API __declspec(dllimport)
#endif
#else
#define QUIL_API __attribute__((visibility("default")))
#endif
