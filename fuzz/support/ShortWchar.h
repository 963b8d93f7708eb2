#pragma once

// Included ahead of every unit. The C++ library holds std::wstring ready for characters of four bytes; without its
// declarations of that, the compiler makes it anew for the two bytes that a character has here.
#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
