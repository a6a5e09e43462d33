#ifndef TRAVIK_SAME_COMPILER_H
#define TRAVIK_SAME_COMPILER_H

// Texts and lists cross the C++ interface as objects of the standard library: a front end of another compiler or
// runtime would link, run and corrupt the heap. This header stops it. (TRAVIK_SDK_BUILT_BY_MSVC comes from the
// package.)

#include <string>

#if defined(_WIN32) && !defined(TRAVIK_SDK_STATIC)
#if defined(TRAVIK_SDK_BUILT_BY_MSVC)
#if !defined(_MSC_VER) || !defined(_MSVC_STL_VERSION)
#error "This package is built by Visual C++: include travik.hpp or travik.h (docs/languages.md)"
#endif
#elif !defined(__GLIBCXX__) || defined(_UCRT)
#error "This package is built by MinGW-w64 GCC with msvcrt: include travik.hpp or travik.h (docs/languages.md)"
#endif
#endif

#endif
