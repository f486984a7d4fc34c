#pragma once

// OMBRIX_SANITIZED: 1 in builds with the address or the thread sanitizer, which are slow and bring an
// operator new of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OMBRIX_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OMBRIX_SANITIZED 1
#endif
#endif
#ifndef OMBRIX_SANITIZED
#define OMBRIX_SANITIZED 0
#endif

// OMBRIX_OWN_NEW: 1 where a program may bring an operator new of its own. The thread sanitizer's does not
// stand back for another.
#define OMBRIX_OWN_NEW 1
#if defined(__SANITIZE_THREAD__)
#undef OMBRIX_OWN_NEW
#define OMBRIX_OWN_NEW 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#undef OMBRIX_OWN_NEW
#define OMBRIX_OWN_NEW 0
#endif
#endif
