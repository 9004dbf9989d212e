#pragma once

// Every header that users include begins with this one. The message is the only one of interest,
// so the compiler is stopped behind it.
#if __cplusplus < 202002L
#error "Velto needs C++20: compile with -std=c++20 or later"
#include <velto/stop_here>
#endif

#include <version>

// Some settings of the standard library change its containers and texts: a program and a library
// that disagree crash when they pass one to the other. The library defines the names of the
// settings it was built with, and whoever includes its headers refers to those of his own, so that
// such a program does not link, and the name that is missing says why.
extern "C" {
extern const char velto_was_built_with_GLIBCXX_DEBUG;
extern const char velto_was_built_without_GLIBCXX_DEBUG;
extern const char velto_was_built_with_GLIBCXX_USE_CXX11_ABI;
extern const char velto_was_built_without_GLIBCXX_USE_CXX11_ABI;
}

namespace velto::detail {

// Variables of different names, lest one of a right setting stand in for one of a wrong setting.
// Neither the compiler nor the linker drops them.
#ifdef _GLIBCXX_DEBUG
[[gnu::used, gnu::retain, gnu::visibility("hidden")]] inline const char *const kWithDebug =
    &velto_was_built_with_GLIBCXX_DEBUG;
#else
[[gnu::used, gnu::retain, gnu::visibility("hidden")]] inline const char *const kWithoutDebug =
    &velto_was_built_without_GLIBCXX_DEBUG;
#endif

#if defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
[[gnu::used, gnu::retain, gnu::visibility("hidden")]] inline const char *const kWithoutCxx11Abi =
    &velto_was_built_without_GLIBCXX_USE_CXX11_ABI;
#else
[[gnu::used, gnu::retain, gnu::visibility("hidden")]] inline const char *const kWithCxx11Abi =
    &velto_was_built_with_GLIBCXX_USE_CXX11_ABI;
#endif

} // namespace velto::detail
