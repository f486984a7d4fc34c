#pragma once

// Names for clang's thread-safety attributes (-Wthread-safety); other compilers see nothing.
#if defined(__clang__)
#define OMBRIX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define OMBRIX_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(name) OMBRIX_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY OMBRIX_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(mutex) OMBRIX_THREAD_ATTRIBUTE(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) OMBRIX_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
#define ACQUIRE(...) OMBRIX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) OMBRIX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) OMBRIX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define REQUIRES(...) OMBRIX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) OMBRIX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) OMBRIX_THREAD_ATTRIBUTE(assert_capability(x))
#define RETURN_CAPABILITY(x) OMBRIX_THREAD_ATTRIBUTE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS OMBRIX_THREAD_ATTRIBUTE(no_thread_safety_analysis)
