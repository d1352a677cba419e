"""Publishing at QoS 1 while many publications stay unacknowledged."""

import statistics
from fractions import Fraction

from harness import tell
from prices import Budget, judge_budget
from report import number
from subjects import OURS_DISK, OURS_RAM, PUBLISHING

BATCH = 10  # publications that share one write and one read of acknowledgements
SHARE = Fraction(1, BATCH)
BUDGETS = {OURS_DISK: Budget(message=13, send=SHARE, receive=SHARE, pwrite=1),
           OURS_RAM: Budget(message=10, send=SHARE, receive=SHARE)}
GROWTH_LIMIT = 1.5  # what still counts as constant, given the noise of a shared machine


def publish(bench, options, report, prices):
    """The subjects take their own CPU time around the measured publications, so no start has to be deducted."""
    report.begin("publish", f"Publishing: CPU µs per QoS 1 publication, {options.publish_count:,} of them in batches of "
                            f"ten, median of {options.runs} runs")
    subjects = bench.built(PUBLISHING)
    figures = {subject: {unacked: [] for unacked in options.unacked} for subject in subjects}
    prices.sample()
    for run in range(options.runs):
        for unacked in options.unacked:
            tell(f"publishing, run {run + 1}, {unacked:,} unacknowledged")
            # Ours twice, at both ends of the round: their least figures are judged.
            for subject in (*subjects, *(subject for subject in subjects if subject.ours)):
                figures[subject][unacked].append(one_run(bench, options, subject, unacked))
    prices.sample()
    values = {subject: [statistics.median(figures[subject][k]) for k in options.unacked] for subject in subjects}
    report.table(("subject", *(f"{k:,} unacknowledged" for k in options.unacked), "last ÷ first"),
                 [(subject.title, *(number(v) for v in row), number(row[-1] / row[0])) for subject, row in values.items()])
    report.keep(unacked=options.unacked, us={subject.title: row for subject, row in values.items()})
    least = {subject: [min(figures[subject][k]) for k in options.unacked] for subject in subjects}
    for subject, budget in BUDGETS.items():
        if subject not in least:
            report.judge(f"{subject.title}: not built", False)
            continue
        judge_budget(report, f"{subject.title}, the dearest", max(least[subject]), budget, prices)
        growth = max(least[subject]) / min(least[subject])
        report.judge(f"{subject.title}, constant (dearest ÷ cheapest at most {GROWTH_LIMIT}): {number(growth)}",
                     growth <= GROWTH_LIMIT)


def one_run(bench, options, subject, unacked):
    total = unacked + options.publish_warm_up + options.publish_count
    outcome = bench.run(subject, ["--mode", "sink", "--withhold", str(unacked), "--count", str(total)],
                        ["--unacked", str(unacked), "--count", str(options.publish_count), "--warm-up",
                         str(options.publish_warm_up)])
    return outcome.subject["cpu_us_per_publication"]
