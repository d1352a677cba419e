"""Finds the tests that the sources define, so that documents name none that is not there."""

import re
from pathlib import Path

TESTS = "tests"
SCENARIOS = "tests/scenarios"

_DEFINITION = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.M)
_NAME = re.compile(r"`(\w+\.\w+|[\w-]+\.scenario)`")


def defined_tests(root):
    """Every `Suite.Test` of the tests' sources, and the file name of every scenario."""
    root = Path(root)
    found = {path.name for path in (root / SCENARIOS).glob("*.scenario")}
    for path in (root / TESTS).rglob("*"):
        if path.suffix in (".h", ".cpp"):
            found.update(".".join(names) for names in _DEFINITION.findall(path.read_text(encoding="utf-8")))
    return found


def tests_named_in(text):
    """Those that a document's text names, in backticks."""
    return _NAME.findall(text)
