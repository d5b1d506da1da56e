#!/usr/bin/python3
"""Tests how the Ansible module builds command lines and judges runs, without Ansible."""

import getopt
import json
import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "cluster"))

from ansible_collections.trel.tool.plugins.module_utils import client  # noqa: E402
from ansible_collections.trel.tool.plugins.module_utils.commands import (  # noqa: E402
    ARGUMENTS, COMMANDS, OPTIONS)

CONTRACT = json.loads((ROOT / "generated/contract.json").read_text())
UUID = "01234567-89ab-cdef-0123-456789abcdef"


def parameters(**values):
    """As Ansible hands them over: all of them, with their defaults."""
    return {**{name: argument.get("default") for name, argument in ARGUMENTS.items()}, **values}


def parsed(words):
    """Options and words of a command line, in whatever order they stand."""
    letters = "".join(option["letter"] + ":" * (option["type"] != "none")
                      for option in OPTIONS.values())
    names = [name.replace("_", "-") + "=" * (option["type"] != "none")
             for name, option in OPTIONS.items()]
    options, rest = getopt.gnu_getopt(words, letters, names)
    by_letter = {"-" + option["letter"]: name for name, option in OPTIONS.items()}
    return {by_letter.get(name, name[2:].replace("-", "_")): value for name, value in options}, rest


class CommandLine(unittest.TestCase):
    def test_each_example_is_built_from_arguments(self):
        for command in CONTRACT["commands"]:
            with self.subTest(command["word"]):
                options, (word, *words) = parsed(command["examples"][0]["args"])
                values = {}
                for name, value in options.items():
                    kind = ARGUMENTS[name]["type"]
                    values[name] = {"bool": lambda _: True, "int": int,
                                    "list": lambda text: text.split(",") if text else []
                                    }.get(kind, str)(value)
                built = client.command_line(parameters(command=word, words=words, **values))
                self.assertEqual(parsed(built), (options, [word, *words]))

    def test_wrong_arguments_are_refused(self):
        for reason, values in (
                ("does not read uuid", {"command": "stats", "uuid": UUID}),
                ("does not read all", {"command": "fix-concats", "all": True}),
                ("is no UUID", {"command": "crawler", "uuid": UUID[:-1]}),
                ("is no UUID", {"command": "crawler", "uuid": UUID + "\n"}),
                ("is no UUID", {"command": "set-global-exclusion-list", "exclusion_list": [""]}),
                ("at most 2560", {"command": "what-if-upgrade", "uuid_list": [UUID] * 2561}),
                ("at most 2559", {"command": "set-global-exclusion-list",
                                  "exclusion_list": [UUID] * 2560}),
                ("out of range", {"command": "enable-trel-recovery-mode", "recovery_mode": 8}),
                ("out of range", {"command": "enable-trel-recovery-mode", "recovery_mode": -1}),
                ("1 to 4096 bytes", {"command": "update-treldb", "file_path": "x" * 4097}),
                ("1 to 107 bytes", {"command": "stats", "socket_path": "x" * 108}),
                ("too many words", {"command": "stats", "words": ["now"]}),
                ("is no number", {"command": "start-proactive-rebalance", "words": ["1h"]}),
                ("one of", {"command": "block-cdb-cb", "words": ["everything"]}),
                ("exclude", {"command": "block-cdb-cb", "words": ["add", "delete"]}),
                ("limit", {"command": "stats", "limit": 0}),
                ("needed: a level", {"command": "log-level"}),
                ("needed: a level", {"command": "log-level", "words": ["-1"]}),
                ("needed: uuid or all", {"command": "crawler"}),
                ("needed: json", {"command": "fitness-config-set"}),
                ("needed: uuid_list", {"command": "what-if-upgrade", "uuid_list": []}),
                ("needed: recovery_mode", {"command": "enable-trel-recovery-mode"}),
                ("needed: work_item", {"command": "enable-workitem"}),
                ("needed: words", {"command": "block-cdb-cb"}),
                ("needed: exclusion_list", {"command": "set-global-exclusion-list"}),
                ("needed: uuid and", {"command": "component-manual-move", "uuid": UUID}),
                ("needed: uuid and", {"command": "component-manual-move", "uuid": UUID,
                                      "exclusion_list": []}),
                ("needed: uuid and", {"command": "component-manual-move", "uuid": UUID,
                                      "destination_list": [UUID], "exclusion_list": [UUID]})):
            with self.subTest(values):
                with self.assertRaisesRegex(client.ArgumentError, reason):
                    client.command_line(parameters(**values))

    def test_every_check_of_the_contract_is_known(self):
        for command, spec in COMMANDS.items():
            with self.subTest(command):
                try:
                    client.check_needs(spec["check"], parameters(command=command))
                except client.ArgumentError:
                    pass

    def test_lists_may_be_empty_where_the_client_takes_that(self):
        words = client.command_line(parameters(command="set-global-exclusion-list",
                                               exclusion_list=[]))
        self.assertEqual(words, ["-x", "", "set-global-exclusion-list"])


