#pragma once

#include <cstdio>
#include <cstdlib>

// A broken invariant is a finding: print it and abort, so that libFuzzer keeps the input
// and the replay test fails on it.
#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "FUZZ_CHECK failed at %s:%d: %s\n", __FILE__, __LINE__, #condition);                  \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
