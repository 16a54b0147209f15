# SPDX-License-Identifier: MIT
"""The played client: it really copies files, to try Skyfold out without an account."""
