#!/usr/bin/python3
"""bench/cluster.py <trel-tool> <trel-standin> [nodes...]: runs the cookbook's engines in turns
over so many local nodes with real sshd, and writes what they cost the administrator's machine
to docs/figures/cluster.md. The nodes' own share is not counted, but they run on the same
processors. Needs what `scripts/setup cluster` installs."""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "tests/cluster"))
os.environ["TREL_TOOL"], os.environ["TREL_STANDIN"] = map(os.path.abspath, sys.argv[1:3])

import hosts  # noqa: E402
from cookbook import recipe  # noqa: E402

FIGURES = ROOT / "docs/figures/cluster.md"


ANSIBLE = {"ANSIBLE_COLLECTIONS_PATH": str(ROOT / "cluster"), "ANSIBLE_SSH_USETTY": "False",
           "ANSIBLE_PYTHON_INTERPRETER": "/usr/bin/python3", "ANSIBLE_FORKS": "16",
           "PYTHONDONTWRITEBYTECODE": "1"}
# The recipe of each, and whether its connections are shared.
ENGINES = {
    "loop": ("loop", False),
    "xargs -P 16": ("parallel", False),
    "xargs -P 16, shared connections": ("parallel", True),
    "pdsh -f 32": ("pdsh", False),
    "parallel-ssh -p 32": ("pssh", False),
    "Ansible command, 16 forks": ("adhoc", False),
    "Ansible collection, 16 forks": ("collect-playbook", False),
}


def processes_of(root):
    """Number and resident memory, in KiB, of a process and all that descend from it."""
    parents, memory = {}, {}
    for path in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            fields = (path / "stat").read_text().rpartition(") ")[2].split()
        except OSError:
            continue
        parents[int(path.name)], memory[int(path.name)] = int(fields[1]), int(fields[21]) * 4
    family, size = {root}, 0
    while size != len(family):
        size = len(family)
        family |= {pid for pid, parent in parents.items() if parent in family}
    return size, sum(memory.get(pid, 0) for pid in family)


def measure(cluster, script):
    """Seconds, processor seconds, most processes at once, most MiB at once."""
    begin = time.monotonic()
    with tempfile.TemporaryFile("w+") as output:
        shell = subprocess.Popen(["bash", "-uc", script], cwd=cluster.folder / "work",
                                 stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                 env={**cluster.environment, **ANSIBLE})
        most = [0, 0]
        ended = threading.Event()

        def watch():
            while not ended.wait(0.05):
                most[:] = map(max, most, processes_of(shell.pid))

        watcher = threading.Thread(target=watch)
        watcher.start()
        _, status, usage = os.wait4(shell.pid, 0)
        shell.returncode = os.waitstatus_to_exitcode(status)
        ended.set()
        watcher.join()
        if shell.returncode != 0:
            output.seek(0)
            sys.exit(f"bench/cluster: exit value {shell.returncode}\n{script}\n{output.read()}")
    return (time.monotonic() - begin, usage.ru_utime + usage.ru_stime, most[0], most[1] / 1024)


def main():
    numbers = [int(word) for word in sys.argv[3:]] or [8, 16, 32, 64]
    lines = ["# What a run over many nodes costs", "",
             "Written by `bench/cluster.py`, not by hand: the median of three runs in turns, one run",
             f"beyond 16 nodes, on {os.cpu_count()} processors that the nodes share, with a load of "
             f"{os.getloadavg()[0]:.0f} before.", "",
             "| nodes | engine | seconds | processor seconds | processes | MiB |",
             "|---|---|---|---|---|---|"]
    alone = "\n".join(line for line in recipe("config").splitlines() if "Control" not in line) + "\n"
    for number in numbers:
        names = [f"node-good-{index}" for index in range(1, number + 1)]
        figures = {}
        for shared in (False, True):
            cluster = hosts.Cluster(os.environ["TREL_TOOL"], os.environ["TREL_STANDIN"],
                                    recipe("config") if shared else alone, names)
            try:
                chosen = {name: recipe(text) for name, (text, kind) in ENGINES.items()
                          if kind == shared}
                if shared:  # a run that logs in
                    for script in chosen.values():
                        measure(cluster, script)
                for _ in range(3 if number <= 16 else 1):  # with many nodes one takes minutes
                    for name, script in chosen.items():
                        figures.setdefault(name, []).append(measure(cluster, script))
            finally:
                cluster.close()
        for name in ENGINES:
            wall, processor, processes, memory = map(statistics.median, zip(*figures[name]))
            lines.append(f"| {number} | {name} | {wall:.1f} | {processor:.2f} | {processes:.0f} | "
                         f"{memory:.0f} |")
            print(lines[-1], flush=True)
    FIGURES.parent.mkdir(exist_ok=True)
    FIGURES.write_text("\n".join(lines) + "\n")


main()
