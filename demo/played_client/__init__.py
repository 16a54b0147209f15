# SPDX-License-Identifier: MIT
"""The played client: a mode that really copies files, to try Skyfold out, and a scripted one for tests."""
