#pragma once

#include <cstdio>
#include <cstdlib>

// What has to hold for every input. The fuzzer keeps the input that it does not hold for.
#define REQUIRE(condition)                                                             \
    do {                                                                               \
        if (condition) break;                                                          \
        std::fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
        std::abort();                                                                  \
    } while (false)
