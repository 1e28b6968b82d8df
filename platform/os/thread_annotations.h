#pragma once
// Lock annotations that clang checks with -Wthread-safety; nothing elsewhere.
#if defined(__clang__)
#define VELA_ANNOTATE(x) __attribute__((x))
#else
#define VELA_ANNOTATE(x)
#endif
#define VELA_CAPABILITY(name) VELA_ANNOTATE(capability(name))
#define VELA_SCOPED_CAPABILITY VELA_ANNOTATE(scoped_lockable)
#define VELA_GUARDED_BY(lock) VELA_ANNOTATE(guarded_by(lock))
#define VELA_PT_GUARDED_BY(lock) VELA_ANNOTATE(pt_guarded_by(lock))
#define VELA_REQUIRES(...) VELA_ANNOTATE(requires_capability(__VA_ARGS__))
#define VELA_EXCLUDES(...) VELA_ANNOTATE(locks_excluded(__VA_ARGS__))
#define VELA_ACQUIRE(...) VELA_ANNOTATE(acquire_capability(__VA_ARGS__))
#define VELA_TRY_ACQUIRE(...) VELA_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define VELA_RELEASE(...) VELA_ANNOTATE(release_capability(__VA_ARGS__))
#define VELA_NO_THREAD_SAFETY_ANALYSIS VELA_ANNOTATE(no_thread_safety_analysis)
