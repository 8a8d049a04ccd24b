/// @file
/// Marks what the shared library shows; everything else is hidden.
#ifndef HOSTLINK_EXPORT_H
#define HOSTLINK_EXPORT_H

#if defined(__GNUC__)
#define HOSTLINK_EXPORT __attribute__((visibility("default")))
/// An inner class of a shown one, which is hidden all the same.
#define HOSTLINK_HIDDEN __attribute__((visibility("hidden")))
#else
#define HOSTLINK_EXPORT
#define HOSTLINK_HIDDEN
#endif

#endif
