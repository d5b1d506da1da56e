#!/usr/bin/python3
"""cookbook_test.py <cookbook> <trel-tool> <trel-standin> <catalogue>: runs each recipe of
the cookbook, with three nodes that are this machine: an ssh that runs its command here,
except for the node that it does not reach."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

COOKBOOK, CLIENT, STANDIN, CATALOGUE = sys.argv[1:]
CLIENT = os.environ.get("TREL_TOOL", CLIENT)
os.environ.pop("POSIXLY_CORRECT", None)  # the recipes have options after the command word

UUIDS = ["01234567-89ab-cdef-0123-456789abcdef", "11234567-89ab-cdef-0123-456789abcdef"]

SSH = """#!/bin/sh
while [ "${1#-}" != "$1" ]; do shift 2; done
[ "$1" != gone ] || exit 255
node=$1
shift
NODE=$node exec sh -c "$*"
"""

# The node "idle" has no daemon.
WRAPPER = """#!/bin/sh
socket="{folder}/socket"
[ "$NODE" != idle ] || socket="{folder}/none"
[ "$1" != -s ] || exec "{client}" "$@"
echo "$@" >>"{folder}/calls"
exec "{client}" -s "$socket" "$@"
"""


def recipes():
    text = pathlib.Path(COOKBOOK).read_text()
    return dict(re.findall(r"```bash\n# recipe: (\w+)\n(.*?)```", text, re.S))


class Cookbook(unittest.TestCase):
    done = set()

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        programs = self.folder / "bin"
        programs.mkdir()
        for name, text in {"ssh": SSH,
                           "trel-tool": WRAPPER.format(folder=self.folder, client=CLIENT),
                           "trel-standin": f'#!/bin/sh\nexec "{STANDIN}" "$@"\n'}.items():
            (programs / name).write_text(text)
            (programs / name).chmod(0o755)
        (self.folder / "nodes").write_text("one\nidle\ngone\ntwo\n")
        self.standin = subprocess.Popen([STANDIN, "--socket", self.folder / "socket"],
                                        stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.end_standin)
        self.assertTrue(self.standin.stdout.readline())

    def end_standin(self):
        self.standin.terminate()
        self.standin.communicate()

    def cook(self, name, before="", **variables):
        Cookbook.done.add(name)
        environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}",
                           **variables)
        run = subprocess.run(["bash", "-uc", before + recipes()[name]], cwd=self.folder,
                             env=environment, capture_output=True, text=True, timeout=60)
        return run

    def read(self, name):
        return (self.folder / name).read_text()

    def calls(self):
        return self.read("calls").splitlines()

    def test_loop_keeps_answers_and_exit_values_apart(self):
        self.cook("loop")
        self.assertEqual(self.read("statuses"), "one 0\nidle 1\ngone 255\ntwo 0\n")
        self.assertNotEqual(self.read("answers/one"), "")
        self.assertEqual(self.read("answers/one"), self.read("answers/two"))
        self.assertIn("connect error", self.read("answers/idle.errors"))

    def test_failed_tells_the_kinds_of_failure(self):
        (self.folder / "statuses").write_text("a 0\nb 255\nc 124\nd 5\n")
        self.assertEqual(self.cook("failed").stdout,
                         "b not reached\nc too slow\nd exit value 5\n")

    def test_parallel_finds_the_same_as_the_loop(self):
        self.cook("parallel")
        self.assertEqual(self.read("statuses"), "gone 255\nidle 1\none 0\ntwo 0\n")
        self.assertNotEqual(self.read("answers/two"), "")

    def test_collect_fetches_the_file_of_each_node(self):
        name = self.folder / "crawler.txt"
        recipe = recipes()["collect"]
        self.assertIn("/tmp/crawler.txt", recipe)
        # Elsewhere, so that two runs of this test do not meet.
        Cookbook.done.add("collect")
        subprocess.run(["bash", "-uc", recipe.replace("/tmp/crawler.txt", str(name))],
                       cwd=self.folder, capture_output=True, timeout=60,
                       env=dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}"))
        self.assertEqual(sorted(path.name for path in self.folder.glob("crawler.*")),
                         ["crawler.one", "crawler.two"])
        self.assertIn(f"get-obj-crawler-state -a -o {name}", self.calls())

    def test_bounded_leaves_a_good_run_alone(self):
        run = self.cook("bounded", disks=",".join(UUIDS))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(len(self.calls()), 1)

    def test_bounded_cancels_what_takes_too_long(self):
        run = self.cook("bounded", "timeout() { return 124; }\n", disks=UUIDS[0])
        self.assertEqual(run.stderr, "no answer within a minute\n")
        self.assertEqual(self.calls(), ["what-if-cancel"])

    def test_objects_are_taken_one_by_one(self):
        (self.folder / "objects").write_text("\n".join(UUIDS) + "\nx\n")
        run = self.cook("objects")
        self.assertEqual(self.calls(), [f"crawler -u {uuid}" for uuid in [*UUIDS, "x"]])
        self.assertEqual(run.stdout.splitlines()[-1], "1 failed")

    def test_list_is_joined_by_commas(self):
        (self.folder / "disks").write_text("\n".join(UUIDS) + "\n")
        self.assertEqual(self.cook("list").returncode, 0)
        self.assertEqual(self.calls(), [f"set-global-exclusion-list -x {','.join(UUIDS)} -X 1"])

    def test_harness_asks_its_own_stand_in(self):
        run = self.cook("harness", TMPDIR=str(self.folder))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertNotEqual(run.stdout, "")

    def test_catalogue_lists_the_slow_commands(self):
        self.assertEqual(self.cook("catalogue", catalogue=CATALOGUE).stdout.split(),
                         ["resources-to-fix-unhealthy-objects", "what-if-entity-decom",
                          "what-if-upgrade"])

    @classmethod
    def tearDownClass(cls):
        # A recipe that no test runs is not tested.
        assert cls.done == set(recipes()), set(recipes()) ^ cls.done


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
