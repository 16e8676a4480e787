#pragma once

// Nearly every header begins with this one, so it says what a program needs. What is included below is not there: that
// ends the compilation at once, before hundreds of errors that would follow from the one above it.
#if __cplusplus < 202002L
#error "ZNMessaging needs C++20: compile with -std=c++20 or newer"
#include "nothing, for it ends here"
#elif !defined(__cpp_exceptions)
#error "ZNMessaging needs exceptions: compile without -fno-exceptions"
#include "nothing, for it ends here"
#elif !defined(__cpp_rtti)
#error "ZNMessaging needs run-time type information: compile without -fno-rtti"
#include "nothing, for it ends here"
#endif

/// Everything is built with hidden visibility; a class or function that another library or a host uses is marked so.
#define ZN_EXPORT __attribute__((visibility("default")))

/// Clang's thread-safety annotations; nothing for other compilers.
#if defined(__clang__)
#define ZN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZN_THREAD_ANNOTATION(x)
#endif
