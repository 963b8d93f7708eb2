#pragma once

// Included ahead of every unit. The C++ library holds a compiled std::wstring for characters of four bytes. Without its
// declarations of that, the compiler makes one for the two bytes that a character has here.
#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
