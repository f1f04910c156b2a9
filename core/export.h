/// @file
/// The one macro that makes a name part of the library's binary interface.
#pragma once

#if defined(__GNUC__)
/// Marks a class or function as exported; everything else in the library is hidden.
#define QUOLSDK_API __attribute__((visibility("default")))
#else
#define QUOLSDK_API
#endif
