"""Runs NumPy's own tests of its linear algebra, and shows what the process has mapped when they are done."""

import sys
from pathlib import Path

import pytest

# Warnings of this combination of packages are not what is asked here; no cache is left in the folder.
status = pytest.main(["-q", "-p", "no:cacheprovider", "-W", "ignore", "--pyargs", "numpy.linalg"])
print("== maps")
print(Path("/proc/self/maps").read_text())
sys.exit(status)
