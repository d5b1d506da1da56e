#!/usr/bin/python3
"""generated_test.py <class>: what is made from the contract, and the contract itself.

TREL_TOOL and TREL_STANDIN in the environment are the paths of the programs, TREL_MANUAL that of
an installed manual page whose examples are to be tried.
"""

import copy
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.append(str(ROOT / "protocol"))

import contract  # noqa: E402


def read(name):
    return (ROOT / name).read_text()


def generate(root, *arguments):
    return subprocess.run([root / "protocol/generate", *arguments], check=False,
                          capture_output=True, text=True)


def client_messages():
    """What the client can print on standard error, from its source: the texts of several words
    outside the help text, and the names of the statuses."""
    messages = {"Success", "Failure"}
    for path in (ROOT / "src").rglob("*.cc"):
        if path.name in ("command_table.cc", "usage.cc"):
            continue
        source = re.sub(r'//.*|#include .*|static_assert\([^;]*;|sizeof ".*"', "", path.read_text())
        source = re.sub(r'"\s*\n\s*"', "", source)
        for text in re.findall(r'"((?:[^"\\]|\\.)*)"', source):
            text = text.encode().decode("unicode_escape").rstrip("\n").replace("%.*s", "%s")
            if re.search(r"[a-z] [A-Za-z]", text):
                messages.add(text + ": %s" * text.endswith(" error"))
    return messages


class Copy(unittest.TestCase):
    """Tests that change the contract work on a copy of it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("protocol", "generated", "docs", "cluster", "debian"):
            shutil.copytree(ROOT / name, self.root / name)
        shutil.copy(ROOT / "CHANGELOG.md", self.root)

    def replace(self, name, old, new):
        path = self.root / name
        text = path.read_text()
        self.assertIn(old, text)
        path.write_text(text.replace(old, new, 1))


class Files(Copy):
    def test_are_those_that_the_contract_makes(self):
        run = generate(ROOT, "--check")
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_a_stale_one_is_named_and_renewed(self):
        pages = ["docs/protocol.md", "docs/payloads.md", "docs/standin.md"]
        made = [str(path.relative_to(ROOT)) for path in (ROOT / "generated").rglob("*")
                if path.is_file()]
        names = pages + made
        for name in pages:
            self.replace(name, "set-preferred-fd", "set-my-fd")
        for name in made:
            (self.root / name).write_text(read(name) + "\n")
        run = generate(self.root, "--check")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(sorted(run.stderr.splitlines()),
                         sorted(f"{name} is stale: run protocol/generate" for name in names))
        self.assertEqual(generate(self.root).returncode, 0)
        self.assertEqual(generate(self.root, "--check").returncode, 0)
        for name in names:
            self.assertEqual((self.root / name).read_text(), read(name))


class Contract(Copy):
    def test_a_mistake_is_refused_with_its_place(self):
        folder = "protocol/contract/"
        for name, old, new, message in [
                ("objects.yaml", "code: 2\n", "code: two\n",
                 "contract/objects.yaml: commands.crawler.code: 'two' is not of type 'integer'"),
                ("objects.yaml", "effect: asks", "efect: asks",
                 "contract/objects.yaml: commands.get-object-last-operation: "),
                ("moves.yaml", "code: 37", "code: 36", "code 36: stands twice"),
                ("treldb.yaml", "payload: path", "payload: pth", "pth is none of the payloads"),
                ("treldb.yaml", "code: 20\n", "code: 20\n    code: 20\n", "the key code stands twice"),
                ("treldb.yaml", "00000014 0000000b", "00000014 0000000c",
                 "update-treldb: its header announces 12 bytes of 11"),
                ("treldb.yaml", "'/tmp/nodes' 00", "'/tmp/nodes' 0", "does not match"),
                ("what-if.yaml", "width: 3, content: no", "width: 4, content: no",
                 "what-if-entity-decom: 24 bytes are not a length of its payload"),
                ("what-if.yaml", "type: u8", "type: u8, width: 2",
                 "decom-what-if.ensureDurability: its width is 1"),
                ("treldb.yaml", "type: text}", "type: digits}", "path.filePath: only a text or"),
                ("daemon.yaml", "        fields: {level: \"2\"}\n", "",
                 "level: no example has its fields"),
                ("rebalance.yaml", "{uuid: $uuid, running", "{uuid: $id, running",
                 "info-rebalance: its default reply repeats id, which is no field"),
                ("objects.yaml", "effect: asks", "effect: queries", "queries is none of the effects"),
                ("options.yaml", "type: uuid\n", "type: uid\n",
                 "options.yaml: options.uuid.type: uid is none of the argumentTypes")]:
            with self.subTest(message):
                self.replace(folder + name, old, new)
                with self.assertRaises(contract.ContractError) as refusal:
                    contract.load(self.root / "protocol")
                self.assertIn(message, str(refusal.exception))
                shutil.copy(ROOT / folder / name, self.root / folder / name)
        self.assertEqual(generate(self.root, "--check").returncode, 0)

    def test_has_each_message_of_the_client_and_no_other(self):
        stated = json.loads(read("generated/contract.json"))
        texts = {entry["text"].rstrip("\n") for entry in stated["diagnostics"]}
        texts |= {entry["text"] for entry in stated["statuses"] if "text" in entry}
        self.assertEqual(texts, client_messages())

    def test_the_changelog_names_each_new_command(self):
        sections = dict(re.findall(r"^## (\S+).*\n((?:(?!## ).*\n)*)", read("CHANGELOG.md"),
                                   re.MULTILINE))
        commands = json.loads(read("generated/contract.json"))["commands"]
        first = [command for command in commands if command["since"] == "1.0.0"]
        self.assertIn(f" {len(first)} commands", sections["1.0.0"],
                      "a command that came later needs its version as `since`")
        for command in commands:
            if command not in first:
                self.assertIn(f"`{command['word']}`", sections.get(command["since"], ""),
                              f"CHANGELOG.md does not name it under {command['since']}")

    def test_debian_has_every_version_of_the_changelog(self):
        (self.root / "CHANGELOG.md").write_text(
            "# Changelog\n\n## 1.1.0 (unreleased)\n\n- New.\n\n## 1.0.0 (2026-11-21)\n\n- Old.\n")
        self.assertEqual(generate(self.root).returncode, 0)
        text = (self.root / "debian/changelog").read_text()
        self.assertTrue(text.startswith(
            "trel-tool (1.1.0) unstable; urgency=medium\n\n  * New.\n\n"
            " -- trel-tool maintainers <trel-tool@example.org>  Sat, 21 Nov 2026 00:00:00 +0000\n"
            "\ntrel-tool (1.0.0) unstable"), text)


class Catalogue(unittest.TestCase):
    schema = json.loads(read("generated/commands.schema.json"))
    catalogue = json.loads(read("generated/commands.json"))

    def is_valid(self, catalogue):
        return jsonschema.Draft202012Validator(self.schema).is_valid(catalogue)

    def test_follows_its_schema(self):
        jsonschema.Draft202012Validator.check_schema(self.schema)
        jsonschema.validate(self.catalogue, self.schema, jsonschema.Draft202012Validator)

    def test_lacks_no_part(self):
        for part in self.catalogue:
            broken = copy.deepcopy(self.catalogue)
            del broken[part]
            self.assertFalse(self.is_valid(broken), part)
        for part in self.catalogue["commands"][0]:
            broken = copy.deepcopy(self.catalogue)
            del broken["commands"][0][part]
            self.assertFalse(self.is_valid(broken), part)


class Manual(unittest.TestCase):
    def test_mandoc_finds_nothing(self):
        for page in ("generated/trel-tool.8", "generated/trel-standin.8"):
            findings = subprocess.run(["mandoc", "-Tlint", ROOT / page], check=False,
                                      capture_output=True, text=True)
            # Pages of other packages that this machine lacks are looked at below.
            lines = [line for line in (findings.stdout + findings.stderr).splitlines()
                     if "referenced manual not found" not in line
                     and not line.startswith("mandoc: outdated mandoc.db")]
            self.assertEqual(lines, [])

    def test_has_each_message_of_the_client_word_for_word(self):
        mandoc = ["mandoc", "-Tascii", "-O", "width=1000", ROOT / "generated/trel-tool.8"]
        page = subprocess.run(mandoc, check=True, capture_output=True, text=True).stdout
        page = re.sub(".\b", "", page).split("\nDIAGNOSTICS\n")[1].split("\nSEE ALSO\n")[0]
        # An entry begins at the fifth column, and its arguments have names.
        entries = {re.sub(r"\b(text|function|number)\b|digits", "%", line.strip())
                   for line in page.splitlines() if re.match(" {5}[^ ]", line)}
        for message in client_messages():
            self.assertIn(re.sub(r"%[.*0-9]*[a-z]", "%", message).strip(), entries)

    def test_refers_to_these_pages(self):
        pages = re.findall(r"^\.Xr (\S+ \S+)", read("generated/trel-tool.8"), re.MULTILINE)
        self.assertEqual(sorted(set(pages)), ["errno 3", "timeout 1", "trel-standin 8", "unix 7"])

    def test_examples_work_against_the_stand_in(self):
        manual = pathlib.Path(os.environ.get("TREL_MANUAL", ROOT / "generated/trel-tool.8"))
        page = manual.read_text().split(".Sh EXAMPLES\n")[1].split("\n.Sh ")[0]
        lines = [line.replace(r"\(dq", '"') for line in re.findall(r"^\.Dl # (.*)", page, re.MULTILINE)]
        self.assertGreaterEqual(len(lines), 10)
        with tempfile.TemporaryDirectory() as folder:
            # The examples use the daemon's own socket; here they get the stand-in's.
            wrapper = pathlib.Path(folder) / "bin/trel-tool"
            wrapper.parent.mkdir()
            wrapper.write_text('#!/bin/sh\nexec "$TREL_TOOL" -s "$SOCKET" "$@"\n')
            wrapper.chmod(0o755)
            environment = dict(os.environ, PATH=f"{wrapper.parent}:{os.environ['PATH']}",
                               SOCKET=f"{folder}/socket")
            environment.pop("POSIXLY_CORRECT", None)  # options stand after the command word
            standin = subprocess.Popen([os.environ["TREL_STANDIN"], "--socket", f"{folder}/socket"],
                                       stdout=subprocess.PIPE, text=True)
            try:
                self.assertTrue(standin.stdout.readline(), "the stand-in did not start")
                for line in lines:
                    run = subprocess.run(line, shell=True, cwd=folder, env=environment,
                                         check=False, capture_output=True, text=True)
                    self.assertEqual((run.returncode, run.stderr), (0, ""), line)
                    self.assertNotIn("usage:", run.stdout, line)
                self.assertTrue((pathlib.Path(folder) / "states.txt").exists())
                self.check_examples_of_the_standin(folder, environment)
            finally:
                standin.terminate()
                standin.communicate()

    def check_examples_of_the_standin(self, folder, environment):
        examples = read("generated/trel-standin.8").split(".Sh EXAMPLES\n")[1].split("\n.Sh ")[0]
        examples = examples.replace("\\-", "-").replace("\\e\n", "")
        lines = re.findall(r"^(?:\.Dl )?\$ (.*)", examples, re.MULTILINE)
        self.assertEqual(len(lines), 3)
        pathlib.Path(folder, "rules.json").write_text(
            re.search(r"^\{\n.*?^\}$", read("generated/trel-standin.8"), re.MULTILINE | re.DOTALL)[0])
        lines.append("trel-standin --check --script rules.json && echo feasible")
        shutil.copy(ROOT / "standin/examples/maintenance.json", f"{folder}/expected.json")
        script = pathlib.Path(folder, "script")
        script.write_text(f"#!/bin/sh\n{ROOT}/standin/examples/maintenance.sh trel-tool drawer\n")
        script.chmod(0o755)
        pathlib.Path(folder, "bin/trel-standin").symlink_to(os.environ["TREL_STANDIN"])
        for line in lines:
            line = line.replace("/var/run/treld.uds", "socket")
            run = subprocess.run(line, shell=True, cwd=folder, env=environment, check=False,
                                 capture_output=True, text=True, timeout=60)
            self.assertEqual(run.returncode, 0, line + run.stderr)
            self.assertRegex(run.stdout, "TREL statistics|feasible")


if __name__ == "__main__":
    unittest.main(verbosity=1)
