// How the stand-in's two modules mark what they export; everything else stays hidden.
#pragma once

#if defined(_WIN32)
#define QUIL_STANDIN_EXPORT extern "C" __declspec(dllexport)
#else
#define QUIL_STANDIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif
