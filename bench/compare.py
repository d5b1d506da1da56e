"""The cases of bench/run, and the table and the picture that it makes of them, which
docs/performance.md shows.

All contestants of a case run in turns, and each number is a ratio to the floor's run
of the same round: absolute times would describe the machine, not the programs.
"""

import argparse
import collections
import datetime
import io
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

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

FLOOR = measure.PROGRAMS / "bench-floor"
CLIENT = measure.BUILD / "bench" / "trel-tool"
# musl where bench/run has built it.
BUILDS = {name: path for name in ("static", "small", "musl")
          if (path := measure.BUILD / name / "trel-tool").exists()}

# One row group of the table. The first contestant is the floor of the others. `size`: bytes of
# the reply; `counted`: bytes of the reply when instructions and system calls are counted, which
# takes fifty times as long.
Case = collections.namedtuple("Case", "title contestants rounds size counted")

# Key of a row, heading, form.
COLUMNS = (
    ("case", "case", "{}"),
    ("program", "program", "{}"),
    ("wall", "wall", "{:.2f}"),
    ("low", "first quartile", "{:.2f}"),
    ("high", "third quartile", "{:.2f}"),
    ("processor", "processor", "{:.2f}"),
    ("memory", "memory KiB", "{:+d}"),
    ("faults", "page faults", "{:+.0f}"),
    ("instructions", "instructions", "{:.2f}"),
    ("calls", "system calls", "{:+d}"),
)
FIGURES = measure.ROOT / "docs" / "figures"


def clients(words, status=0):
    """The client in its builds."""
    return [Contestant("trel-tool", [CLIENT, *words], status=status)] + [
        Contestant(f"trel-tool, {name}", [path, *words], status=status)
        for name, path in BUILDS.items()]


def relays(socket, folder, code, length=0):
    """Programs that pass on the bytes of a request, and print the reply with its header."""
    request = pathlib.Path(folder) / f"request-{code}"
    request.write_bytes(code.to_bytes(4, "big") + length.to_bytes(4, "big") + bytes(length))
    return [Contestant("nc -U", ["/bin/nc.openbsd", "-U", socket], request),
            Contestant("socat", ["/usr/bin/socat", "-", f"UNIX-CONNECT:{socket}"], request)]


def exchange(socket, folder, code, words, variants, length=0, payload=()):
    """The floor, its variants (program and payload by name), the client and the relays.
    `payload`: arguments of the floor."""
    floors = {"floor": (FLOOR, payload), **variants, "floor, static": (f"{FLOOR}-static", payload)}
    found = [Contestant(name, [program, socket, code, *arguments])
             for name, (program, arguments) in floors.items()]
    found[-1:-1] = clients(["-s", socket, *words])
    return found + relays(socket, folder, code, length)


