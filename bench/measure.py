"""What bench/run measures with: the stand-in's life, runs in turns, exact counts."""

import collections
import contextlib
import os
import pathlib
import re
import statistics
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build"
PROGRAMS = BUILD / "bench" / "bench"

# Counts must not depend on the variables of whoever runs this.
ENVIRONMENT = {"PATH": "/usr/bin:/bin"}

Run = collections.namedtuple("Run", "wall cpu memory faults")


class Contestant:
    """A program with its words, and what it reads from."""

    def __init__(self, name, words, stdin=os.devnull, status=0):
        self.name = name
        self.words = [str(word) for word in words]
        self.stdin = str(stdin)
        self.status = status


@contextlib.contextmanager
def standin(path, size):
    """Answers on the socket `path` with `size` bytes until the block ends."""
    process = subprocess.Popen(
        [PROGRAMS / "bench-standin", path, str(size)], stdout=subprocess.PIPE
    )
    try:
        if process.stdout.readline() != b"ready\n":
            raise SystemExit("bench: the stand-in did not start")
        yield
    finally:
        process.kill()
        process.wait()
        process.stdout.close()
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)


def alternate(folder, contestants, rounds, output=os.devnull):
    """Runs all in turn, `rounds` times; a list of Run for each contestant."""
    results = pathlib.Path(folder) / "results"
    words = []
    for contestant in contestants:
        words += ["--", contestant.stdin, output] + contestant.words
    subprocess.run(
        [PROGRAMS / "bench-alternate", results, str(rounds)] + words,
        check=True,
        env=ENVIRONMENT,
    )
    runs = [[] for _ in contestants]
    for line in results.read_text().splitlines():
        number, status, *costs = (int(word) for word in line.split())
        if os.waitstatus_to_exitcode(status) != contestants[number].status:
            raise SystemExit(f"bench: wait status {status}: {contestants[number].words}")
        runs[number].append(Run(*costs))
    return runs


def paired_ratios(runs, base, cost):
    """Ratio to the base of the same round, for each round."""
    return [getattr(run, cost) / max(getattr(of, cost), 1) for run, of in zip(runs, base)]


def quartiles(values):
    """First quartile, median, third quartile."""
    if len(values) < 2:
        return values * 3
    return statistics.quantiles(values, n=4, method="inclusive")


def _counted(command, contestant, output):
    with open(contestant.stdin, "rb") as stdin, open(output, "wb") as stdout:
        done = subprocess.run(
            command + contestant.words,
            stdin=stdin,
            stdout=stdout,
            stderr=subprocess.PIPE,
            env=ENVIRONMENT,
            check=False,
        )
    if done.returncode != contestant.status:
        raise SystemExit(f"bench: exit value {done.returncode}: {contestant.words}")
    return done.stderr.decode(errors="replace")


def instructions(folder, contestant):
    """Instructions in user space, the dynamic loader's included."""
    log = _counted(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"],
        contestant,
        pathlib.Path(folder) / "counted",
    )
    return int(re.search(r"Collected : (\d+)", log)[1])


def system_calls(folder, contestant):
    """How often each system call is made, output going to a regular file."""
    trace = pathlib.Path(folder) / "trace"
    _counted(["strace", "-f", "-qq", "-o", trace], contestant, pathlib.Path(folder) / "counted")
    return collections.Counter(re.findall(r"^\d+ +(\w+)\(", trace.read_text(), re.MULTILINE))
