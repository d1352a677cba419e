"""Very many clients in one process."""

import statistics
from typing import NamedTuple

from harness import tell
from prices import Budget, judge_budget
from report import number
from subjects import GATEWAY

COLUMNS = (("kb_each", "KB each, idle"), ("kb_each_after", "after a message"), ("descriptors_each", "descriptors each"),
           ("threads", "threads"), ("open_s", "open all, s"), ("connect_s", "connect all, s"),
           ("connect_cpu_us_each", "to connect, CPU µs each"), ("fan_out_cpu_us_each", "a message to all, CPU µs each"))
DIGITS = {"threads": 0, "kb_each": 1, "kb_each_after": 1}

MOST_DESCRIPTORS_BESIDE = 4  # that the clients share, however many they are
# What the first clients hold while all of them shake hands together is spread over the others, and what the process does
# by itself over their messages: fewer than this are judged by descriptors and without TLS alone.
ENOUGH_CLIENTS = 1_000


class Target(NamedTuple):
    kilobytes: float  # of one client that idles
    fan_out: Budget   # one message of a message to all; most of it is memory that no cache holds


TARGETS = {"plainly": Target(40, Budget(message=55, send=1, receive=1)),
           "by TLS": Target(65, Budget(message=70, send=1, receive=1))}


def judge(report, clients, words, runs, prices):
    target = TARGETS[words]
    descriptors = max(run["descriptors_each"] for run in runs) * clients
    report.judge(f"descriptors of {clients:,} clients {words}: {number(descriptors, 0)}, at most one each and "
                 f"{MOST_DESCRIPTORS_BESIDE}", descriptors <= clients + MOST_DESCRIPTORS_BESIDE)
    if clients >= ENOUGH_CLIENTS or words == "plainly":
        kilobytes = min(run["kb_each_after"] for run in runs)
        report.judge(f"a client {words}: {number(kilobytes, 1)} KB, at most {target.kilobytes}",
                     kilobytes <= target.kilobytes)
    if clients >= ENOUGH_CLIENTS:
        judge_budget(report, f"a message to all {words}", min(run["fan_out_cpu_us_each"] for run in runs),
                     target.fan_out, prices)


def gateway(bench, options, report, prices):
    report.begin("gateway", f"{options.clients:,} clients in one process, median of {options.runs} runs")
    if not bench.has(GATEWAY.program):
        report.judge("ours must be built to be judged", False)
        return
    count = ["--count", str(options.clients)]
    prices.sample()
    values, found_by = {}, {}
    for words, tls in (("plainly", False), ("by TLS", True)):
        found = []
        for run in range(options.runs):
            tell(f"gateway, run {run + 1}, {words}")
            found.append(bench.run(GATEWAY, ["--mode", "crowd", *count], count, tls=tls).subject)
        found_by[words] = found
        values[words] = {key: statistics.median(one[key] for one in found) for key, _ in COLUMNS}
    report.table(("connections", *(words for _, words in COLUMNS)),
                 [(words, *(number(value[key], DIGITS.get(key, 2)) for key, _ in COLUMNS))
                  for words, value in values.items()])
    for words, runs in found_by.items():
        judge(report, options.clients, words, runs, prices)
    report.keep(**{words.replace(" ", "_"): value for words, value in values.items()})
