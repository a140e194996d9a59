#pragma once

/// Exports a name from the library; all others are hidden. tests/library/exports compares the exported names
/// with the installed headers.
#define GEOLOOM_EXPORT __attribute__((visibility("default")))

/// Lock annotations, checked by clang's -Wthread-safety and empty elsewhere.
#if defined(__clang__)
#define GEOLOOM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define GEOLOOM_THREAD_ANNOTATION(x)
#endif
#define GEOLOOM_CAPABILITY(x) GEOLOOM_THREAD_ANNOTATION(capability(x))
#define GEOLOOM_SCOPED_CAPABILITY GEOLOOM_THREAD_ANNOTATION(scoped_lockable)
#define GEOLOOM_GUARDED_BY(x) GEOLOOM_THREAD_ANNOTATION(guarded_by(x))
#define GEOLOOM_REQUIRES(...) GEOLOOM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define GEOLOOM_ACQUIRE(...) GEOLOOM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define GEOLOOM_TRY_ACQUIRE(...) GEOLOOM_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define GEOLOOM_RELEASE(...) GEOLOOM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
