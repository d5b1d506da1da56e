#!/usr/bin/python3
"""Asks a real shell what it offers at given places of a line.

completions_test.py bash|zsh|fish <folder of the completions>

The client's name leads to a program that leaves a mark: no place may make one.
"""

import json
import os
import pathlib
import pty
import shlex
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

HERE = pathlib.Path(__file__).resolve().parent
SHELL = ""
COMPLETIONS = pathlib.Path()

UUID = "01234567-89ab-cdef-0123-456789abcdef"

CATALOGUE = json.loads((HERE.parents[1] / "generated/commands.json").read_text())
LISTED = " ".join(command["word"] for command in CATALOGUE["commands"] if command["listed"])
WORK_ITEMS = " ".join(item["name"] for item in CATALOGUE["workItems"])
ALL_OPTIONS = " ".join(f"-{option['letter']} --{option['name']}" for option in CATALOGUE["options"])

COMMON = "-h --help -s --socket-path -t --timeout"

# The line, and what is offered at its end.
PLACES = [
    ("trel-tool ", LISTED),
    ("trel-tool st", "stats start-proactive-rebalance stop-proactive-rebalance "
                     "start-decom-state-heartbeat"),
    ("trel-tool fitness-config-", ""),
    ("trel-tool set-non", "set-nonPreferred-fd"),
    ("trel-tool -", ALL_OPTIONS),
    ("trel-tool --d", "--decom-mode --destination-list"),
    ("trel-tool -h ", ""),
    ("trel-tool -- ", LISTED),
    ("trel-tool -- -", ""),
    ("trel-tool -u ", ""),
    ("trel-tool -i ", WORK_ITEMS),
    ("trel-tool -i MOVE en", "enable-trel-recovery-mode enable-workitem"),
    ("trel-tool -ea what-if-entity-decom -", COMMON + " -u --uuid -d --decom-mode"),
    ("trel-tool -s /x -o stats ", LISTED),
    ("trel-tool stats ", ""),
    ("trel-tool stats -", COMMON + " -o --output-path"),
    ("trel-tool stats -o out -", COMMON),
    ("trel-tool fitness-config-set -", COMMON + " -j --json"),
    ("trel-tool enable-workitem --work-item=RE", "REACTIVE_REBALANCE RECOVERY REPAIR"),
    ("trel-tool enable-workitem -iDEL", "DELTA_DECOM"),
    ("trel-tool enable-workitem -i MOVE -", COMMON),
    ("trel-tool enable-trel-recovery-mode -m ", "1 2 3 4 5 6 7"),
    ("trel-tool set-global-exclusion-list --exclusion-mode ", "0 1 2 3"),
    ("trel-tool what-if-entity-decom -d ", "0 1 2"),
    ("trel-tool what-if-upgrade -r ", "0 1 2 3"),
    (f"trel-tool what-if-upgrade -l {UUID} -w -",
     COMMON + " -u --uuid -d --decom-mode -r --reason"),
    ("trel-tool update-treldb -f con", "config.json"),
    ("trel-tool -s d", "daemon.sock data/"),
    ("trel-tool --socket-path=da", "daemon.sock data/"),
    ("trel-tool block-cdb-cb ", "update add delete object disk node"),
    ("trel-tool block-cdb-cb node ", "update add delete"),
    ("trel-tool block-cdb-cb add node ", ""),
    ("trel-tool start-proactive-rebalance 3600 0.3 d", "default"),
    ("trel-tool start-proactive-rebalance 1 2 3 4 d", ""),
    (f"trel-tool component-manual-move -u {UUID} -",
     COMMON + " -n --destination-list -x --exclusion-list"),
    (f"trel-tool component-manual-move -u {UUID} -n {UUID} -", COMMON),
    ("trel-tool log-level ", ""),
    # The client refuses these two commands after most long options.
    ("trel-tool log-level -", "-h -s -t"),
    ("trel-tool log-level --", ""),
    ("trel-tool block-cdb-cb add -", "-h -s -t -u"),
    ("trel-tool block-cdb-cb -s da", "daemon.sock data/"),
]


class Command:
    """A shell that is started for each question."""

    def __init__(self, folder, environment):
        self.folder, self.environment = folder, environment

    def run(self, command, **variables):
        result = subprocess.run(command, cwd=self.folder, env={**self.environment, **variables},
                                check=True, capture_output=True, text=True)
        if result.stderr:
            raise AssertionError(result.stderr)
        return result.stdout.splitlines()

    def close(self):
        pass


class Bash(Command):
    """Calls the completion function with the words as readline splits them."""

    SCRIPT = r'''
source "$0"
COMP_CWORD=$(($# - 1)) COMP_WORDS=("$@")
export COMP_LINE="$*"
_trel_tool
((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
'''

    def ask(self, line, listing=False):
        words = []
        for word in line.split(" "):
            head, equals, tail = word.partition("=")
            words += [head, equals, tail] if equals and tail else [head] if head or not words else []
        if line.endswith(" "):
            words.append("")
        return self.run(["bash", "-c", self.SCRIPT, COMPLETIONS / "trel-tool.bash", *words],
                        COMP_TYPE="63" if listing else "9", COLUMNS="200")


