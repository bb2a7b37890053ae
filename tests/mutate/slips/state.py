# SPDX-License-Identifier: Apache-2.0
"""What is stored of the schedules and their runs, and read back."""

from rows import Row

ROWS = []
