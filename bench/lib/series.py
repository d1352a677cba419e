"""Runs that take turns, and the figures that remain of them."""

import statistics


def each_message(bench, subjects, runs, counts, standin_options, **how):
    """CPU microseconds per message of each subject, one figure a run: a long run minus the median of the short ones,
    which drops what starting, connecting and ending cost. `counts` is (few, many)."""
    few, many = counts
    cpu = {subject: {few: [], many: []} for subject in subjects}
    for _ in range(runs):
        for count in counts:
            for subject in subjects:
                outcome = bench.run(subject, ["--mode", "blast", "--count", str(count), *standin_options],
                                    ["--count", str(count)], **how)
                cpu[subject][count].append(outcome.cpu_us)
    return {subject: [(used - statistics.median(cpu[subject][few])) / (many - few) for used in cpu[subject][many]]
            for subject in subjects}


def medians(figures):
    return {subject: statistics.median(values) for subject, values in figures.items()}


def better_of(subjects, values):
    """The one of them with the least, or None where none was measured."""
    return min((subject for subject in subjects if subject in values), key=values.get, default=None)
