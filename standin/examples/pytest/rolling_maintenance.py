#!/usr/bin/env python3
"""The script under test: takes one node after the other out of the cluster and back.

    rolling_maintenance.py TREL_TOOL SOCKET...

Ends with 1 at the first node that cannot go; its work item is enabled again first.
"""

import json
import subprocess
import sys
import time

DISK = "00112233-4455-6677-8899-aabbccddeeff"


def tool(program, socket, *words):
    """What the daemon replies. Raises CalledProcessError."""
    return subprocess.run([program, "-s", socket, *words], check=True, text=True,
                          stdout=subprocess.PIPE, timeout=60).stdout


def maintain(program, socket):
    tool(program, socket, "disable-workitem", "-i", "PROACTIVE_REBALANCE")
    try:
        while json.loads(tool(program, socket, "info-proactive-rebalance"))["running"]:
            time.sleep(0.01)
        answer = json.loads(tool(program, socket, "what-if-entity-decom", "-u", DISK, "-d", "2"))
        if not answer["feasible"]:
            sys.exit(f"{socket}: the disk cannot go")
    finally:
        tool(program, socket, "enable-workitem", "-i", "PROACTIVE_REBALANCE")


def main():
    program, *sockets = sys.argv[1:]
    try:
        for socket in sockets:
            maintain(program, socket)
    except (subprocess.SubprocessError, ValueError) as error:
        sys.exit(f"{socket}: {error}")


if __name__ == "__main__":
    main()
