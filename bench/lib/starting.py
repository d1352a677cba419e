"""Starting a small host, and what it holds of the machine when it idles."""

import shutil
import statistics

from harness import tell
from report import number
from rest import RestBackend
from subjects import IDLE, IDLE_HEADLESS_HTTP

COLUMNS = (("main_ms", "exec to main, ms"), ("connected_ms", "to connected, ms"),
           ("first_message_ms", "to first message, ms"), ("resident_kb", "resident, KB"),
           ("private_kb", "written by it, KB"), ("libraries", "shared libraries"), ("threads", "threads"))


def start(bench, options, report, prices):
    """The folder is that of an earlier start, as after any but the first."""
    report.begin("start", f"Starting and idling: a small host after its first message, median of {options.start_runs} "
                          "starts")
    subjects = [subject for subject in bench.built(IDLE)]
    folders = {subject: bench.new_folder() for subject in subjects}
    figures = {subject: [] for subject in subjects}
    try:
        with RestBackend(bench.certificate()) as backend:
            for run in range(-1, options.start_runs):  # the first makes the stores, and counts for nothing
                tell(f"starting, {run + 1} of {options.start_runs}")
                for subject in subjects:
                    found = one_start(bench, subject, folders[subject], backend, run + 1)
                    if run >= 0:
                        figures[subject].append(found)
    finally:
        for folder in folders.values():
            shutil.rmtree(folder, ignore_errors=True)
    values = {subject: {key: statistics.median(found[key] for found in figures[subject]) for key, _ in COLUMNS}
              for subject in subjects}
    report.table(("host", *(words for _, words in COLUMNS)),
                 [(subject.title, *(number(values[subject][key], 1 if key.endswith("_ms") else 0) for key, _ in COLUMNS))
                  for subject in subjects])
    report.keep(hosts={subject.title: values[subject] for subject in subjects})


def one_start(bench, subject, folder, backend, index):
    rest = []
    if subject is IDLE_HEADLESS_HTTP:
        rest = ["--rest-port", str(backend.port), "--rest-certificate", bench.certificate().path]
    outcome = bench.run(subject, ["--mode", "blast", "--count", "1", "--first-index", str(index)],
                        ["--count", "1", *rest], wrapper=[bench.path("exec_clock")], state=folder)
    return outcome.subject
