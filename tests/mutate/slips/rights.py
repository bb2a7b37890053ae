# SPDX-License-Identifier: Apache-2.0
"""Who may do what."""

from rows import Row

ROWS = []
