#pragma once

// OMBRIX_OWN_OBJECTS: for programs that are linked with the library's objects instead of the library.
#if defined(_WIN32) && defined(OMBRIX_OWN_OBJECTS)
#define OMBRIX_EXPORT
#elif defined(_WIN32)
#if defined(OMBRIX_BUILDING_LIBRARY)
#define OMBRIX_EXPORT __declspec(dllexport)
#else
#define OMBRIX_EXPORT __declspec(dllimport)
#endif
#else
#define OMBRIX_EXPORT __attribute__((visibility("default")))
#endif
