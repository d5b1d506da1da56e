"""Runs before the module of the same name, on the controlling machine: refuses wrong
arguments without a connection to any node."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from ansible.module_utils.common.arg_spec import ArgumentSpecValidator
from ansible.plugins.action import ActionBase

from ansible_collections.trel.tool.plugins.module_utils import client
from ansible_collections.trel.tool.plugins.module_utils.commands import ARGUMENTS


class ActionModule(ActionBase):
    _supports_check_mode = True

    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        checked = ArgumentSpecValidator(ARGUMENTS).validate(self._task.args)
        wrong = checked.error_messages
        if not wrong:
            try:
                client.command_line(checked.validated_parameters)
            except client.ArgumentError as error:
                wrong = [str(error)]
        if wrong:
            result.update(failed=True, outcome="rejected", msg="; ".join(wrong))
            return result
        result.update(self._execute_module(module_name="trel.tool.trel_tool",
                                           task_vars=task_vars))
        return result
