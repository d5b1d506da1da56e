"""The documentation of the module's arguments.

Made by protocol/generate from the contract; edit that."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  command:
    description:
    - The command word.
    type: str
    required: true
    choices:
    - stats
    - crawler
    - fitness-config-get
    - fitness-config-set
    - fitness-config-reset
    - fitness-stats-get
    - log-level
    - fix-object-immediate
    - get-object-last-operation
    - start-proactive-rebalance
    - stop-proactive-rebalance
    - info-proactive-rebalance
    - fix-concats
    - info-rebalance
    - resources-to-fix-unhealthy-objects
    - what-if-entity-decom
    - what-if-upgrade
    - what-if-cancel
    - force-reconfigure-the-object
    - update-treldb
    - replace-treldb
    - enable-trel-recovery-mode
    - get-obj-decom-state
    - enable-workitem
    - disable-workitem
    - get-obj-crawler-state
    - pause-decom-state-progress
    - resume-decom-state-progress
    - start-decom-state-heartbeat
    - pause-failed-delta-entry-processing
    - block-cdb-cb
    - refresh-config-opts
    - component-manual-move
    - set-global-exclusion-list
    - info-owner-rebalance
    - set-preferred-fd
    - set-nonPreferred-fd
  words:
    description:
    - The words after the command word, for a command that takes some.
    type: list
    elements: str
    default: []
  limit:
    description:
    - Seconds after which the client is ended on the node.
    - Without it twice the command's own time-out and 20 more.
    type: int
  output_path:
    description:
    - Write a streamed reply to a file.
    - Read by C(stats).
    - Read by C(get-obj-crawler-state).
    type: str
  socket_path:
    description:
    - Socket of the daemon.
    type: str
  uuid:
    description:
    - UUID of the object, disk or other entity.
    - Read by C(crawler).
    - Read by C(fix-object-immediate).
    - Read by C(get-object-last-operation).
    - Read by C(info-rebalance).
    - Read by C(resources-to-fix-unhealthy-objects).
    - Read by C(what-if-entity-decom).
    - Read by C(what-if-upgrade).
    - Read by C(force-reconfigure-the-object).
    - Read by C(enable-trel-recovery-mode).
    - Read by C(get-obj-decom-state).
    - Read by C(get-obj-crawler-state).
    - Read by C(block-cdb-cb).
    - Read by C(component-manual-move).
    - Read by C(set-preferred-fd).
    - Read by C(set-nonPreferred-fd).
    type: str
  uuid_list:
    description:
    - UUIDs of the hosts or disks, joined by commas.
    - Read by C(what-if-upgrade).
    type: list
    elements: str
  json:
    description:
    - JSON object with the fitness configuration.
    - Read by C(fitness-config-set).
    type: json
  file_path:
    description:
    - File that the daemon is to read.
    - Read by C(force-reconfigure-the-object).
    - Read by C(update-treldb).
    - Read by C(replace-treldb).
    type: str
  decom_mode:
    description:
    - Decommissioning mode.
    - C(0) no action, C(1) ensure access, C(2) evacuate all data.
    - Read by C(what-if-entity-decom).
    - Read by C(what-if-upgrade).
    type: int
  ensure_durability:
    description:
    - Ensure durability in an ensure-access decommissioning.
    - Read by C(what-if-entity-decom).
    type: bool
    default: false
  reason:
    description:
    - Reason of the upgrade.
    - C(0) none, C(1) disable dedup, C(2) enable encryption, C(3) disable dedup and enforce encryption.
    - Read by C(what-if-upgrade).
    type: int
  work_item:
    description:
    - Work-item type.
    - Read by C(enable-workitem).
    - Read by C(disable-workitem).
    type: str
    choices:
    - PLACEMENT
    - DECOM_CLEANUP
    - CLEANUP
    - VOTES_REBALANCE
    - FIX_FD_IDS
    - MOVE
    - REACTIVE_REBALANCE
    - DECOM
    - FORCE_REPAIR
    - FORCE_RECONFIGURE
    - RECOVERY
    - REPAIR
    - CHANGE
    - CHANGE_PENDING
    - COMPLIANCE
    - CONCAT
    - PROACTIVE_REBALANCE
    - DELTA_DECOM
    - FORMAT_CHANGE
    - UNPLANNED_DELTA
    - MANUAL_MOVE
    - CONCAT_IN_MIDDLE
  recovery_mode:
    description:
    - Recovery mode.
    - C(1) REPAIR, C(2) REBALANCE, C(3) COMPLIANCE, C(4) POLICY, C(5) CONCAT, C(6) DELTA, C(7) ALL,
      except DELTA.
    - Read by C(enable-trel-recovery-mode).
    type: int
  wipe_disk:
    description:
    - Wipe the disks in the upgrade.
    - Read by C(what-if-upgrade).
    type: bool
    default: false
  all:
    description:
    - All objects that this node owns.
    - Read by C(crawler).
    - Read by C(info-rebalance).
    - Read by C(what-if-entity-decom).
    - Read by C(get-obj-decom-state).
    - Read by C(get-obj-crawler-state).
    type: bool
    default: false
  destination_list:
    description:
    - UUIDs of the destinations, joined by commas.
    - Read by C(component-manual-move).
    type: list
    elements: str
  exclusion_list:
    description:
    - UUIDs of what is excluded, joined by commas.
    - Read by C(component-manual-move).
    - Read by C(set-global-exclusion-list).
    type: list
    elements: str
  exclusion_mode:
    description:
    - Where the exclusion list holds.
    - C(0) for all new components, C(1) not for witnesses, C(2) not for new object placements, C(3)
      neither for witnesses nor for new object placements.
    - Read by C(set-global-exclusion-list).
    type: int
"""
