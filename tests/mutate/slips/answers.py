# SPDX-License-Identifier: Apache-2.0
"""What an operator is told."""

from rows import Row

ROWS = []