class Fish(Command):
    """Asks with fish's own command for it."""

    def ask(self, line, listing=False):
        completions = shlex.quote(f"{COMPLETIONS}/trel-tool.fish")
        lines = self.run(["fish", "--no-config", "-c",
                          f"source {completions}; complete -C {shlex.quote(line)}"])
        # fish 4 names matches inside of words too; a user sees them where no word begins so.
        begun = line.split(" ")[-1]
        lines = [text for text in lines if text.startswith(begun)] or lines
        return lines if listing else [text.split("\t")[0] for text in lines]


class Zsh:
    """Types the line into a shell on a terminal and presses a key that asks."""

    def __init__(self, folder, environment):
        self.master, terminal = pty.openpty()
        answers, answer = os.pipe()
        self.answers = os.fdopen(answers)
        self.shell = subprocess.Popen(
            ["zsh", "-f", "-i"], cwd=folder, stdin=terminal, stdout=terminal, stderr=terminal,
            pass_fds=[answer], env=dict(environment, TERM="dumb"), start_new_session=True)
        os.close(terminal)
        os.close(answer)
        # The prompt: from now on nothing that is typed gets lost. What is shown later
        # must be read, or the shell waits for that.
        os.read(self.master, 1)
        self.drainer = threading.Thread(target=self.drain, daemon=True)
        self.drainer.start()
        folder, asks = shlex.quote(str(COMPLETIONS)), shlex.quote(f"{HERE}/ask.zsh")
        self.type(f"fpath=({folder} $fpath); answer={answer}; "
                  f"source {asks} || print -u {answer} failed\n")
        if self.answers.readline() != "ready\n":
            raise AssertionError("zsh did not start")

    def drain(self):
        try:
            while os.read(self.master, 4096):
                pass
        except OSError:
            pass

    def type(self, text):
        os.write(self.master, text.encode())

    def ask(self, line, listing=False):
        # Cleared first; the key that asks last.
        self.type("\x15" + line + "\x18\x01")
        offers = []
        for text in self.answers:
            if text == ".\n":
                return offers
            offers.append(text.rstrip("\n"))
        raise AssertionError("zsh has ended")

    def close(self):
        self.type("\x15exit\n")
        self.shell.wait()
        self.answers.close()
        # The terminal is at its end now. Closed earlier, its number would go to the next
        # shell's, and what that one shows first would be read here.
        self.drainer.join()
        os.close(self.master)


class Completions(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        root = pathlib.Path(self.folder.name)
        (root / "bin").mkdir()
        self.mark = root / "client-was-run"
        client = root / "bin/trel-tool"
        client.write_text(f"#!/bin/sh\n: >{self.mark}\n")
        client.chmod(0o755)
        place = root / "place"
        place.mkdir()
        (place / "config.json").touch()
        (place / "data").mkdir()
        (place / "dump.txt").touch()
        with socket.socket(socket.AF_UNIX) as daemon:
            daemon.bind(str(place / "daemon.sock"))
        environment = dict(os.environ, PATH=f"{root}/bin:{os.environ['PATH']}",
                           HOME=str(root), XDG_CONFIG_HOME=str(root), LC_ALL="C.UTF-8")
        self.shell = {"bash": Bash, "zsh": Zsh, "fish": Fish}[SHELL](place, environment)
        self.addCleanup(self.shell.close)

    def test_offers_what_makes_sense_at_each_place(self):
        def plain(offer):
            # What belongs to the word at the cursor, and how a path shows its kind.
            offer = offer.rstrip(" ")
            if offer.startswith("--") and offer.endswith("="):
                return offer[:-1]
            for part in ("--work-item=", "--socket-path=", "-i"):
                if offer.startswith(part) and len(offer) > len(part):
                    return offer[len(part):]
            return "data/" if offer == "data" else offer

        for line, expected in PLACES:
            with self.subTest(line):
                offered = [plain(offer) for offer in self.shell.ask(line)]
                self.assertEqual(sorted(set(offered)), sorted(expected.split()))
        self.assertFalse(self.mark.exists(), "a completion has run the client")

    def test_tells_what_the_words_mean(self):
        if SHELL == "bash":
            self.assertIn("stats                        (Retrieve TREL stats)",
                          self.shell.ask("trel-tool sta", listing=True))
        elif SHELL == "fish":
            self.assertIn("stats\tRetrieve TREL stats", self.shell.ask("trel-tool sta", listing=True))
            self.assertIn("3\tCOMPLIANCE",
                          self.shell.ask("trel-tool enable-trel-recovery-mode -m ", listing=True))


if __name__ == "__main__":
    SHELL = sys.argv[1]
    COMPLETIONS = pathlib.Path(sys.argv[2]).resolve()
    unittest.main(argv=sys.argv[:1], verbosity=1)
