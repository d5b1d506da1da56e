#!/usr/bin/python3
"""Runs the recipes that need no other machine, against a stand-in: quick, and without ssh."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from cookbook import CLIENT, ROOT, STANDIN, all_recipes, main, recipe

UUIDS = ["01234567-89ab-cdef-0123-456789abcdef", "11234567-89ab-cdef-0123-456789abcdef"]

PROGRAM = '#!/bin/sh\nexec {} "$@"\n'


class OnOneMachine(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        (self.folder / "bin").mkdir()
        # The daemon's own socket is the stand-in's here.
        for name, words in {"trel-tool": f"{CLIENT} -s socket", "trel-standin": STANDIN}.items():
            path = self.folder / "bin" / name
            path.write_text(PROGRAM.format(words))
            path.chmod(0o755)

    def cook(self, name, script=None, **variables):
        """Runs the recipe; returns the run and the requests that the stand-in has received."""
        (self.folder / "script.json").write_text(json.dumps(script or {"rules": []}))
        (self.folder / "log").unlink(missing_ok=True)
        environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}",
                           TMPDIR=str(self.folder), **variables)
        # Sockets have paths of 107 bytes at most, so the folder's own name is left out.
        run = subprocess.run(
            [STANDIN, "--socket", "socket", "--script", "script.json", "--log", "log", "--",
             "bash", "-uc", recipe(name)],
            cwd=self.folder, env=environment, capture_output=True, text=True, timeout=100)
        events = [json.loads(line) for line in (self.folder / "log").read_text().splitlines()]
        return run, [event for event in events if event["event"] == "request"]

    def test_bounded_cancels_what_takes_too_long_and_reports_a_refusal(self):
        for reply, error, commands in (
                (None, r"", ["what-if-upgrade"]),
                ({"silent": True}, r"no reply within a minute\n",
                 ["what-if-upgrade", "what-if-cancel"]),
                ({"status": 5, "text": "busy"}, r".*failed with 5\n.*", ["what-if-upgrade"])):
            rules = [{"command": "what-if-upgrade", "reply": reply}] if reply else []
            run, requests = self.cook("bounded", {"rules": rules}, disks=",".join(UUIDS))
            self.assertRegex(run.stderr, rf"(?s)\A{error}\Z")
            self.assertEqual([request["command"] for request in requests], commands)
            self.assertEqual(requests[0]["fields"]["uuidList"], UUIDS)

    def test_objects_are_taken_one_by_one(self):
        # The second one is refused with the exit value 0, and "x" before it is sent.
        (self.folder / "objects").write_text("\n".join(UUIDS) + "\nx\n")
        script = {"rules": [{"command": "crawler", "fields": {"uuid": UUIDS[1]},
                             "reply": {"status": 256, "text": "busy"}}]}
        run, requests = self.cook("objects", script)
        self.assertEqual([request["fields"]["uuid"] for request in requests], UUIDS)
        self.assertEqual(run.stdout, "2 failed\n")
        self.assertIn(f"{UUIDS[1]}: Error received", run.stderr)

    def test_list_is_joined_by_commas(self):
        (self.folder / "disks").write_text("\n".join(UUIDS) + "\n")
        run, requests = self.cook("list")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        fields = requests[0]["fields"]
        self.assertEqual((fields["exclusionList"], fields["exclusionMode"]), (UUIDS, 1))

    def test_catalogue_lists_the_slow_commands(self):
        run, _ = self.cook("catalogue", catalogue=str(ROOT / "generated/commands.json"))
        self.assertEqual(run.stdout.split(), ["resources-to-fix-unhealthy-objects",
                                              "what-if-entity-decom", "what-if-upgrade"])


class TheCookbook(unittest.TestCase):
    def test_every_recipe_has_a_test(self):
        tests = "".join(path.read_text() for path in pathlib.Path(__file__).parent.glob("*.py"))
        used = set(re.findall(r'(?:cook|recipe|ask_all)\("([\w-]+)"', tests))
        self.assertEqual(all_recipes() ^ used, set())


if __name__ == "__main__":
    main()
