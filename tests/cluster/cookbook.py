"""The recipes of docs/cookbook.md, as the tests run them: with shorter times, and each test
with a cluster of its own. Client and stand-in come from the environment, and so may another
cookbook."""

import os
import pathlib
import re
import unittest

import hosts

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
COOKBOOK = pathlib.Path(os.environ.get("TREL_COOKBOOK", ROOT / "docs/cookbook.md"))
CLIENT = os.environ["TREL_TOOL"]
STANDIN = os.environ["TREL_STANDIN"]

# The recipes' own times, and those of the tests: long for a busy machine that has to log
# in, and the silent nodes take as long.
SHORTER = {
    r"(ConnectTimeout) \d+": r"\1 5",
    r"(ServerAliveInterval) \d+": r"\1 2",
    r"(ServerAliveCountMax) \d+": r"\1 3",
    r"(timeout) 60\b": r"\1 8",
    r"(--kill-after=)5 60\b": r"\g<1>2 4",
}


def recipe(name):
    """The text of a recipe, without its first line."""
    blocks = re.findall(r"^```\w*\n# recipe: ([\w-]+)\n(.*?)^```", COOKBOOK.read_text(),
                        re.S | re.M)
    text = dict(blocks)[name]
    for pattern, short in SHORTER.items():
        text = re.sub(pattern, short, text)
    return text


def all_recipes():
    return set(re.findall(r"^# recipe: ([\w-]+)$", COOKBOOK.read_text(), re.M))


class ClusterTest(unittest.TestCase):
    """A test with nodes; cook() runs a recipe over them."""

    maxDiff = None

    def start(self, names=hosts.ALL):
        cluster = hosts.Cluster(CLIENT, STANDIN, recipe("config"), names)
        self.addCleanup(cluster.close)
        self.cluster = cluster
        return cluster

    def cook(self, name, before="", **variables):
        return self.cluster.run(before + recipe(name), **variables)

    def expect_one_request_each(self, command, names=hosts.REACHED):
        """Each daemon has received the command once, and no client waits on its node: it is
        bounded there, whatever becomes of ssh."""
        for name in names:
            self.assertEqual(self.cluster.nodes[name].received(), [command], name)
            self.assertEqual([parent for _, parent, *_ in self.cluster.clients(name)], ["timeout"])
        self.assertEqual(self.cluster.clients_left("node-silent"), [],
                         "a client still waits on its node")


def main():
    unittest.main(verbosity=2)
