#pragma once

/// Everything is built with hidden visibility; a class or function that another library or a host uses is marked so.
#define ZN_EXPORT __attribute__((visibility("default")))

/// Clang's thread-safety annotations; nothing for other compilers.
#if defined(__clang__)
#define ZN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZN_THREAD_ANNOTATION(x)
#endif
