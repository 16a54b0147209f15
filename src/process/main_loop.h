// SPDX-License-Identifier: MIT
// Starts work on another thread, and posts its result back to the main loop.
#pragma once

#include <functional>

/// Runs `task` once on the main loop's thread, at default priority (0). Any thread may call it; the task sees
/// everything that the caller has written before. An exception in the task is printed and not passed on.
void post_to_main_loop(std::function<void()> task);

/// The same at the default idle priority (200).
void post_when_idle(std::function<void()> task);

/// Runs `body` on a new detached thread; `body` must own everything that it uses. An exception in it is
/// printed and not passed on. When no thread can be made, prints an error and returns false.
bool start_worker(std::function<void()> body);

/// Runs `task` at once. An exception in it is printed and not passed on. For callbacks that a library calls.
void run_guarded(const std::function<void()>& task);
