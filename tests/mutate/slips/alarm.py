# SPDX-License-Identifier: Apache-2.0
"""What rings at a due time and after a step of the clock."""

from rows import Row

ROWS = []
