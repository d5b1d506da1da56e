#!/usr/bin/python3
"""Runs the monitoring check on a node of each kind, and reads its metrics and units."""

import pathlib
import subprocess
import tempfile

import hosts
from cookbook import CLIENT, ROOT, ClusterTest, main, recipe

MONITORING = ROOT / "cluster/monitoring"
NODES = [name for name in hosts.DAEMONS if name != "node-cut"]
# The exit value of the check, a part of its line, trel_up and trel_exit_value.
STATES = {
    "node-good-1": (0, "TREL OK: info-owner-rebalance: reply received, ", 1, 0),
    "node-good-2": (0, "TREL OK: ", 1, 0),
    "node-silent": (2, "TREL CRITICAL: info-owner-rebalance: no reply within 3 s, ", 0, 124),
    "node-refusing": (2, ": Error received: Unknown status 0x00000005: not now, ", 0, 5),
    "node-refusing-256": (2, "TREL CRITICAL: ", 0, 0),
    "node-early": (2, "the daemon hung up without a reply", 0, 0),
    "node-partial": (2, "Failed to receive the complete UDS message", 0, 0),
    "node-idle": (2, "connect error: No such file or directory", 0, 1),
    "node-bare": (3, "TREL UNKNOWN: ", 0, 127),
}


class Check(ClusterTest):
    def check(self, node, script):
        """Runs the recipe on the node, without ssh, with a bound of 3 seconds."""
        path = f"{self.cluster.folder}/{node}.bin:{MONITORING}:/usr/bin:/bin"
        script = script.replace("-l 30", "-l 3")
        return self.cluster.run(f"PATH={path} folder=.\n{script}")

    def test_states_and_metrics_of_all_kinds_of_node(self):
        self.start(NODES)
        for name, (value, words, up, exit_value) in STATES.items():
            run = self.check(name, recipe("check"))
            self.assertEqual((run.value, run.err), (value, ""), (name, run))
            self.assertIn(words, run.out)
            self.assertRegex(run.out, r"^TREL [^\n|]* \| seconds=\d+\.\d{3}s;5;3;0\n\Z")
            run = self.check(name, recipe("metrics"))
            self.assertEqual(tuple(run), (0, "", ""), name)
            text = self.cluster.read("trel.prom")
            self.assertRegex(text, rf"(?m)^trel_up {up}$")
            self.assertRegex(text, rf"(?m)^trel_exit_value {exit_value}$")
            self.assertRegex(text, r"(?m)^trel_seconds \d+\.\d{3}$")
            self.assertEqual(len(text.splitlines()), 9, text)
            subprocess.run(["promtool", "check", "metrics"], input=text, text=True, check=True)
        self.assertEqual(self.cluster.run("ls").out.split(), ["nodes", "trel.prom"])
        self.assertEqual(self.cluster.clients_left("node-silent"), [])

    def test_slow_replies_are_a_warning(self):
        self.start(["node-good-1"])
        run = self.check("node-good-1", recipe("check").replace("-w 5", "-w 0"))
        self.assertEqual(run.value, 1, run)
        self.assertIn("TREL WARNING: ", run.out)

    def test_what_cannot_be_tried_is_unknown(self):
        self.start(["node-good-1"])
        for words, text in (("-x", ""), ("-w much", ""), ("-w", ""),
                            ("-m /nonexistent/trel.prom", ""),
                            ("drain-disk", "Unrecognized command: drain-disk")):
            path = f"PATH={self.cluster.folder}/node-good-1.bin:$PATH"
            run = self.cluster.run(f"{path} {MONITORING}/check_trel {words}")
            self.assertEqual(run.value, 3, run)
            self.assertIn(text, run.out)


class Units(ClusterTest):
    def test_they_are_a_component_of_their_own(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--install", pathlib.Path(CLIENT).parent, "--component",
                            "monitoring", "--prefix", folder], check=True, capture_output=True)
            files = {str(path.relative_to(folder)) for path in pathlib.Path(folder).rglob("*")
                     if path.is_file()}
        self.assertEqual(files, {"lib/nagios/plugins/check_trel",
                                 "lib/systemd/system/trel-monitoring.service",
                                 "lib/systemd/system/trel-monitoring.timer"})

    def test_systemd_finds_nothing(self):
        with tempfile.TemporaryDirectory() as folder:
            paths = []
            for source in sorted(MONITORING.glob("trel-monitoring.*")):
                path = pathlib.Path(folder) / source.name
                # Where it will be installed there is nothing yet.
                path.write_text(source.read_text().replace("/usr/lib/nagios/plugins", str(MONITORING)))
                paths.append(path)
            self.assertEqual(len(paths), 2)
            run = subprocess.run(["systemd-analyze", "verify", "--man=no", *paths],
                                 capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr), (0, ""))


if __name__ == "__main__":
    main()
