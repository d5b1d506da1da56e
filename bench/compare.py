"""The cases of bench/run, and the table and the picture that it makes of them.

All contestants of a case run in turns, and each number is a ratio to the floor's run
of the same round: absolute times would describe the machine, not the programs.
"""

import argparse
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import threading

import measure
import report
from measure import Contestant

KIB = 1024
MIB = 1024 * KIB
GIB = 1024 * MIB

PRINTED = "fitness-config-get"
PRINTED_CODE = 3
STREAMED_CODE = 1
MOVE_CODE = 33
MOVE_LENGTH = 189464
UUID = "01234567-89ab-cdef-0123-456789abcdef"
LIST = ",".join([UUID] * 2559)

CLIENT = measure.BUILD / "bench" / "trel-tool"
STATIC = measure.BUILD / "static" / "trel-tool"
SMALL = measure.BUILD / "small" / "trel-tool"
# With musl for the C library, where bench/run has built it.
MUSL = measure.BUILD / "musl" / "trel-tool"


def floor(suffix=""):
    return measure.PROGRAMS / f"bench-floor{suffix}"


def with_musl(*words, status=0):
    return [Contestant("trel-tool, musl", [MUSL, *words], status=status)] if MUSL.exists() else []


class Case:
    """One row group of the table. The first contestant is the floor of the others.

    `size`: bytes of the reply; `counted`: bytes of the reply when instructions and
    system calls are counted, which takes fifty times as long.
    """

    def __init__(self, title, contestants, rounds, size=200, counted=None, output=os.devnull):
        self.title = title
        self.contestants = contestants
        self.rounds = rounds
        self.size = size
        self.counted = size if counted is None else counted
        self.output = output


def request_file(folder, code, length=0):
    path = pathlib.Path(folder) / f"request-{code}"
    path.write_bytes(code.to_bytes(4, "big") + length.to_bytes(4, "big") + bytes(length))
    return path


def exchanges(socket, folder, code, words, extra=(), relays=True):
    """The floor, the client in its builds, and the programs that merely relay.

    `extra`: more arguments of the floor, the length of the payload first.
    """
    length = extra[0] if extra else 0
    extra = list(extra)
    found = [
        Contestant("floor", [floor(), socket, code] + extra),
        Contestant("trel-tool", [CLIENT, "-s", socket] + words),
        Contestant("trel-tool, static", [STATIC, "-s", socket] + words),
        Contestant("trel-tool, small", [SMALL, "-s", socket] + words),
        *with_musl("-s", socket, *words),
        Contestant("floor, static", [floor("-static"), socket, code] + extra),
    ]
    if relays:
        request = request_file(folder, code, length)
        found += [
            Contestant("nc -U", ["/bin/nc.openbsd", "-U", socket], stdin=request),
            Contestant("socat", ["/usr/bin/socat", "-", f"UNIX-CONNECT:{socket}"], stdin=request),
        ]
    return found


def streams(socket, folder):
    request = request_file(folder, STREAMED_CODE)
    return [
        Contestant("floor, 1023 bytes at a time", [floor(), socket, STREAMED_CODE]),
        Contestant("trel-tool", [CLIENT, "-s", socket, "stats"]),
        Contestant("trel-tool, static", [STATIC, "-s", socket, "stats"]),
        Contestant("floor, 64 KiB at a time", [floor("-64k"), socket, STREAMED_CODE]),
        Contestant("nc -U", ["/bin/nc.openbsd", "-U", socket], stdin=request),
        Contestant("socat", ["/usr/bin/socat", "-", f"UNIX-CONNECT:{socket}"], stdin=request),
    ]


def quoted(words):
    return shlex.join(str(word) for word in words)


def loops(socket, count, parallel):
    """Shells that run each program `count` times in all."""

    def shell(*words):
        loop = f"i=0; while [ $i -lt {count // parallel} ]; do {quoted(words)}; i=$((i+1)); done"
        return ["/bin/sh", "-c", f"for p in $(seq {parallel}); do ({loop}) & done; wait"]

    return [
        Contestant("floor", shell(floor(), socket, PRINTED_CODE)),
        Contestant("trel-tool", shell(CLIENT, "-s", socket, PRINTED)),
        Contestant("trel-tool, static", shell(STATIC, "-s", socket, PRINTED)),
    ]


