/// @file
/// Marks what the shared library shows; everything else is hidden.
#ifndef HOSTLINK_EXPORT_H
#define HOSTLINK_EXPORT_H

#if defined(__GNUC__)
#define HOSTLINK_EXPORT __attribute__((visibility("default")))
#else
#define HOSTLINK_EXPORT
#endif

#endif
