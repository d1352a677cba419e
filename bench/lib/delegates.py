"""Telling many delegates of one message."""

import json
import subprocess

from harness import RunFailed
from report import number


def delegates(bench, options, report, prices):
    report.begin("delegates", "Fan-out: ns to tell the handler block and the delegates of one message")
    if not bench.has("micro_bench"):
        report.note("micro_bench is not built, so this was not measured.")
        return
    done = subprocess.run([bench.path("micro_bench"), "--benchmark_filter=^reportOneMessage/", "--benchmark_format=json",
                           f"--benchmark_repetitions={options.runs}", "--benchmark_report_aggregates_only=true"],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RunFailed(f"micro_bench ended with {done.returncode}: {done.stderr.strip()}")
    values = {}
    for entry in json.loads(done.stdout)["benchmarks"]:
        if entry.get("error_occurred"):
            raise RunFailed(f"{entry['name']}: {entry['error_message']}")
        if entry.get("aggregate_name", "median") == "median":
            values[int(entry["run_name"].split("/")[1])] = entry["cpu_time"]
    base = values.get(0, 0)
    report.table(("delegates", "CPU ns per message", "ns per delegate"),
                 [(f"{count}", number(value, 0), number((value - base) / count, 1) if count else "-")
                  for count, value in sorted(values.items())])
    report.keep(ns={str(count): value for count, value in values.items()})
