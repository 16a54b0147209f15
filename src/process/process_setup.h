// SPDX-License-Identifier: MIT
// What this process is set up with once at start, and what a forked child takes back before it executes.
#pragma once

/// Call first in `main`. Opens missing standard descriptors on /dev/null, makes writing to a closed pipe an
/// error instead of a death, and raises the limit of open descriptors: each child keeps two of them for good.
void prepare_process();

/// In a forked child, before it executes: takes the signal disposition and the limit back. Async-signal-safe.
void restore_for_child();
