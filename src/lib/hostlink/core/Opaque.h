/// @file
/// Numbers of which the compiler is to know nothing.
#pragma once

#include <stddef.h>

/// The same number, whose range and whose way here the compiler forgets. It costs no instruction.
static inline size_t opaque(size_t number) {
#if defined(__GNUC__)
    __asm__("" : "+r"(number));
#endif
    return number;
}
