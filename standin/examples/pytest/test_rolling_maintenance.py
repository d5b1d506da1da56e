"""What the script under test does on nodes that are well and on those that are not."""

import os
import pathlib
import subprocess
import sys

SCRIPT = pathlib.Path(__file__).with_name("rolling_maintenance.py")
TOOL = os.environ.get("TREL_TOOL", "trel-tool")

DISABLE = {"command": "disable-workitem", "fields": {"workItemName": "PROACTIVE_REBALANCE"}}
IDLE = {"command": "info-proactive-rebalance", "reply": {"text": '{"running": false}'}}
RUNS = {"command": "info-proactive-rebalance", "reply": {"text": '{"running": true}'}}
MAY_GO = {"command": "what-if-entity-decom", "fields": {"decomMode": 2},
          "reply": {"text": '{"feasible": true}'}}
ENABLE = {"command": "enable-workitem", "fields": {"workItemName": "PROACTIVE_REBALANCE"}}


def maintain(*nodes):
    return subprocess.run([sys.executable, SCRIPT, TOOL, *(node.socket for node in nodes)],
                          check=False, capture_output=True, text=True, timeout=60)


def test_each_node_goes_and_comes_back(standin):
    nodes = [standin({"sequence": [DISABLE, IDLE, MAY_GO, ENABLE]}) for _ in range(3)]
    assert maintain(*nodes).returncode == 0


def test_a_rebalance_is_waited_for(standin):
    node = standin({"sequence": [DISABLE, RUNS, RUNS, IDLE, MAY_GO, ENABLE]})
    assert maintain(node).returncode == 0


def test_a_disk_that_cannot_go_ends_it_with_the_work_item_enabled(standin):
    stays = {**MAY_GO, "reply": {"text": '{"feasible": false}'}}
    node = standin({"sequence": [DISABLE, IDLE, stays, ENABLE]})
    untouched = standin({"sequence": []})
    run = maintain(node, untouched)
    assert (run.returncode, run.stderr) == (1, f"{node.socket}: the disk cannot go\n")


def test_an_error_of_the_daemon_ends_it_with_the_work_item_enabled(standin):
    broken = {**MAY_GO, "reply": {"status": "0x2bad0005", "text": "disk"}}
    node = standin({"unmatched": "refuse", "rules": [
        {**DISABLE, "expect": {"exactly": 1}}, IDLE, broken, {**ENABLE, "expect": {"exactly": 1}}]})
    assert maintain(node).returncode == 1
    assert node.requests()[-1] == "enable-workitem"


def test_a_daemon_that_hangs_up_in_its_reply_ends_it(standin):
    cut = {**IDLE, "reply": {"text": '{"running": false}', "cutPayload": 5}}
    node = standin({"sequence": [DISABLE, cut, ENABLE]})
    assert maintain(node).returncode == 1
