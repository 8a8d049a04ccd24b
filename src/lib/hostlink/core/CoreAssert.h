/// @file
/// The one hard stop of the function core, in every build. A firmware may put its own in place: `HOSTLINK_ASSERT` in
/// `HostLinkLib.h`.
#pragma once

#ifndef HOSTLINK_ASSERT

#undef NDEBUG
#include <assert.h>

#if defined(__NEWLIB__)
#define HOSTLINK_ASSERT(condition) ((condition) ? (void)0 : __assert_func(__FILE__, __LINE__, __func__, #condition))
#else
// Not assert() itself: in C++ that reports the signature, and the report is to name the function as C would.
#define HOSTLINK_ASSERT(condition) ((condition) ? (void)0 : __assert_fail(#condition, __FILE__, __LINE__, __func__))
#endif

#endif
