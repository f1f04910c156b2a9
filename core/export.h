/// @file
/// The one macro that makes a name part of the library's binary interface.
#pragma once

#if defined(__GNUC__)
/// Marks a class or function as exported; everything else in the library is hidden.
#define QUOLSDK_API __attribute__((visibility("default")))
/// Keeps what is nested in an exported class to the library.
#define QUOLSDK_LOCAL __attribute__((visibility("hidden")))
#else
#define QUOLSDK_API
#define QUOLSDK_LOCAL
#endif
