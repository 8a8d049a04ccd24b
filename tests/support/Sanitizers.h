/// @file
/// Which sanitizer the program is built with, as g++ and clang++ tell it: HOSTLINK_ADDRESS_SANITIZER,
/// HOSTLINK_THREAD_SANITIZER, each 0 or 1.
#pragma once

#ifdef __has_feature
#define HOSTLINK_HAS_FEATURE(feature) __has_feature(feature)
#else
#define HOSTLINK_HAS_FEATURE(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || HOSTLINK_HAS_FEATURE(address_sanitizer)
#define HOSTLINK_ADDRESS_SANITIZER 1
#else
#define HOSTLINK_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || HOSTLINK_HAS_FEATURE(thread_sanitizer)
#define HOSTLINK_THREAD_SANITIZER 1
#else
#define HOSTLINK_THREAD_SANITIZER 0
#endif
