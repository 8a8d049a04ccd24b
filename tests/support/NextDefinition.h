/// @file
/// What a program's own definition of a C function stands in front of.
#pragma once

#include <cstring>

#include <dlfcn.h>

/// The definition of `name` that is called next: a sanitizer's, else a library's, else nullptr. g++ brings its
/// sanitizers as libraries; clang++ links them into the program, where their functions have given way to the program's
/// own and are left under a name that g++'s have too. May be called before any constructor has run.
inline void* nextDefinition(const char* name) {
    char sanitizers[64] = "__interceptor_";
    std::strncat(sanitizers, name, sizeof(sanitizers) - sizeof("__interceptor_"));
    void* const found = ::dlsym(RTLD_DEFAULT, sanitizers);
    return found != nullptr ? found : ::dlsym(RTLD_NEXT, name);
}
