// Which sanitizer a test is built with; GCC and clang tell it in different ways.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_SANITIZERS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_SANITIZERS_HPP

#if defined(__has_feature)
#define CU_HAS_FEATURE(name) __has_feature(name)
#else
#define CU_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || CU_HAS_FEATURE(address_sanitizer)
#define CU_ADDRESS_SANITIZER 1
#else
#define CU_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || CU_HAS_FEATURE(thread_sanitizer)
#define CU_THREAD_SANITIZER 1
#else
#define CU_THREAD_SANITIZER 0
#endif

/// Whether the test runs at this machine's own speed: nothing checks each access or emulates each
/// step.
#if CU_ADDRESS_SANITIZER || CU_THREAD_SANITIZER || defined(__arm__)
#define CU_OWN_SPEED 0
#else
#define CU_OWN_SPEED 1
#endif

#endif
