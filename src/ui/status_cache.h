// SPDX-License-Identifier: MIT
// The process-wide cache of what the client says about each entry. It belongs to the main loop's thread: a
// worker builds a map of its own and posts it there.
#pragma once

/// Makes the cache empty and not loaded, and begins a new generation.
void forget_status_cache();

/// True once a load has been published since the cache was last forgotten.
bool status_cache_loaded();

/// Which refresh a load belongs to; one of an older generation is overtaken and counts no more. Any thread.
unsigned status_generation();
