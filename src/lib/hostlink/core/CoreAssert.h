/// @file
/// The report of an assertion that holds in every build: the one hard stop of the function core.
#pragma once

#undef NDEBUG
#include <assert.h>

#if defined(__NEWLIB__)
#define HOSTLINK_CORE_ASSERT(condition)                                                                                \
    ((condition) ? (void)0 : __assert_func(__FILE__, __LINE__, __func__, #condition))
#else
// Not assert() itself: in C++ that reports the signature, and the report is to name the function as C would.
#define HOSTLINK_CORE_ASSERT(condition)                                                                                \
    ((condition) ? (void)0 : __assert_fail(#condition, __FILE__, __LINE__, __func__))
#endif
