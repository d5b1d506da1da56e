"""The cases of bench/run, and the table that it makes of them.

All contestants of a case run in turns, and each number is a ratio to the floor's run
of the same round: absolute times would tell of the machine, not of the programs.
"""

import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import threading

import measure
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


def floor(suffix=""):
    return measure.PROGRAMS / f"bench-floor{suffix}"


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


def exchanges(socket, folder, code, words, length=0, relays=True):
    """The floor, the client in its builds, and the programs that merely relay."""
    extra = [length] if length else []
    found = [
        Contestant("floor", [floor(), socket, code] + extra),
        Contestant("trel-tool", [CLIENT, "-s", socket] + words),
        Contestant("trel-tool, static", [STATIC, "-s", socket] + words),
        Contestant("trel-tool, small", [SMALL, "-s", socket] + words),
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


def loops(socket, count, parallel):
    """Shells that run each program `count` times in all."""

    def shell(command):
        loop = f"i=0; while [ $i -lt {count // parallel} ]; do {command}; i=$((i+1)); done"
        return ["/bin/sh", "-c", f"for p in $(seq {parallel}); do ({loop}) & done; wait"]

    return [
        Contestant("floor", shell(f"{floor()} {socket} {PRINTED_CODE}")),
        Contestant("trel-tool", shell(f"{CLIENT} -s {socket} {PRINTED}")),
        Contestant("trel-tool, static", shell(f"{STATIC} -s {socket} {PRINTED}")),
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
    ]
    refused = starts[:1] + [
        Contestant(entry.name, [entry.words[0], "-d"], status=1) for entry in starts[1:]
    ]
    exchange = exchanges(socket, folder, PRINTED_CODE, [PRINTED])
    exchange.insert(1, Contestant("floor, client's imports", [floor("-imports"), socket, 3]))
    plain = exchanges(socket, folder, PRINTED_CODE, [PRINTED])
    move = ["component-manual-move", "-u", UUID, "-n", LIST]
    stream = streams(socket, folder)
    pipe = pathlib.Path(folder) / "pipe"
    file = pathlib.Path(folder) / "file"
    return [
        Case("one exchange, reply of 200 bytes", exchange, rounds(1500)),
        Case("a refused command line", refused, rounds(600)),
        Case("-h", starts, rounds(600)),
        Case(
            "request of 189464 bytes",
            exchanges(socket, folder, MOVE_CODE, move, MOVE_LENGTH),
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


def ratio(value, base):
    return f"{value / base:.2f}" if base else "-"


def drain(pipe):
    """Reads the pipe as long as this process lives, so that writers never end it."""
    os.mkfifo(pipe)
    descriptor = os.open(pipe, os.O_RDWR)

    def forever():
        while True:
            os.read(descriptor, MIB)

    threading.Thread(target=forever, daemon=True).start()


def measure_case(case, socket, folder):
    """The rows of one case, as lists of cells."""
    with measure.standin(socket, case.size):
        runs = measure.alternate(folder, case.contestants, case.rounds, case.output)
    counts = []
    if case.counted >= 0:
        with measure.standin(socket, case.counted):
            counts = [
                (
                    measure.instructions(folder, contestant),
                    measure.system_calls(folder, contestant).total(),
                )
                for contestant in case.contestants
            ]
    rows = []
    for number, contestant in enumerate(case.contestants):
        low, middle, high = measure.quartiles(measure.paired_ratios(runs[number], runs[0], "wall"))
        cpu = measure.quartiles(measure.paired_ratios(runs[number], runs[0], "cpu"))[1]
        if counts:
            memory = [max(run.memory for run in some) for some in (runs[number], runs[0])]
            faults = [measure.quartiles([run.faults for run in some])[1] for some in
                      (runs[number], runs[0])]
            exact = [
                f"{memory[0] - memory[1]:+d}",
                f"{faults[0] - faults[1]:+.0f}",
                ratio(counts[number][0], counts[0][0]),
                f"{counts[number][1] - counts[0][1]:+d}",
            ]
        else:
            exact = ["-"] * 4
        rows.append([contestant.name, f"{middle:.2f}", f"{low:.2f} to {high:.2f}", f"{cpu:.2f}"] + exact)
    return rows


def by_hyperfine(socket, folder, rounds):
    """The first case again by another program, as a check on this one."""
    report = pathlib.Path(folder) / "hyperfine.json"
    commands = [
        f"{floor()} {socket} {PRINTED_CODE}",
        f"{CLIENT} -s {socket} {PRINTED}",
    ]
    with measure.standin(socket, 200):
        subprocess.run(
            ["hyperfine", "--shell=none", "--style=none", f"--runs={rounds}", "--warmup=20"]
            + [f"--export-json={report}"] + commands,
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )
    base, client = (result["median"] for result in json.loads(report.read_text())["results"])
    return client / base


def sizes():
    """Bytes of each build as installed, stripped."""
    found = []
    with tempfile.TemporaryDirectory() as folder:
        for name, path in (("release", CLIENT), ("small", SMALL), ("static", STATIC)):
            stripped = pathlib.Path(folder) / name
            subprocess.run(["strip", "-o", stripped, path], check=True)
            found.append((name, stripped.stat().st_size, path.stat().st_size))
    return found


def table(socket, folder, quick):
    lines = [
        "| case | program | wall | its middle half | processor | memory KiB | page faults"
        " | instructions | system calls |",
        "|---|---|---|---|---|---|---|---|---|",
    ]
    for case in all_cases(socket, folder, quick):
        print(f"bench: {case.title}", file=sys.stderr)
        title = case.title
        for row in measure_case(case, socket, folder):
            lines.append("| " + " | ".join([title] + row) + " |")
            title = ""
    check = by_hyperfine(socket, folder, 100 if quick else 2000)
    lines += ["", f"The first case by hyperfine, one program after the other: {check:.2f}.", ""]
    lines += ["| build | bytes, stripped | bytes as linked |", "|---|---|---|"]
    lines += [f"| {name} | {stripped} | {linked} |" for name, stripped, linked in sizes()]
    return "\n".join(lines) + "\n"


def update(text):
    path = measure.ROOT / "docs" / "performance.md"
    head, rest = path.read_text().split("<!-- table -->\n")[::2]
    path.write_text(f"{head}<!-- table -->\n{text}<!-- table -->\n{rest}")


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
    allowed = {"mmap": 2, "munmap": 2, "newfstatat": 1}
    extra = dict(calls[1] - calls[0])
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
        text = table(socket, folder, options.quick)
    print(text, end="")
    if options.update:
        update(text)


if __name__ == "__main__":
    main()
