/** What the tests are built with. A sanitizer costs several times the time, and keeps what is freed. */
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
