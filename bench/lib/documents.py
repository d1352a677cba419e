"""Puts the tables of a run into docs/performance.md, between the marks that stand there for each section."""

import re

from harness import tell


def write_documents(report, path):
    """Leaves the tables of sections that were not run as they are."""
    text = path.read_text(encoding="utf-8")
    for name, table in report.tables.items():
        body = f"{table}\n*{report.places[name]}*\n"
        text, count = re.subn(rf"(<!-- measured: {name} -->\n).*?(<!-- end -->)",
                              lambda match, body=body: f"{match[1]}\n{body}\n{match[2]}", text, flags=re.S)
        if count != 1:
            tell(f"{path.name} has {count} places for the section {name}")
    path.write_text(text, encoding="utf-8")
