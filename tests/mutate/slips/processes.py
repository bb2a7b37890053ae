# SPDX-License-Identifier: Apache-2.0
"""What becomes of a job's processes."""

from rows import Row

ROWS = []
