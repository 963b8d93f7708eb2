#pragma once

#include <cstdio>
#include <cstdlib>

// What has to be true for every input. The fuzzer keeps an input for which it is not.
#define REQUIRE(condition)                                                             \
    do {                                                                               \
        if (condition) break;                                                          \
        std::fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
        std::abort();                                                                  \
    } while (false)
