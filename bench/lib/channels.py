"""Subscribing to a long list of channels at once."""

import statistics

from harness import tell
from report import number
from subjects import CHANNELS


def channels(bench, options, report, prices):
    report.begin("channels", f"Subscribing to a list of channels: CPU ms until each answer was reported, median of "
                             f"{options.runs} runs")
    if not bench.has(CHANNELS.program):
        report.judge("ours must be built to be judged", False)
        return
    figures = {count: [] for count in options.channel_counts}
    for run in range(options.runs):
        for count in options.channel_counts:
            tell(f"channels, run {run + 1}, {count:,}")
            outcome = bench.run(CHANNELS, ["--mode", "sink", "--withhold", "0"], ["--count", str(count)])
            figures[count].append(outcome.subject["cpu_ms"])
    values = {count: statistics.median(found) for count, found in figures.items()}
    report.table(("channels", "CPU ms", "µs per channel"),
                 [(f"{count:,}", number(value, 1), number(value * 1e3 / count)) for count, value in values.items()])
    report.keep(cpu_ms={str(count): value for count, value in values.items()})
