"""Very many clients in one process."""

import statistics

from harness import tell
from report import number
from subjects import GATEWAY

COLUMNS = (("kb_each", "KB each, idle"), ("kb_each_after", "after a message"), ("descriptors_each", "descriptors each"),
           ("threads", "threads"), ("open_s", "open all, s"), ("connect_s", "connect all, s"),
           ("connect_cpu_us_each", "to connect, CPU µs each"), ("fan_out_cpu_us_each", "a message to all, CPU µs each"))
DIGITS = {"threads": 0, "kb_each": 1, "kb_each_after": 1}


def gateway(bench, options, report, prices):
    report.begin("gateway", f"{options.clients:,} clients in one process, median of {options.runs} runs")
    if not bench.has(GATEWAY.program):
        report.judge("ours must be built to be judged", False)
        return
    count = ["--count", str(options.clients)]
    values = {}
    for words, tls in (("plainly", False), ("by TLS", True)):
        found = []
        for run in range(options.runs):
            tell(f"gateway, run {run + 1}, {words}")
            found.append(bench.run(GATEWAY, ["--mode", "crowd", *count], count, tls=tls).subject)
        values[words] = {key: statistics.median(one[key] for one in found) for key, _ in COLUMNS}
    report.table(("connections", *(words for _, words in COLUMNS)),
                 [(words, *(number(value[key], DIGITS.get(key, 2)) for key, _ in COLUMNS))
                  for words, value in values.items()])
    report.keep(**{words.replace(" ", "_"): value for words, value in values.items()})
