"""What the programs of bench/ measure with: runs in turns, and exact counts."""

import collections
import contextlib
import os
import pathlib
import re
import socket
import statistics
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build"
PROGRAMS = BUILD / "bench" / "bench"

# Counts must not depend on the variables of whoever runs this.
ENVIRONMENT = {"PATH": "/usr/bin:/bin"}

# A program with its words, what it reads from, and its exit value.
Contestant = collections.namedtuple("Contestant", "name words stdin status",
                                    defaults=(os.devnull, 0))
Run = collections.namedtuple("Run", "wall processor memory faults")


def listens(path):
    with socket.socket(socket.AF_UNIX) as client:
        return client.connect_ex(str(path)) == 0


@contextlib.contextmanager
def server(words, path):
    """A daemon that listens on the socket `path` until the block ends."""
    process = subprocess.Popen([str(word) for word in words], stdout=subprocess.DEVNULL)
    try:
        while not listens(path):
            if process.poll() is not None:
                raise SystemExit(f"bench: {words[0]} has ended")
            time.sleep(0.01)
        yield process
    finally:
        process.terminate()
        process.wait()
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)


def standin(path, size):
    """Answers on the socket `path` with `size` bytes until the block ends."""
    return server([PROGRAMS / "bench-standin", path, size], path)


def alternate(folder, contestants, rounds):
    """Runs all in turn, `rounds` times; a list of Run for each contestant."""
    results = pathlib.Path(folder) / "results"
    command = [PROGRAMS / "bench-alternate", results, rounds]
    for contestant in contestants:
        command += ["--", contestant.stdin, *contestant.words]
    subprocess.run([str(word) for word in command], check=True, env=ENVIRONMENT)
    runs = [[] for _ in contestants]
    for line in results.read_text().splitlines():
        number, status, *costs = (int(word) for word in line.split())
        if os.waitstatus_to_exitcode(status) != contestants[number].status:
            raise SystemExit(f"bench: wait status {status}: {contestants[number].words}")
        runs[number].append(Run(*costs))
    return runs


def ratios(runs, base, cost):
    """Quartiles of the ratio to the base of the same round."""
    found = [getattr(run, cost) / max(getattr(of, cost), 1) for run, of in zip(runs, base)]
    return statistics.quantiles(found, n=4, method="inclusive")


def _counted(command, contestant):
    words = [str(word) for word in [*command, *contestant.words]]
    # Output to a regular file: a terminal or the null device is asked once more what it is.
    with open(contestant.stdin, "rb") as stdin, tempfile.TemporaryFile() as stdout:
        done = subprocess.run(words, stdin=stdin, stdout=stdout, stderr=subprocess.PIPE,
                              env=ENVIRONMENT, check=False)
    if done.returncode != contestant.status:
        raise SystemExit(f"bench: exit value {done.returncode}: {contestant.words}")
    return done.stderr.decode(errors="replace")


def instructions(contestant):
    """Instructions in user space, the dynamic loader's included."""
    log = _counted(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"], contestant)
    return int(re.search(r"Collected : (\d+)", log)[1])


def system_calls(folder, contestant):
    """How often each system call is made."""
    trace = pathlib.Path(folder) / "trace"
    _counted(["strace", "-f", "-qq", "-o", trace], contestant)
    return collections.Counter(re.findall(r"^\d+ +(\w+)\(", trace.read_text(), re.MULTILINE))


def table(headings, rows):
    """In Markdown."""
    lines = [headings, ["---"] * len(headings), *rows]
    return "".join(f"| {' | '.join(map(str, line))} |\n" for line in lines)
