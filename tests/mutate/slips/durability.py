# SPDX-License-Identifier: Apache-2.0
"""What is on the disk before it is told."""

from rows import Row

ROWS = []
