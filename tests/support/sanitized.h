/*
 * sanitized.h -- how much more processor time a test may take because a sanitizer watches it
 */
#pragma once

#ifdef __has_feature
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVANE_IS_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVANE_IS_SANITIZED
#endif

#ifdef ORVANE_IS_SANITIZED
inline constexpr int kSanitizerFactor = 10;
#else
inline constexpr int kSanitizerFactor = 1;
#endif
