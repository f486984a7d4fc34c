#pragma once

#if defined(_WIN32)
#if defined(OMBRIX_BUILDING_LIBRARY)
#define OMBRIX_EXPORT __declspec(dllexport)
#else
#define OMBRIX_EXPORT __declspec(dllimport)
#endif
#else
#define OMBRIX_EXPORT __attribute__((visibility("default")))
#endif
