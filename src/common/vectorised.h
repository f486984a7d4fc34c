#pragma once

// One place decides how kernels use wider machines. A function marked OMBRIX_VECTORISED is compiled twice,
// for every machine of its kind and for those with AVX2; the dynamic loader chooses. Both forms give the same
// bits: nothing fuses a multiplication with an addition. What it calls must be OMBRIX_INLINE to be part of
// both.
//
// Only the GNU loader chooses, and not under the sanitizers, whose checks would run before they are set up;
// their builds test the common form. OMBRIX_ONE_FORM leaves that form alone in others, too.
#if !defined(OMBRIX_ONE_FORM)
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OMBRIX_ONE_FORM
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OMBRIX_ONE_FORM
#endif
#endif

#if __has_include(<features.h>)
#include <features.h>  // tells whether the C library is glibc
#endif

#if defined(__x86_64__) && defined(__GLIBC__) && !defined(OMBRIX_ONE_FORM)
#define OMBRIX_VECTORISED __attribute__((target_clones("avx2", "default")))
// For the few loops that need instructions of their own: two functions of one name, one marked with each.
#define OMBRIX_OWN_FORMS
#define OMBRIX_AVX2_FORM __attribute__((target("avx2")))
#define OMBRIX_COMMON_FORM __attribute__((target("default")))
#else
#define OMBRIX_COMMON_FORM
#define OMBRIX_VECTORISED
#endif

// Before a loop that reads and writes place by place, possibly in the same memory: no round depends on
// another.
// Clang takes its own form as an order, and complains where it does not vectorise.
#if defined(__GNUC__) && !defined(__clang__)
#define OMBRIX_INDEPENDENT_ROUNDS _Pragma("GCC ivdep")
#else
#define OMBRIX_INDEPENDENT_ROUNDS
#endif

#define OMBRIX_INLINE [[gnu::always_inline]] inline
