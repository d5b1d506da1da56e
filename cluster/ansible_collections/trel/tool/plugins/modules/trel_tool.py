#!/usr/bin/python
"""Runs one command of trel-tool on the node."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: trel_tool
short_description: Send one command to the object-placement daemon of the node
version_added: 1.0.0
author: trel-tool developers (!trel)
description:
  - Runs C(trel-tool) on the node with a bound on its time, and judges how it ended.
  - An argument that is wrong or that the command does not read is refused before any node is
    touched.
  - Success is an exit value of 0 without an error message, and a reply where the command prints
    one.
  - In check mode queries run and changes do not.
  - A command that changes something and fails with I(changed) true may have reached the daemon.
    Look with a query before it is run again.
extends_documentation_fragment:
  - trel.tool.arguments
"""

EXAMPLES = r"""
- name: Look at the owner rebalance
  trel.tool.trel_tool:
    command: info-owner-rebalance
  register: rebalance

- name: Stop moving components
  trel.tool.trel_tool:
    command: disable-workitem
    work_item: MOVE

- name: Exclude nothing any more
  trel.tool.trel_tool:
    command: set-global-exclusion-list
    exclusion_list: []

- name: Set the log level
  trel.tool.trel_tool:
    command: log-level
    words: ["2"]
"""

RETURN = r"""
outcome:
  description:
    - C(done), or C(sent) for a command without a reply, whose effect nobody knows.
    - Failures are C(rejected) by the module or the client, C(no-client), C(no-daemon), C(refused)
      by the daemon, C(no-reply) within the client's time-out, C(too-late) for I(limit),
      C(cut-short) or C(empty) replies, C(aborted) clients and C(failed) for all others.
    - C(skipped) in check mode.
  returned: always
  type: str
  sample: done
reply:
  description: The reply as data if it is a JSON text, else null.
  returned: when the client ran
  type: raw
status:
  description: The daemon's status as far as the client prints it, else null.
  returned: when the client ran
  type: int
  sample: 0
rc:
  description: The exit value of the client, or of C(timeout).
  returned: when the client ran
  type: int
  sample: 0
stdout:
  description: What the client printed.
  returned: when the client ran
  type: str
stderr:
  description: Its diagnostics.
  returned: when the client ran
  type: str
"""

import os

from ansible.module_utils.basic import AnsibleModule

from ansible_collections.trel.tool.plugins.module_utils import client
from ansible_collections.trel.tool.plugins.module_utils.commands import ARGUMENTS


def main():
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    params = module.params
    try:
        words = client.command_line(params)
    except client.ArgumentError as error:
        module.fail_json(msg=str(error), outcome="rejected")
    if module.check_mode and client.changes(params):
        module.exit_json(changed=True, outcome="skipped")

    command = ["timeout", "--kill-after=5", str(client.seconds(params)), "trel-tool"]
    # A session of an ordinary user has no /usr/sbin in its path.
    path = os.environ.get("PATH", "/usr/bin:/bin") + ":/usr/sbin:/usr/local/sbin"
    value, out, err = module.run_command(command + words,
                                         environ_update={"PATH": path, "LC_ALL": "C"})
    outcome, arrived = client.judge(params, value, out, err)
    result = {
        "changed": client.changes(params) and arrived,
        "outcome": outcome,
        "reply": client.reply(out),
        "status": client.status(value, err),
        "rc": value,
        "stdout": out,
        "stderr": err,
    }
    if outcome in ("done", "sent"):
        module.exit_json(**result)
    module.fail_json(msg="%s: %s" % (outcome, err.strip() or "exit value %d" % value), **result)


if __name__ == "__main__":
    main()
