#!/usr/bin/python3
"""bench/standin.py: measures the stand-in daemon under load, in turns with a trivial server that
has a thread for each client, and writes docs/figures/standin.md. Uses the programs that
`bench/run` builds in build/bench."""

import pathlib
import re
import statistics
import subprocess
import tempfile

import measure

LOAD = measure.PROGRAMS / "bench-load"
STANDIN = measure.BUILD / "bench" / "trel-standin"
FIGURES = measure.ROOT / "docs" / "figures" / "standin.md"
ROUNDS = 5
SECONDS = 2


def exchanges(socket, threads):
    """A second, by so many clients."""
    return int(subprocess.check_output([LOAD, "exchange", socket, str(threads), str(SECONDS)]))


def memory(process):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(r"VmRSS:\s*(\d+)", status)[1])


def ratios(socket, standin, threads_of, other):
    """Median, over rounds in turns, of what the stand-in does for what the other server does."""
    found = []
    for _ in range(ROUNDS):
        counts = []
        for words in standin, other:
            with measure.server(words, socket):
                counts.append(exchanges(socket, threads_of))
        found.append(counts[0] / counts[1])
    return statistics.median(found)


def beside_dribblers(socket, standin):
    """What is left to one client beside four that send byte by byte."""
    found = []
    for _ in range(ROUNDS):
        with measure.server(standin, socket):
            alone = exchanges(socket, 1)
            dribblers = subprocess.Popen([LOAD, "dribble", socket, "4"])
            found.append(exchanges(socket, 1) / alone)
            dribblers.kill()
            dribblers.wait()
    return statistics.median(found)


def beside_silent(socket, standin, clients):
    """Memory (KiB) for each, and the milliseconds of an exchange beside them."""
    with measure.server(standin, socket) as process:
        before = memory(process)
        load = subprocess.Popen([LOAD, "silent", socket, str(clients)], stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, text=True)
        load.stdout.readline()
        milliseconds = float(load.stdout.readline())
        grown = memory(process) - before
        load.communicate("")
    return grown / clients, milliseconds


def main():
    with tempfile.TemporaryDirectory() as folder:
        socket = f"{folder}/s"
        standin = [STANDIN, "--socket", socket, "--log", f"{folder}/log"]
        threads = [LOAD, "serve", socket, f"{folder}/other"]
        rows = [(f"exchanges of {count} clients at once, for one of a server with a thread for each",
                 f"{ratios(socket, standin, count, threads):.2f}") for count in (1, 8, 64)]
        rows.append(("exchanges of one client beside four that send byte by byte, for one alone",
                     f"{beside_dribblers(socket, standin):.2f}"))
        kib, milliseconds = beside_silent(socket, standin, 10000)
        rows.append(("memory for each of 10000 silent clients", f"{kib:.1f} KiB"))
        rows.append(("an exchange beside them", f"{milliseconds:.2f} ms"))
    table = measure.table(["what", "measured"], rows)
    FIGURES.write_text("# The stand-in daemon under load\n\nWritten by `bench/standin.py`.\n\n" + table)
    print(table, end="")


if __name__ == "__main__":
    main()
