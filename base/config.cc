#include "base/config.h"

#ifdef _GLIBCXX_DEBUG
const char velto_was_built_with_GLIBCXX_DEBUG = 1;
#else
const char velto_was_built_without_GLIBCXX_DEBUG = 1;
#endif

#if defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
const char velto_was_built_without_GLIBCXX_USE_CXX11_ABI = 1;
#else
const char velto_was_built_with_GLIBCXX_USE_CXX11_ABI = 1;
#endif