class Judging(unittest.TestCase):
    def test_outcomes(self):
        refused = "Error received: Unknown status 0x0000007c: x"
        for command, value, out, err, expected in (
                ("stats", 0, "text", "", ("done", True)),
                ("stats", 0, "", "", ("empty", True)),
                ("info-rebalance", 0, "\n", "", ("empty", True)),
                ("fix-concats", 0, "", "", ("done", True)),
                ("refresh-config-opts", 0, "", "", ("sent", True)),
                ("fix-concats", 0, "", refused, ("refused", True)),
                ("stats", 0, "\n", "Failed to receive the complete", ("cut-short", True)),
                ("stats", 1, "usage: x", "complaint", ("rejected", False)),
                ("stats", 1, "", "connect error: No such file", ("no-daemon", False)),
                ("fix-concats", 1, "", "Error received: Failure: x", ("refused", True)),
                ("stats", 11, "", "", ("no-reply", True)),
                ("fix-concats", 11, "", "Error received: No answer within the time-out: (null)",
                 ("no-reply", True)),
                ("fix-concats", 11, "", "Error received: Unknown status 0x0000000b: x",
                 ("refused", True)),
                ("stats", 124, "", "", ("too-late", True)),
                ("stats", 137, "", "", ("too-late", True)),
                ("fix-concats", 124, "", refused, ("refused", True)),
                ("stats", 127, "", "timeout: failed to run", ("no-client", False)),
                ("fix-concats", 127, "", refused, ("refused", True)),
                ("stats", -6, "", "", ("aborted", True)),
                ("fix-concats", 32, "", "Sending command failed: Broken pipe", ("failed", True))):
            with self.subTest((command, value, err)):
                self.assertEqual(client.judge(parameters(command=command), value, out, err),
                                 expected)

    def test_the_status_is_what_the_client_prints(self):
        for value, err, expected in (
                (0, "", 0), (0, "Error received: Unknown status 0x00000100: x", 256),
                (1, "Error received: Failure: x", 0x0bad0001), (1, "connect error: x", None),
                (11, "Error received: No answer within the time-out: (null)", None)):
            self.assertEqual(client.status(value, err), expected, err)

    def test_changes_and_files_count_as_changes(self):
        for values, expected in (({"command": "stats"}, False), ({"command": "fix-concats"}, True),
                                 ({"command": "stats", "output_path": "/x"}, True)):
            self.assertEqual(client.changes(parameters(**values)), expected)

    def test_only_json_is_data(self):
        self.assertEqual(client.reply('{"a": 1}\n'), {"a": 1})
        self.assertIsNone(client.reply("owned: 3\n"))

    def test_the_bound_lies_beyond_the_clients_own(self):
        for command, spec in COMMANDS.items():
            self.assertGreater(client.seconds(parameters(command=command)), 2 * spec["timeout"])
        self.assertEqual(client.seconds(parameters(command="stats", limit=7)), 7)


if __name__ == "__main__":
    unittest.main(verbosity=2)