def all_cases(socket, folder, quick):
    def rounds(full):
        return max(2, full // 20) if quick else full

    def size(full):
        return full // 16 if quick else full

    started = Contestant("floor, only started", [FLOOR], status=2)
    printed = exchange(socket, folder, PRINTED_CODE, [PRINTED],
                       {"floor, client's imports": (f"{FLOOR}-imports", [])})
    moved = exchange(socket, folder, MOVE_CODE, ["component-manual-move", "-u", UUID, "-n", LIST],
                     {"floor, all zeros": (FLOOR, [MOVE_LENGTH])}, MOVE_LENGTH, [MOVE_LENGTH, LIST])
    streamed = exchange(socket, folder, STREAMED_CODE, ["stats"],
                        {"floor, 64 KiB at a time": (f"{FLOOR}-64k", [])})
    return [
        Case("one exchange, reply of 200 bytes", printed, rounds(1500), 200, 200),
        Case("a refused command line", [started, *clients(["-d"], 1)], rounds(600), 0, 0),
        Case("-h", [started, *clients(["-h"])], rounds(600), 0, 0),
        Case("request of 189464 bytes", moved, rounds(400), 0, 0),
        Case("framed reply of 1 MiB", printed, rounds(200), MIB, MIB),
        Case("framed reply of 1 GiB", printed, rounds(6), size(GIB), MIB),
        Case("stream of 512 MiB to /dev/null", streamed, rounds(8), size(512 * MIB), MIB),
    ]


def measure_case(case, socket, folder):
    """One dictionary for each contestant; see COLUMNS."""
    with measure.standin(socket, case.size):
        runs = measure.alternate(folder, case.contestants, case.rounds)
    rows = []
    base = None
    with measure.standin(socket, case.counted):
        for contestant, its_runs in zip(case.contestants, runs):
            low, middle, high = measure.ratios(its_runs, runs[0], "wall")
            counts = (max(run.memory for run in its_runs),
                      statistics.median(run.faults for run in its_runs),
                      measure.system_calls(folder, contestant).total(),
                      measure.instructions(contestant))
            base = base or counts
            memory, faults, calls, _ = (count - of for count, of in zip(counts, base))
            rows.append({
                "case": case.title, "program": contestant.name, "wall": middle, "low": low,
                "high": high, "processor": measure.ratios(its_runs, runs[0], "processor")[1],
                "memory": memory, "faults": faults, "calls": calls,
                "instructions": counts[-1] / base[-1]})
    return rows


def sizes(folder):
    """Bytes of each build as installed, stripped, and as linked."""
    stripped = pathlib.Path(folder) / "stripped"
    for name, path in {"release": CLIENT, **BUILDS}.items():
        subprocess.run(["strip", "-o", stripped, path], check=True)
        yield name, stripped.stat().st_size, path.stat().st_size


def draw(rows, path):
    """One panel for each case: wall time of each program, with its quartiles."""
    import matplotlib  # only --update needs it

    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "trel-tool", "svg.fonttype": "none", "font.size": 8})
    from matplotlib import pyplot

    cases = {}
    for row in rows:
        cases.setdefault(row["case"], []).append(row)
    heights = [len(rows) + 1.5 for rows in cases.values()]
    figure, panels = pyplot.subplots(
        len(cases), 1, figsize=(8, sum(heights) * 0.2), sharex=True,
        gridspec_kw={"height_ratios": heights}, layout="constrained")
    for panel, (title, rows) in zip(panels, cases.items()):
        names = [row["program"] for row in rows]
        spread = [[row["wall"] - row["low"] for row in rows], [row["high"] - row["wall"] for row in rows]]
        colours = ["tab:orange" if name.startswith("trel-tool") else "lightsteelblue" for name in names]
        panel.barh(names, [row["wall"] for row in rows], xerr=spread, color=colours, ecolor="grey")
        panel.axvline(1, color="black", linewidth=0.8)
        panel.invert_yaxis()
        panel.set_title(title, loc="left", fontsize=9)
    panels[-1].set_xlabel("wall time, floor = 1")
    text = io.StringIO()
    figure.savefig(text, metadata={"Date": None})
    path.write_text(" ".join(text.getvalue().split()) + "\n")


def check(socket, folder):
    """Fails if an exchange has become dearer. The bounds leave room for another
    build of the C library, not for another page or another import."""
    programs = [Contestant("floor", [FLOOR, socket, PRINTED_CODE]),
                Contestant("imports", [f"{FLOOR}-imports", socket, PRINTED_CODE]),
                Contestant("client", [CLIENT, "-s", socket, PRINTED])]
    with measure.standin(socket, 200):
        floor, imports, client = map(measure.instructions, programs)
        calls = [measure.system_calls(folder, program) for program in programs]
    dearer = []
    for base, most, name in ((floor, 1.30, "the floor"),
                             (imports, 1.03, "the floor with its imports")):
        print(f"instructions of one exchange: {client / base:.3f} of {name}, at most {most}")
        if client / base > most:
            dearer.append(name)
    # A mapping for each of the two lists, and standard output's buffer.
    allowed = {"mmap": 2, "munmap": 2, "fstat": 1}
    extra = dict(calls[2] - calls[0])
    if "newfstatat" in extra:  # how older C libraries ask for it
        extra["fstat"] = extra.pop("newfstatat")
    print(f"system calls beyond the floor's: {extra}, allowed {allowed}")
    if extra != allowed:
        dearer.append("system calls")
    if dearer:
        raise SystemExit(f"dearer than allowed: {', '.join(dearer)}")


def main():
    parser = argparse.ArgumentParser(prog="bench/run")
    for flag in ("--quick", "--update", "--check"):
        parser.add_argument(flag, action="store_true")
    options = parser.parse_args()
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        socket = f"{folder}/s"
        if options.check:
            check(socket, folder)
            return
        for case in all_cases(socket, folder, options.quick):
            print(f"bench: {case.title}", file=sys.stderr)
            rows += measure_case(case, socket, folder)
        built = list(sizes(folder))
    text = measure.table([heading for _, heading, _ in COLUMNS],
                 [[form.format(row[key]) for key, _, form in COLUMNS] for row in rows])
    text += "\n" + measure.table(["build", "bytes, stripped", "bytes as linked"], built)
    print(text, end="")
    if options.update:
        (FIGURES / "performance.md").write_text(
            "# What one run costs: the figures\n\n"
            "Written by `bench/run --update`, not by hand. "
            "[performance.md](../performance.md) says what the columns mean.\n\n"
            f"Measured on {datetime.date.today().isoformat()}, {os.cpu_count()} processors.\n\n{text}")
        draw(rows, FIGURES / "performance.svg")


if __name__ == "__main__":
    main()
