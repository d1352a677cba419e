"""A flood of messages from 30 octets to 300 KB."""

from harness import tell
from report import number, ratio
from series import each_message, medians
from subjects import FLOOR_PLAIN, OURS, PEERS

SIZES = (30, 300, 3_000, 30_000, 300_000)
FLOOD_OCTETS = 60_000_000  # of a long run, which the stand-in holds in memory
MOST = 100_000


def sizes(bench, options, report, prices):
    report.begin("sizes", f"Flood by size of the payload: CPU µs per message, median of {options.runs} runs")
    subjects = bench.built((OURS, *PEERS, FLOOR_PLAIN))
    values = {subject: [] for subject in subjects}
    for size in SIZES:
        tell(f"messages of {size:,} octets")
        many = max(min(FLOOD_OCTETS // size, MOST, options.count), 20)
        counts = (max(many // 20, 2), many)
        found = medians(each_message(bench, subjects, options.runs, counts, ["--payload-bytes", str(size)]))
        for subject in subjects:
            values[subject].append(found[subject])
    rows = [(subject.title, *(number(value) for value in values[subject])) for subject in subjects]
    if OURS in values and FLOOR_PLAIN in values:
        rows.append(("ours ÷ floor", *(ratio(o, f) for o, f in zip(values[OURS], values[FLOOR_PLAIN]))))
    report.table(("subject", *(f"{size:,} octets" for size in SIZES)), rows)
    report.keep(octets=SIZES, us={subject.title: values[subject] for subject in subjects})
