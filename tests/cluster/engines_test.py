#!/usr/bin/python3
"""Runs the recipes that take one command to all nodes, over nodes of every kind."""

import os

import hosts
from cookbook import ClusterTest, main

# With the bound on the node shorter than the client's own time-out.
STATUSES = {
    "node-good-1": 0, "node-good-2": 0, "node-silent": 124, "node-refusing": 5,
    "node-refusing-256": 0, "node-early": 0, "node-partial": 0, "node-idle": 1, "node-bare": 127,
    "node-cut": 255, "node-closed": 255, "node-down": 255, "node-hung": 255,
}

UUID = "01234567-89ab-cdef-0123-456789abcdef"


class Engines(ClusterTest):
    def ask_all(self, engine, order):
        """Runs an engine that keeps answers and statuses, whose nodes come in this order."""
        self.start()
        self.cluster.write("answers/node-gone.out", "of yesterday\n")
        self.assertIsNotNone(self.cook(engine).value, f"{engine} hangs")
        self.assertFalse((self.cluster.folder / "work/answers/node-gone.out").exists())
        self.assertEqual(self.cluster.read("statuses"),
                         "".join(f"{name} {STATUSES[name]}\n" for name in order))
        for name in hosts.GOOD:
            self.assertTrue(self.cluster.read(f"answers/{name}.out").startswith("{"), name)
            self.assertEqual(self.cluster.read(f"answers/{name}.err"), "")
        for name in set(hosts.ALL) - set(hosts.GOOD):
            self.assertEqual(self.cluster.read(f"answers/{name}.out").strip(), "", name)
        self.assertIn("connect error", self.cluster.read("answers/node-idle.err"))
        self.assertIn("Error received", self.cluster.read("answers/node-refusing-256.err"))
        self.expect_one_request_each("fitness-stats-get")

    def test_loop(self):
        self.ask_all("loop", hosts.ALL)
        run = self.cook("failed")
        self.assertEqual((run.value, run.err), (0, ""))
        self.assertEqual(run.out.splitlines(), [
            "node-silent: exit value 124: ended by timeout",
            "node-refusing: exit value 5: Error received: Unknown status 0x00000005: not now",
            "node-refusing-256: exit value 0: Error received: Unknown status 0x00000100: not now",
            "node-early: exit value 0: empty reply",
            "node-partial: exit value 0: Failed to receive the complete UDS message sent. "
            "Please try again",
            "node-idle: exit value 1: connect error: No such file or directory",
            "node-bare: exit value 127: no client",
            "node-cut: exit value 255: not reached, or lost",
            "node-closed: exit value 255: not reached, or lost",
            "node-down: exit value 255: not reached, or lost",
            "node-hung: exit value 255: not reached, or lost"])

    def test_parallel(self):
        self.ask_all("parallel", sorted(hosts.ALL))
        run = self.cook("json")
        self.assertEqual((run.value, run.err), (0, ""))
        run = self.cook("table")
        self.assertEqual((run.value, run.err), (0, ""))
        rows = {row[0]: row[1:] for row in (line.split("\t") for line in run.out.splitlines())}
        self.assertEqual({name: row[0] for name, row in rows.items()},
                         {name: str(status) for name, status in STATUSES.items()})
        for name, row in rows.items():
            self.assertEqual(row[1] != "-", name in hosts.GOOD, name)
        self.assertEqual(rows["node-good-1"][2], "")
        self.assertIn("connect error", rows["node-idle"][2])

    def expect_values_of_few(self, engine):
        for other, value in ("node-refusing", 5), ("node-good-2", 0):
            self.cluster.write("nodes", f"node-good-1\n{other}\n")
            self.assertEqual(self.cook(engine).value, value)

    def test_pdsh(self):
        self.start()
        run = self.cook("pdsh")
        self.assertEqual(run.value, 255, run)
        self.expect_one_request_each("info-owner-rebalance")
        self.assertIn("node-good-[1-2]", run.out)
        self.assertIn("Error received", self.cluster.read("pdsh.err"))
        self.expect_values_of_few("pdsh")  # the largest of all nodes comes through the pipe
        connections = len(self.cluster.servers)
        self.assertEqual(self.cook("pdsh").value, 0)
        self.assertEqual(len(self.cluster.servers), connections, "connections are not shared")

    def test_parallel_ssh(self):
        self.start()
        self.cluster.write("answers/node-gone", "of yesterday\n")
        run = self.cook("pssh")
        self.assertEqual(run.value, 4, run)
        self.expect_one_request_each("info-owner-rebalance")
        answers = self.cluster.run("for file in answers/*; do [ -s $file ] && echo $file; done")
        self.assertEqual(set(answers.out.split()), {f"answers/{name}" for name in
                                                    [*hosts.GOOD, "node-early", "node-partial"]})
        self.assertIn("Error received", self.cluster.read("errors/node-refusing-256"))
        self.expect_values_of_few("pssh")

    def test_collect(self):
        self.start()
        self.cluster.write("crawler/node-gone", "of yesterday\n")
        run = self.cook("collect")
        self.assertIsNotNone(run.value, "collect hangs")
        self.assertEqual(self.cluster.run("ls crawler | grep -v part").out.split(), hosts.GOOD)
        self.assertIn(" idle\n", self.cluster.read("crawler/node-good-1"))
        self.expect_one_request_each("get-obj-crawler-state")
        # Nodes may share a machine, and others may write to /tmp.
        files = {words[-1] for name in hosts.REACHED for _, *words in self.cluster.clients(name)}
        self.assertEqual(len(files), len(hosts.REACHED))
        self.assertEqual({os.path.dirname(file) for file in files}, {str(self.cluster.folder)})
        left = [path.name for path in self.cluster.folder.glob("tmp.*")]
        self.assertEqual(left, [], "a node keeps its file")

    def test_a_question_is_a_failure(self):
        # Of a node that is not known, ssh asks whether it is the right one.
        self.start(["node-good-1"])
        (self.cluster.folder / "known_hosts").write_text("")
        self.cluster.write_program(self.cluster.folder / "bin/ask", "#!/bin/sh\n>>asked\necho no\n")
        run = self.cook("loop", SSH_ASKPASS=str(self.cluster.folder / "bin/ask"),
                        SSH_ASKPASS_REQUIRE="force", DISPLAY=":0")
        self.assertEqual(run.value, 0, run)
        self.assertEqual(self.cluster.read("statuses"), "node-good-1 255\n")
        self.assertFalse((self.cluster.folder / "work/asked").exists(), "somebody was asked")

    def test_quoting_brings_every_word_to_the_node(self):
        self.start(["node-good-1"])
        for disks in ("", UUID, f"{UUID},{UUID}"):
            run = self.cook("quoting", f"node=node-good-1 disks={disks}\n")
            self.assertEqual((run.value, run.err), (0, ""), run)
        node = self.cluster.nodes["node-good-1"]
        node.received(3)
        self.assertEqual([request["fields"]["exclusionList"] for request in node.requests],
                         [[], [UUID], [UUID, UUID]])
        self.assertEqual([request["fields"]["exclusionMode"] for request in node.requests], [1] * 3)

    def test_exit_values(self):
        """The rows of the cookbook's table that no recipe shows."""
        # One connection carries no more than ten sessions at once: sshd_config(5), MaxSessions.
        self.start(["node-silent"])
        run = self.cluster.run("""
            ssh -n node-silent true
            ask() { ssh -n node-silent "$2" >/dev/null 2>$1.err; echo "$1 $? $(head -n 1 $1.err)" >$1.row; }
            abort="trel-tool what-if-upgrade -l $(yes 0 | head -n 94756 | tr -d '\n')"
            ask frame 'timeout 60 trel-tool info-owner-rebalance' &
            ask stream 'timeout 60 trel-tool stats' &
            ask sent 'timeout 60 trel-tool refresh-config-opts' &
            ask refused 'timeout 60 trel-tool enable-workitem' &
            ask ended 'timeout 2 trel-tool stats' &
            ask killed 'timeout -s KILL 2 trel-tool stats; exit $?' &
            ask failed 'timeout x trel-tool stats'
            ask passive 'timeout 60 /etc/passwd'
            ask missing 'timeout 60 trel-tools stats'
            ask aborted "$abort; exit \\$?" &
            ask signal "timeout 60 $abort" &
            wait
            cat *.row""")
        rows = {row[0]: row[1:] for row in (line.split(" ", 2) for line in run.out.splitlines())}
        words = {name: text for name, (_, text) in rows.items()}
        self.assertEqual({name: int(value) for name, (value, _) in rows.items()}, {
            "frame": 11, "stream": 11, "sent": 0, "refused": 1, "ended": 124, "killed": 137,
            "failed": 125, "passive": 126, "missing": 127, "aborted": 134, "signal": 255})
        self.assertEqual(words["frame"], "Error received: No answer within the time-out: (null)")
        for name in ("stream", "sent", "ended", "signal"):
            self.assertEqual(words[name], "", name)
        for name in ("failed", "passive", "missing"):
            self.assertTrue(words[name].startswith("timeout:"), words[name])


if __name__ == "__main__":
    main()
