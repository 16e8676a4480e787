#pragma once

// Defines ZN_SANITIZED in builds under AddressSanitizer or ThreadSanitizer, which bring an allocator of their own.

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZN_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZN_SANITIZED
#endif
