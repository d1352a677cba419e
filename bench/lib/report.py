"""What a run has found: tables for people, data for the plots, verdicts for --check."""

import os


class Report:
    def __init__(self):
        self.missed = False
        self.tables = {}  # section -> its tables as Markdown
        self.data = {}    # section -> what it found, for --save and the plots
        self.places = {}  # section -> on what machine, and how busy that was
        self._section = None

    def begin(self, section, heading):
        """What follows belongs to that section."""
        self._section = section
        self.tables[section] = ""
        self.data[section] = {}
        self.places[section] = machine_words()
        print(f"\n## {heading}\n")

    def table(self, header, rows):
        """The first column is text, the others are figures."""
        lines = ["| " + " | ".join(header) + " |", "|---" + "|---:" * (len(header) - 1) + "|"]
        lines += ["| " + " | ".join(row) + " |" for row in rows]
        text = "\n".join(lines) + "\n"
        earlier = self.tables[self._section]
        self.tables[self._section] = f"{earlier}\n{text}" if earlier else text
        print(text)

    def keep(self, **found):
        self.data[self._section].update(found)

    def note(self, text):
        print(f"{text}\n")

    def judge(self, text, met):
        self.missed |= not met
        print(f"- {'met' if met else 'MISSED'}: {text}")


def number(value, digits=2):
    """Thousands with commas, and no digits that the figure does not carry."""
    if value >= 1000:
        return f"{value:,.0f}"
    if value >= 100:
        digits = min(digits, 0)
    elif value >= 10:
        digits = min(digits, 1)
    return f"{value:.{digits}f}"


def ratio(value, base):
    return number(value / base) if base and base > 0 else "-"


def machine_words():
    model = "unknown processor"
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("model name"):
                model = " ".join(line.split(":", 1)[1].split())
                break
    return (f"{os.cpu_count()} processors ({model}), Linux {os.uname().release}, "
            f"load {os.getloadavg()[0]:.1f} when it began")
