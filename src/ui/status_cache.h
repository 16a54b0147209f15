// SPDX-License-Identifier: MIT
// The process-wide cache of what the client says about each entry: written by workers, read by the main
// thread. A worker builds a map of its own and publishes it whole.
#pragma once

#include <functional>

/// Makes the cache empty and not loaded. A load that is under way will not publish any more: a newer one
/// follows.
void forget_status_cache();

/// True once a load has been published since the cache was last forgotten.
bool is_status_cache_loaded();

/// How many times the cache was forgotten: the number of a refresh, to be taken when it is asked for.
unsigned times_forgotten();

/// Runs `kill`, which ends every client there is. A load whose client it cut short asks again instead of
/// taking the missing answer for an empty one. For the worker that starts the sync, which would else kill the
/// first load.
void kill_clients_around_loads(const std::function<void()>& kill);
