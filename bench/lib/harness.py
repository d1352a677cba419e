"""Runs one subject against one stand-in, each a process of its own."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
from pathlib import Path
from typing import NamedTuple

PATIENCE_SECONDS = 180
PEER_ATTEMPTS = 3


class RunFailed(Exception):
    """A run that does not count: a message was lost, or a program did not come to its end."""


class Subject(NamedTuple):
    title: str  # as the tables and the plots call it
    program: str
    options: tuple = ()
    ours: bool = False


class Outcome(NamedTuple):
    cpu_us: float  # of the subject: user and system, all threads
    subject: dict
    standin: dict


class Certificate(NamedTuple):
    path: str
    key: str


def tell(text):
    """Progress goes where it does not mix with the tables."""
    print(f"run_bench: {text}", file=sys.stderr, flush=True)


class Bench:
    """Where the programs and the stores are. Leaves nothing behind when it is used as a context."""

    def __init__(self, bin_dir, state_root):
        self.bin_dir = Path(bin_dir)
        self.state_root = state_root
        self._certificate = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self._certificate:
            shutil.rmtree(os.path.dirname(self._certificate.path), ignore_errors=True)

    def path(self, program):
        return str(self.bin_dir / program)

    def has(self, program):
        return os.access(self.path(program), os.X_OK)

    def built(self, subjects):
        return [subject for subject in subjects if self.has(subject.program)]

    def new_folder(self):
        return tempfile.mkdtemp(prefix="bench-state-", dir=self.state_root)

    def certificate(self):
        """One for 127.0.0.1, signed by itself; made once."""
        if self._certificate is None:
            folder = self.new_folder()
            self._certificate = Certificate(os.path.join(folder, "certificate.pem"), os.path.join(folder, "key.pem"))
            made = subprocess.run(
                ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days",
                 "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout",
                 self._certificate.key, "-out", self._certificate.path],
                capture_output=True, text=True, check=False)
            if made.returncode != 0:
                raise RunFailed(f"openssl made no certificate: {made.stderr.strip()}")
        return self._certificate

    def ask(self, program, *options):
        """What a program that needs no stand-in says: its last line, as JSON."""
        done = subprocess.run([self.path(program), *options], capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RunFailed(f"{program} ended with {done.returncode}: {done.stderr.strip()}")
        return json.loads(done.stdout.splitlines()[-1])

    def run(self, subject, standin_options, subject_options, **how):
        """As run_once. A peer's run that does not count is made again; one of ours that fails is a fault."""
        for attempts_left in range(PEER_ATTEMPTS - 1, -1, -1):
            try:
                return self.run_once(subject, standin_options, subject_options, **how)
            except RunFailed as failure:
                if subject.ours or attempts_left == 0:
                    raise
                tell(f"again: {failure}")

    def run_once(self, subject, standin_options, subject_options, wrapper=(), tls=False, state=None):
        """`wrapper` goes before the subject's command; `state` is a folder of an earlier run, in place of a new one."""
        folder = state or self.new_folder()
        if tls:
            standin_options = [*standin_options, "--tls", self.certificate().path, "--tls-key", self.certificate().key]
            subject_options = [*subject_options, "--tls", self.certificate().path]
        standin = subprocess.Popen([self.path("broker_standin"), *standin_options], stdout=subprocess.PIPE, text=True)
        try:
            greeting = re.match(r"port=(\d+) checksum=(\d+)", standin.stdout.readline())
            if not greeting:
                raise RunFailed("the stand-in did not start")
            command = [*wrapper, self.path(subject.program), "--port", greeting[1], "--checksum", greeting[2],
                       "--state-dir", folder, *subject.options, *subject_options]
            process, output, usage = self._follow(command)
            if process.returncode != 0:
                standin.terminate()  # it may wait for a client that has never come
            standin_output = standin.communicate(timeout=30)[0]
        finally:
            if standin.poll() is None:
                standin.kill()
                standin.wait()
            if not state:
                shutil.rmtree(folder, ignore_errors=True)
        if process.returncode != 0 or standin.returncode != 0:
            raise RunFailed(f"{subject.program} ended with {process.returncode}, the stand-in with "
                            f"{standin.returncode}: {output.strip()} {standin_output.strip()}")
        cpu = (usage.ru_utime + usage.ru_stime) * 1e6
        return Outcome(cpu, json.loads(output.splitlines()[-1]), json.loads(standin_output.splitlines()[-1]))

    @staticmethod
    def _follow(command):
        process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, start_new_session=True)
        # A subject that misses a message waits for it for ever. Its group also holds what wraps it.
        deadline = threading.Timer(PATIENCE_SECONDS, os.killpg, (process.pid, signal.SIGKILL))
        deadline.start()
        output = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        deadline.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        return process, output, usage
