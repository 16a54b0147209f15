// SPDX-License-Identifier: MIT
// What the fuzz targets share: each one tries one text, and says which property must hold of what a rule made
// of it. Making texts and keeping those that break a property is left to libFuzzer.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Defined once in each target. Called with any bytes; most are no text in any encoding.
void try_text(std::string_view text);

/// Ends the run, and the fuzzer keeps the input, when a property does not hold.
inline void must_hold(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "This does not hold: %s\n", property);
    std::abort();
}
