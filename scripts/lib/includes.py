"""Reads the #include lines of the C++ files in a tree, and the list of its public headers."""

import re
from pathlib import Path
from typing import NamedTuple

FOLDERS = ("XelPushClient", "sandbox", "tools", "examples", "bench", "tests")
PUBLIC_HEADERS = "cmake/PublicHeaders.cmake"
SUFFIXES = (".h", ".hpp", ".cpp", ".cc")

_SKIPPED = re.compile(
    r'R"(?P<mark>[^()\s\\"]{0,16})\(.*?\)(?P=mark)"'  # raw strings
    r"|//[^\n]*"
    r"|/\*.*?\*/",
    re.DOTALL,
)
_STRING = re.compile(r'"(?:\\.|[^"\\\n])*"|' + r"'(?:\\.|[^'\\\n])'")
_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?P<open>[<"])(?P<path>[^>"\n]+)[>"]', re.MULTILINE)
_TOKEN = re.compile(_INCLUDE.pattern + "|" + _SKIPPED.pattern + "|" + _STRING.pattern, re.MULTILINE | re.DOTALL)


class Include(NamedTuple):
    line: int
    path: str
    own: bool  # one of this tree's files, rather than a library's


def includes_of(text):
    """The #include lines of a source text; those in comments and strings do not count."""
    found = []
    for match in _TOKEN.finditer(text):
        path = match.group("path")
        if path is None:
            continue
        own = match.group("open") == '"' or path.split("/")[0] in FOLDERS
        # The match may begin with blank lines' worth of white space only on its own line.
        line = text.count("\n", 0, match.start("path")) + 1
        found.append(Include(line, path, own))
    return found


def sources_of(root):
    """Every C++ file below the project's folders, as paths relative to `root`, sorted."""
    root = Path(root)
    found = []
    for folder in FOLDERS:
        for path in (root / folder).rglob("*"):
            if path.suffix in SUFFIXES and path.is_file():
                found.append(path.relative_to(root).as_posix())
    return sorted(found)


def include_graph(root):
    """Each C++ file's #include lines, by its path relative to `root`."""
    return {name: includes_of((Path(root) / name).read_text(encoding="utf-8")) for name in sources_of(root)}


def public_headers(root):
    """The headers that are installed for hosts, as paths relative to `root`."""
    text = re.sub(r"#[^\n]*", "", (Path(root) / PUBLIC_HEADERS).read_text(encoding="utf-8"))
    return set(re.findall(r"[\w./-]+\.h\b", text))