def all_cases(socket, folder, quick):
    def rounds(full):
        return max(2, full // 20) if quick else full

    def size(full):
        return full // 16 if quick else full

    starts = [
        Contestant("floor, only started", [floor()], status=2),
        Contestant("trel-tool", [CLIENT, "-h"]),
        Contestant("trel-tool, static", [STATIC, "-h"]),
        Contestant("trel-tool, small", [SMALL, "-h"]),
        *with_musl("-h"),
    ]
    refused = starts[:1] + [
        Contestant(entry.name, [entry.words[0], "-d"], status=1) for entry in starts[1:]
    ]
    exchange = exchanges(socket, folder, PRINTED_CODE, [PRINTED])
    exchange.insert(1, Contestant("floor, client's imports", [floor("-imports"), socket, 3]))
    plain = exchanges(socket, folder, PRINTED_CODE, [PRINTED])
    moves = exchanges(
        socket, folder, MOVE_CODE, ["component-manual-move", "-u", UUID, "-n", LIST],
        (MOVE_LENGTH, LIST),
    )
    zeros = [floor(), socket, MOVE_CODE, MOVE_LENGTH]
    moves.insert(1, Contestant("floor, all zeros", zeros))
    stream = streams(socket, folder)
    pipe = pathlib.Path(folder) / "pipe"
    file = pathlib.Path(folder) / "file"
    return [
        Case("one exchange, reply of 200 bytes", exchange, rounds(1500)),
        Case("a refused command line", refused, rounds(600)),
        Case("-h", starts, rounds(600)),
        Case(
            "request of 189464 bytes",
            moves,
            rounds(400),
            size=0,
        ),
        Case("framed reply of 1 KiB", plain, rounds(400), size=KIB),
        Case("framed reply of 1 MiB", plain, rounds(200), size=MIB),
        Case("framed reply of 1 GiB", plain, rounds(6), size=size(GIB), counted=MIB),
        Case("stream of 512 MiB to /dev/null", stream, rounds(8), size=size(512 * MIB), counted=MIB),
        Case("the same to a pipe", stream, rounds(6), size(512 * MIB), MIB, str(pipe)),
        Case("the same to a file", stream, rounds(6), size(512 * MIB), MIB, str(file)),
        Case("1000 runs in a loop", loops(socket, 1000, 1), rounds(8), counted=-1),
        Case("1000 runs, 8 at a time", loops(socket, 1000, 8), rounds(8), counted=-1),
    ]


def drain(pipe):
    """Reads the pipe as long as this process lives, so that writers never end it."""
    os.mkfifo(pipe)
    descriptor = os.open(pipe, os.O_RDWR)

    def forever():
        while True:
            os.read(descriptor, MIB)

    threading.Thread(target=forever, daemon=True).start()


def measure_case(case, socket, folder):
    """One dictionary for each contestant; see report.COLUMNS."""
    with measure.standin(socket, case.size):
        runs = measure.alternate(folder, case.contestants, case.rounds, case.output)
    rows = []
    for contestant, its_runs in zip(case.contestants, runs):
        low, middle, high = measure.quartiles(measure.paired_ratios(its_runs, runs[0], "wall"))
        cpu = measure.quartiles(measure.paired_ratios(its_runs, runs[0], "cpu"))[1]
        rows.append({"case": case.title, "program": contestant.name, "wall": middle,
                     "low": low, "high": high, "processor": cpu})
    if case.counted >= 0:
        with measure.standin(socket, case.counted):
            count_case(case, runs, rows, folder)
    return rows


def count_case(case, runs, rows, folder):
    """Adds to `rows` what is counted and not timed."""
    base = None
    for contestant, its_runs, row in zip(case.contestants, runs, rows):
        counts = (
            max(run.memory for run in its_runs),
            measure.quartiles([run.faults for run in its_runs])[1],
            measure.instructions(folder, contestant),
            measure.system_calls(folder, contestant).total(),
        )
        base = base or counts
        row["memory"] = counts[0] - base[0]
        row["faults"] = counts[1] - base[1]
        row["instructions"] = counts[2] / base[2]
        row["calls"] = counts[3] - base[3]


def sizes():
    """Bytes of each build as installed, stripped."""
    found = []
    with tempfile.TemporaryDirectory() as folder:
        for name, path in (("release", CLIENT), ("small", SMALL), ("static", STATIC), ("musl", MUSL)):
            if not path.exists():
                continue
            stripped = pathlib.Path(folder) / name
            subprocess.run(["strip", "-o", stripped, path], check=True)
            found.append((name, stripped.stat().st_size, path.stat().st_size))
    return found


def measure_all(socket, folder, quick):
    rows = []
    for case in all_cases(socket, folder, quick):
        print(f"bench: {case.title}", file=sys.stderr)
        rows += measure_case(case, socket, folder)
    return {
        "rows": rows,
        "sizes": sizes(),
    }


def check(socket, folder):
    """Fails if an exchange has become dearer. The bounds leave room for another
    build of the C library, not for another page or another import."""
    floor_run, imports, client = exchanges_to_check(socket)
    with measure.standin(socket, 200):
        counts = [measure.instructions(folder, run) for run in (floor_run, imports, client)]
        calls = [measure.system_calls(folder, run) for run in (floor_run, client)]
    faults = []
    for base, most, name in ((0, 1.30, "the floor"), (1, 1.03, "the floor with its imports")):
        got = counts[2] / counts[base]
        print(f"instructions of one exchange: {got:.3f} of {name}, at most {most}")
        if got > most:
            faults.append(name)
    # A mapping for each of the two lists, and standard output's buffer.
    allowed = {"mmap": 2, "munmap": 2, "fstat": 1}
    extra = dict(calls[1] - calls[0])
    if "newfstatat" in extra:  # how older C libraries ask for it
        extra["fstat"] = extra.pop("newfstatat")
    print(f"system calls beyond the floor's: {extra}, allowed {allowed}")
    if extra != allowed:
        faults.append("system calls")
    return faults


def exchanges_to_check(socket):
    return (
        Contestant("floor", [floor(), socket, PRINTED_CODE]),
        Contestant("imports", [floor("-imports"), socket, PRINTED_CODE]),
        Contestant("client", [CLIENT, "-s", socket, PRINTED]),
    )


def main():
    parser = argparse.ArgumentParser(prog="bench/run")
    for flag in ("--quick", "--update", "--check"):
        parser.add_argument(flag, action="store_true")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        socket = str(pathlib.Path(folder) / "s")
        if options.check:
            faults = check(socket, folder)
            raise SystemExit(f"dearer than allowed: {', '.join(faults)}" if faults else 0)
        drain(pathlib.Path(folder) / "pipe")
        results = measure_all(socket, folder, options.quick)
    print(report.tables(results), end="")
    if options.update:
        report.write(results)


if __name__ == "__main__":
    main()
