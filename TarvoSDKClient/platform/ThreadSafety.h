// Names for clang's lock annotations; other compilers see nothing.
#ifndef TARVO_PLATFORM_THREAD_SAFETY_H
#define TARVO_PLATFORM_THREAD_SAFETY_H

#if defined(__clang__)
#define TARVO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TARVO_THREAD_ANNOTATION(x)
#endif

#define TARVO_CAPABILITY(name) TARVO_THREAD_ANNOTATION(capability(name))
#define TARVO_SCOPED_CAPABILITY TARVO_THREAD_ANNOTATION(scoped_lockable)
#define TARVO_GUARDED_BY(lock) TARVO_THREAD_ANNOTATION(guarded_by(lock))
#define TARVO_REQUIRES(...) TARVO_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TARVO_ACQUIRE(...) TARVO_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TARVO_RELEASE(...) TARVO_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TARVO_TRY_ACQUIRE(...) TARVO_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TARVO_NO_THREAD_SAFETY TARVO_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif
