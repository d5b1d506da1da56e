#!/usr/bin/python3
"""Runs the Ansible recipes, the collection's module and its playbooks over real ssh."""

import json
import re
import shutil
import subprocess
import tarfile

import hosts
from cookbook import ROOT, ClusterTest, main, recipe

COLLECTION = ROOT / "cluster/ansible_collections/trel/tool"
SETTINGS = {
    "ANSIBLE_COLLECTIONS_PATH": str(ROOT / "cluster"), "ANSIBLE_PYTHON_INTERPRETER": "/usr/bin/python3",
    "ANSIBLE_TIMEOUT": "5", "ANSIBLE_FORKS": "16", "ANSIBLE_SSH_USETTY": "False",
    "ANSIBLE_NOCOLOR": "1", "PYTHONDONTWRITEBYTECODE": "1",
}
UUID = "01234567-89ab-cdef-0123-456789abcdef"
OUTCOMES = {
    "node-good-1": "done", "node-good-2": "done", "node-silent": "no-reply",
    "node-refusing": "refused", "node-refusing-256": "refused", "node-early": "empty",
    "node-partial": "cut-short", "node-idle": "no-daemon", "node-bare": "no-client",
    "node-cut": "unreachable", "node-closed": "unreachable", "node-down": "unreachable",
    "node-hung": "unreachable",
}


class WithAnsible(ClusterTest):
    def cook(self, name, before="", **variables):
        return super().cook(name, before, **SETTINGS, **variables)

    def module(self, words, node="node-good-1", **variables):
        """Runs the module on a node; returns its result and the exit value."""
        run = self.cluster.run(f"ansible {node} -i nodes {variables.pop('flags', '')} "
                               f"-m trel.tool.trel_tool -a '{words}'", **SETTINGS, **variables)
        found = re.search(r"(?:=>|\|) (\{.*)", run.out, re.S)
        self.assertTrue(found, run)
        return json.loads(found.group(1)), run.value

    def received(self, node):
        return [request["command"] for request in self.cluster.nodes[node].requests]


class Module(WithAnsible):
    def test_adhoc_takes_the_empty_word_to_all_nodes(self):
        self.start()
        run = self.cook("adhoc")
        self.assertNotIn(run.value, (0, None), run)
        self.expect_one_request_each("set-global-exclusion-list")
        for name in hosts.GOOD:
            self.assertIn(f"{name} | CHANGED | rc=0", run.out)
            self.assertEqual(self.cluster.nodes[name].requests[0]["fields"]["exclusionList"], [])

    def test_collect_has_an_entry_for_every_node(self):
        self.start()
        run = self.cook("collect-playbook")
        self.assertEqual(run.value, 2, run)
        nodes = {entry["node"]: entry for entry in json.loads(self.cluster.read("cluster.json"))}
        self.assertEqual({name: entry["outcome"] for name, entry in nodes.items()}, OUTCOMES)
        for name, entry in nodes.items():
            self.assertEqual(entry["reply"] is not None, name in hosts.GOOD, name)
        self.assertEqual([nodes[name]["status"] for name in
                          ("node-good-1", "node-refusing", "node-refusing-256")], [0, 5, 256])
        self.assertIn("not now", nodes["node-refusing"]["error"])
        self.expect_one_request_each("fitness-stats-get")

    def test_collect_succeeds_where_all_answer(self):
        self.start(hosts.GOOD)
        run = self.cook("collect-playbook")
        self.assertEqual(run.value, 0, run)
        self.assertEqual(len(json.loads(self.cluster.read("cluster.json"))), 2)

    def test_the_timer_starts_collect(self):
        # In the place of the user's systemd: it runs what it is to run later.
        self.start(hosts.GOOD)
        self.cluster.write_program(self.cluster.folder / "bin/systemd-run", "#!/bin/sh\n"
                                   'while [ "${1#--}" != "$1" ]; do echo "$1" >>options; shift; done\n'
                                   'exec "$@"\n')
        run = self.cook("timer")
        self.assertEqual(run.value, 0, run)
        self.assertEqual(len(json.loads(self.cluster.read("stats.json"))), 2)
        options = dict(line.partition("=")[::2] for line in self.cluster.read("options").split())
        subprocess.run(["systemd-analyze", "calendar", options["--on-calendar"]], check=True,
                       stdout=subprocess.DEVNULL)
        self.assertEqual(options["--working-directory"], str(self.cluster.folder / "work"))

    def test_wrong_arguments_touch_no_node(self):
        self.start(["node-good-1"])
        for words in ("command=drain-disk", "command=stats speed=3", "command=crawler",
                      f"command=stats uuid={UUID}", "command=crawler uuid=0123",
                      "command=enable-workitem work_item=move"):
            result, value = self.module(words)
            self.assertEqual((value, result["outcome"]), (2, "rejected"), words)
        self.assertEqual(self.cluster.servers, [], "ssh was used")

    def test_queries_run_in_check_mode_and_changes_do_not(self):
        self.start(["node-good-1"])
        result, value = self.module("command=info-owner-rebalance", flags="--check")
        self.assertEqual((value, result["outcome"], result["changed"]), (0, "done", False))
        self.assertEqual(result["reply"]["running"], False)
        result, value = self.module("command=fix-concats", flags="--check")
        self.assertEqual((value, result["outcome"], result["changed"]), (0, "skipped", True))
        result, value = self.module("command=stats output_path=/nonexistent/file", flags="--check")
        self.assertEqual((value, result["outcome"]), (0, "skipped"))
        self.assertEqual(self.received("node-good-1"), ["info-owner-rebalance"])

    def test_changed_says_whether_a_change_can_have_arrived(self):
        self.start(["node-good-1", "node-refusing-256", "node-idle", "node-silent"])
        for node, words, expected in (
                ("node-good-1", "command=fix-concats", (0, True, "done")),
                ("node-good-1", "command=refresh-config-opts", (0, True, "sent")),
                ("node-good-1", "command=stats", (0, False, "done")),
                ("node-refusing-256", "command=fix-concats", (2, True, "refused")),
                ("node-idle", "command=fix-concats", (2, False, "no-daemon")),
                ("node-silent", "command=fix-concats limit=2", (2, True, "too-late"))):
            result, value = self.module(words, node)
            self.assertEqual((value, result["changed"], result["outcome"]), expected, (node, words))
        self.assertEqual(self.cluster.clients_left("node-silent"), [])


class Maintenance(WithAnsible):
    ITEMS = ["disable-workitem"] * 2 + ["enable-workitem"] * 2

    def maintain(self, nodes, steps="false", **replaced):
        """Runs the playbook; the steps are a command on the node."""
        self.start(nodes)
        self.cluster.write("steps.yml", json.dumps([{
            "name": "Step", "ansible.builtin.command": {"argv": ["sh", "-c", steps]}}]))
        script = recipe("maintenance-playbook")
        for old, new in replaced.items():
            self.assertRegex(script, f"{old}=[0-9]+")
            script = re.sub(f"{old}=[0-9]+", f"{old}={new}", script)
        return self.cluster.run(script, **SETTINGS)

    def test_work_items_are_disabled_during_the_steps(self):
        run = self.maintain(hosts.GOOD, "trel-tool stats")
        self.assertEqual(run.value, 0, run)
        for name in hosts.GOOD:
            self.assertEqual(self.received(name), [*self.ITEMS[:2], "stats", *self.ITEMS[2:]])
        names = [request["fields"].get("workItemName") for request in
                 self.cluster.nodes["node-good-1"].requests]
        self.assertEqual(names, ["PROACTIVE_REBALANCE", "MOVE", None, "PROACTIVE_REBALANCE", "MOVE"])

    def test_a_failure_gives_them_back_and_ends_the_run_unless_it_is_tolerated(self):
        for nodes, steps, replaced, maintained in (
                (hosts.GOOD, "test $NODE != node-good-1", {"batch": 1}, hosts.GOOD[:1]),
                (["node-idle", *hosts.GOOD], "true", {"batch": 2, "tolerated_percent": 50}, hosts.GOOD),
                # The others of the batch have had their maintenance, and their work items back.
                (["node-idle", *hosts.GOOD], "true", {"batch": 2, "tolerated_percent": 49},
                 hosts.GOOD[:1]),
                (["node-cut", *hosts.GOOD], "true", {"batch": 2}, hosts.GOOD[:1]),
                (["node-closed", *hosts.GOOD], "true", {"batch": 1}, [])):
            with self.subTest((nodes, replaced)):
                run = self.maintain(nodes, steps, **replaced)
                if nodes[0] in ("node-cut", "node-closed"):
                    self.assertNotIn(run.value, (0, None), run)
                else:
                    self.assertEqual(run.value, 2, run)
                for name in hosts.GOOD:
                    self.assertEqual(self.received(name), self.ITEMS if name in maintained else [])
                if nodes[0] == "node-cut":
                    self.assertEqual(set(self.received("node-cut")), {"disable-workitem"})
                    self.assertIn("lost with work items disabled: node-cut", run.out)
                self.cluster.close()


