/** The sanitizer of this build. It slows tests down several times, and keeps freed memory. */
#ifndef VORNISA_TESTS_SANITIZERS_H
#define VORNISA_TESTS_SANITIZERS_H

#if defined(VORNISA_ADDRESS_SANITIZER)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#if defined(VORNISA_THREAD_SANITIZER)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
constexpr bool kSanitized = kAddressSanitizer || kThreadSanitizer;

#endif
