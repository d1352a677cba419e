"""Receiving: a flood, a flood by TLS, and one message a turn. Three figures that are never mixed."""

import os
import re
import subprocess
from fractions import Fraction

from harness import RunFailed, tell
from prices import Budget, judge_budget
from report import number, ratio
from series import better_of, each_message, medians
from subjects import (BARE_MOSQUITTO, BARE_SOCKET, FLOOR_PLAIN, FLOOR_SQLITE, OURS, PAHO, PEERS, MOSQUITTO, RECEIVING)

TURN_OF_FLOOD = 24  # messages that share one commit and one write
FLOOD_BUDGET = Budget(message=3.8, send=Fraction(1, TURN_OF_FLOOD), receive=Fraction(1, TURN_OF_FLOOD),
                      pwrite=Fraction(1, TURN_OF_FLOOD))
FLOOD_TIMES_BELOW_PEER = 8.0
TURN_BUDGET = Budget(message=3, send=1, receive=2, pwrite=1, wake=1, alone=True)
TURN_SYSTEM_CALLS = 4.5
TURN_INTERVAL_US = 500


def compare(report, figures):
    """One row a subject: median, least, most, and how it stands to the floor and to us."""
    values = medians(figures)
    floor = values.get(FLOOR_PLAIN)
    ours = values.get(OURS)
    report.table(("subject", "CPU µs per message", "least", "most", "÷ floor", "÷ ours"),
                 [(subject.title, number(values[subject]), number(min(runs)), number(max(runs)),
                   ratio(values[subject], floor), ratio(values[subject], ours)) for subject, runs in figures.items()])
    report.keep(us={subject.title: value for subject, value in values.items()})
    return values


def built_with_ours(bench, report, subjects):
    """The subjects that are there; ours and a peer must be, or nothing can be judged."""
    found = bench.built(subjects)
    if OURS not in found or not any(peer in found for peer in PEERS):
        report.judge("ours and a peer must be built to be compared", False)
    return found


def flood(bench, options, report, prices):
    report.begin("flood", f"Flood: messages as fast as the socket takes them ({options.runs} runs of {options.count:,}, "
                          f"less runs of {options.few:,})")
    subjects = built_with_ours(bench, report, (*RECEIVING, BARE_MOSQUITTO, BARE_SOCKET))
    prices.sample()
    figures = each_message(bench, subjects, options.runs, (options.few, options.count), [])
    prices.sample()
    values = compare(report, figures)
    least = {subject: min(runs) for subject, runs in figures.items()}
    peer = better_of(PEERS, values)
    if OURS not in values or peer is None:
        return
    judge_budget(report, "ours, a message of a flood", least[OURS], FLOOD_BUDGET, prices)
    times = least[peer] / least[OURS]
    report.judge(f"ours at least {FLOOD_TIMES_BELOW_PEER:g} times below the better peer ({peer.title}): "
                 f"{number(times, 1)}", times >= FLOOD_TIMES_BELOW_PEER)


def tls(bench, options, report, prices):
    report.begin("tls", f"Flood by TLS 1.3 ({options.runs} runs of {options.count:,}, less runs of {options.few:,})")
    subjects = built_with_ours(bench, report, RECEIVING)
    compare(report, each_message(bench, subjects, options.runs, (options.few, options.count), [], tls=True))


def turn(bench, options, report, prices):
    many = options.turn_count
    few = max(many // 10, 1)
    report.begin("turn", f"One message a turn: one each {TURN_INTERVAL_US} µs, none before the last is acknowledged "
                         f"({options.runs} runs of {many:,}, less runs of {few:,})")
    subjects = built_with_ours(bench, report, RECEIVING)
    standin = ["--interval-us", str(TURN_INTERVAL_US), "--in-flight", "1"]
    prices.sample()
    figures = each_message(bench, subjects, options.runs, (few, many), standin)
    compare(report, figures)
    prices.sample()
    calls, tool = system_calls(bench, [s for s in subjects if s in (OURS, *PEERS, FLOOR_PLAIN)], (few, many), standin)
    report.table(("subject", f"system calls per message ({tool})"),
                 [(subject.title, number(each)) for subject, each in calls.items()])
    report.keep(system_calls={subject.title: each for subject, each in calls.items()})
    if OURS in figures:
        judge_budget(report, "ours, one message a turn", min(figures[OURS]), TURN_BUDGET, prices)
        report.judge(f"ours at most {TURN_SYSTEM_CALLS:g} system calls a message: {number(calls[OURS])}",
                     calls[OURS] <= TURN_SYSTEM_CALLS)


def system_calls(bench, subjects, counts, standin_options):
    """One message in flight at a time: a busy machine slows the run down, but never makes two messages one turn."""
    few, many = counts
    tool, wrapper, read_count = system_call_counter(bench.state_root)
    found = {}
    for subject in subjects:
        tell(f"counting system calls: {subject.title}")
        calls = {}
        for count in counts:
            bench.run(subject, ["--mode", "blast", "--count", str(count), *standin_options], ["--count", str(count)],
                      wrapper=wrapper)
            calls[count] = read_count()
        found[subject] = (calls[many] - calls[few]) / (many - few)
    return found, tool


def system_call_counter(state_root):
    """perf where the machine lets it count, because it hardly slows the subject; else strace."""
    out = os.path.join(state_root, "bench-system-calls.txt")
    with_perf = ["perf", "stat", "-x,", "-e", "raw_syscalls:sys_enter", "-o", out]
    try:
        probe = subprocess.run(with_perf + ["true"], capture_output=True, check=False)
        if probe.returncode == 0 and _found(out, r"^(\d+),.*raw_syscalls") is not None:
            return "perf stat", with_perf, lambda: _count(out, r"^(\d+),.*raw_syscalls")
    except OSError:
        pass
    return ("strace", ["strace", "-c", "-f", "-o", out],
            lambda: _count(out, r"^\s*100\.00\s+\S+\s+\S+\s+(\d+).*total$"))


def _found(path, pattern):
    with open(path, encoding="utf-8") as text:
        match = re.search(pattern, text.read(), re.M)
    return int(match[1]) if match else None


def _count(path, pattern):
    count = _found(path, pattern)
    os.unlink(path)
    if count is None:
        raise RunFailed("the system calls were not counted")
    return count
