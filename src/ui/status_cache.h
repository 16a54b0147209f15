// SPDX-License-Identifier: MIT
// The process-wide cache of the statuses that the client reports. It belongs to the main loop's thread: a
// worker fills a map of its own and posts it there.
#pragma once

/// Resets the cache to "not loaded" and begins a new generation.
void forget_status_cache();

/// True if a load has been published since the cache was last reset.
bool status_cache_loaded();

/// The number of the newest refresh; the result of a load for an older one is stale and ignored. Any thread.
unsigned status_generation();
