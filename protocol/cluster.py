"""What the Ansible module in cluster/ takes from the contract: its arguments, with their
documentation, and what it checks of them. The collection has links to both files."""

import pprint

import yaml

# Ansible's own tests ask for the last two lines in each file of a collection.
HEAD = '''"""{}

Made by protocol/generate from the contract; edit that."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type
'''
# `-h` and `-t` are of no use to a module.
LEFT_OUT = ("help", "timeout")
TYPES = {"none": "bool", "number": "int", "json": "json", "uuid-list": "list"}


def files(contract):
    """The path of each file, with its text."""
    yield "generated/ansible/commands.py", facts(contract)
    yield "generated/ansible/arguments.py", documentation(contract)


def arguments(contract):
    """All arguments of the module with their documentation, as Ansible describes both."""
    result = {
        "command": {
            "description": ["The command word."],
            "type": "str",
            "required": True,
            "choices": [command["word"] for command in contract["commands"]],
        },
        "words": {
            "description": ["The words after the command word, for a command that takes some."],
            "type": "list",
            "elements": "str",
            "default": [],
        },
        "limit": {
            "description": ["Seconds after which the client is ended on the node.",
                            "Without it twice the command's own time-out and 20 more."],
            "type": "int",
        },
    }
    names = {entry["name"]: list(entry["numbers"]) for entry in contract["names"]}
    for option in used_options(contract):
        argument = {"description": describe(contract, option),
                    "type": TYPES.get(option["type"], "str")}
        if argument["type"] == "list":
            argument["elements"] = "str"
        if argument["type"] == "bool":
            argument["default"] = False
        if "names" in option:
            argument["choices"] = names[option["names"]]
        result[key(option["name"])] = argument
    return result


def describe(contract, option):
    lines = [option["summary"][0].upper() + option["summary"][1:] + "."]
    if option["values"]:
        lines.append(", ".join(f"C({value}) {text}" for value, text in option["values"].items())
                     + ".")
    readers = [command["word"] for command in contract["commands"]
               if option["name"] in command["options"]]
    return lines + [f"Read by C({word})." for word in readers]


def used_options(contract):
    return [option for option in contract["options"] if option["name"] not in LEFT_OUT]


def key(name):
    return name.replace("-", "_")


def words(command):
    """The command's positional words: whether a number will do, and the names allowed."""
    return [{"number": word["default"].replace(".", "").isdigit(), "values": list(word["values"])}
            for word in command["words"]]


def facts(contract):
    commands = {
        command["word"]: {
            "options": [key(name) for name in command["options"]],
            "check": command["check"],
            "words": words(command),
            "any_order": command["anyOrder"],
            "timeout": command["timeout"],
            "reply": command["reply"]["mode"],
            "changes": command["effect"] == "changes",
        } for command in contract["commands"]
    }
    options = {key(option["name"]): {"letter": option["letter"], "type": option["type"],
                                     "limits": option["limits"]}
               for option in used_options(contract)}
    spec = {name: {member: value for member, value in argument.items() if member != "description"}
            for name, argument in arguments(contract).items()}
    text = HEAD.format("The client's commands and options, and the module's arguments.")
    for name, value in (("ARGUMENTS", spec), ("COMMANDS", commands), ("OPTIONS", options)):
        text += f"\n{name} = {pprint.pformat(value, width=98, sort_dicts=False)}\n"
    return text


def documentation(contract):
    text = yaml.safe_dump({"options": arguments(contract)}, sort_keys=False, width=98)
    return (HEAD.format("The documentation of the module's arguments.")
            + f'\n\nclass ModuleDocFragment(object):\n    DOCUMENTATION = r"""\n{text}"""\n')