class Install(WithAnsible):
    def test_the_package_would_be_installed_and_its_copy_removed(self):
        self.start(["node-good-1"])
        control = self.cluster.folder / "package/DEBIAN/control"
        control.parent.mkdir(parents=True, mode=0o755)
        control.write_text("Package: trel-tool\nVersion: 0\nArchitecture: all\n"
                           "Maintainer: nobody\nDescription: nothing\n")
        (self.cluster.folder / "packages").mkdir()
        package = self.cluster.folder / "packages/trel-tool_0_all.deb"
        subprocess.run(["dpkg-deb", "--build", control.parent.parent, package], check=True,
                       stdout=subprocess.DEVNULL)
        run = self.cluster.run("ansible-playbook --check -i nodes trel.tool.install "
                               f"-e packages={package.parent}", **SETTINGS)
        self.assertEqual(run.value, 0, run)
        self.assertRegex(run.out, r"TASK \[Install it with apt\] \*+\nchanged: \[node-good-1\]")
        self.assertEqual(list(self.cluster.folder.glob("ansible.*trel-tool")), [])


class Collection(ClusterTest):
    def run_here(self, *words):
        run = subprocess.run(words, cwd=COLLECTION, env=dict(self.cluster.environment, **SETTINGS),
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run)
        return run.stdout

    def setUp(self):
        self.start([])

    def test_ansible_doc_describes_the_module(self):
        text = json.loads(self.run_here("ansible-doc", "-j", "trel.tool.trel_tool"))
        options = text["trel.tool.trel_tool"]["doc"]["options"]
        contract = json.loads((ROOT / "generated/contract.json").read_text())
        self.assertEqual(options["command"]["choices"],
                         [command["word"] for command in contract["commands"]])

    def test_ansible_lint_finds_nothing(self):
        # Later ones do not support Debian 12's Ansible any more. We do.
        self.run_here("ansible-lint", "--offline", "--profile=production",
                      "--skip-list=meta-runtime[unsupported-version]", "playbooks", "plugins",
                      "meta")

    def test_playbooks_are_sound(self):
        for path in sorted((COLLECTION / "playbooks").glob("*.yml")):
            self.run_here("ansible-playbook", "-i", "localhost,", "--syntax-check",
                          f"trel.tool.{path.stem}")

    def test_ansible_test_finds_nothing(self):
        # Those of its checks that fetch nothing; it writes beside the sources.
        copy = self.cluster.folder / "ansible_collections/trel/tool"
        shutil.copytree(COLLECTION, copy)
        checks = ["action-plugin-docs", "compile", "line-endings", "shebang"]
        # Of the Pythons that it looks for it takes each that is there.
        options = dict(cwd=copy, env=dict(self.cluster.environment, PATH="/usr/bin:/bin"),
                       capture_output=True, text=True)
        known = subprocess.run(["ansible-test", "sanity", "--list-tests"], check=True, **options)
        # For Python 2, which later ones have forgotten.
        checks += {"future-import-boilerplate", "metaclass-boilerplate",
                   "no-basestring"}.intersection(known.stdout.split())
        run = subprocess.run(["ansible-test", "sanity", *(f"--test={name}" for name in checks)],
                             **options)
        self.assertEqual(run.returncode, 0, run)

    def test_it_can_be_packed(self):
        target = self.cluster.folder / "built"
        self.run_here("ansible-galaxy", "collection", "build", "--output-path", str(target))
        with tarfile.open(*target.glob("trel-tool-*.tar.gz")) as packed:
            arguments = packed.getmember("plugins/module_utils/commands.py")
            self.assertTrue(arguments.isfile(), "it holds a link out of the collection")


if __name__ == "__main__":
    main()
