"""Builds the client's command line from the module's arguments, and judges how a run ended.
The module and its action plugin share it: the one on the nodes, the other before any."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import re

from ansible_collections.trel.tool.plugins.module_utils.commands import COMMANDS, OPTIONS

UUID = re.compile(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\Z", re.IGNORECASE)
NUMBER = re.compile(r"[0-9]+(\.[0-9]+)?\Z")


class ArgumentError(Exception):
    """The arguments are no command that a daemon should get."""


def refuse_unless(condition, text):
    if not condition:
        raise ArgumentError(text)


def given(params, name):
    """Whether the argument was given: an empty list counts, a flag that is off does not."""
    return params.get(name) not in (None, False)


def check_value(name, value):
    option = OPTIONS[name]
    limits = option["limits"]
    if option["type"] == "uuid":
        refuse_unless(UUID.match(value), "%s: %r is no UUID" % (name, value))
    elif option["type"] == "uuid-list":
        for entry in value:
            refuse_unless(UUID.match(entry), "%s: %r is no UUID" % (name, entry))
        refuse_unless(len(value) <= limits["entries"],
                      "%s: at most %d UUIDs" % (name, limits["entries"]))
    elif option["type"] == "number":
        refuse_unless(0 <= value <= limits.get("most", 0xffffffff),
                      "%s: %d is out of range" % (name, value))
    elif option["type"] in ("file", "socket"):
        most = limits.get("bytes", limits.get("bytesUsed", 4096))
        refuse_unless(0 < len(value.encode()) <= most, "%s: 1 to %d bytes" % (name, most))


def check_words(entry, words):
    refuse_unless(len(words) <= len(entry["words"]), "too many words")
    if entry["any_order"]:
        for word in entry["words"]:
            refuse_unless(len(set(words) & set(word["values"])) < 2, "words that exclude each other")
        known = [value for word in entry["words"] for value in word["values"]]
        refuse_unless(all(word in known for word in words), "words: one of %s" % ", ".join(known))
        return
    for word, rule in zip(words, entry["words"]):
        refuse_unless(word in rule["values"] or not rule["number"] or NUMBER.match(word),
                      "words: %r is no number" % word)


def check_needs(check, params):
    """What the client asks for before it connects, and for log-level what it should."""
    lists = [params[name] for name in ("destination_list", "exclusion_list") if given(params, name)]
    words = params["words"]
    need = {
        "none": (True, ""),
        "uuid-or-all": (given(params, "uuid") or given(params, "all"), "uuid or all"),
        "json": (given(params, "json"), "json"),
        "log-level": (len(words) == 1 and words[0].isdigit(), "a level in words"),
        "uuid-list": (params.get("uuid_list"), "uuid_list"),
        "recovery-target": (given(params, "recovery_mode") or given(params, "uuid"),
                            "recovery_mode or uuid"),
        "work-item": (given(params, "work_item"), "work_item"),
        "callback-words": (words, "words"),
        "move-lists": (given(params, "uuid") and len(lists) == 1 and lists[0],
                       "uuid and either destination_list or exclusion_list"),
        "exclusion-list": (given(params, "exclusion_list"), "exclusion_list, which may be empty"),
    }
    fulfilled, what = need[check]
    refuse_unless(fulfilled, "needed: %s" % what)


def command_line(params):
    """The words after the program's name. Raises ArgumentError."""
    entry = COMMANDS[params["command"]]
    words = []
    for name, option in OPTIONS.items():
        if not given(params, name):
            continue
        refuse_unless(name == "socket_path" or name in entry["options"],
                      "%s does not read %s" % (params["command"], name))
        value = params[name]
        check_value(name, value)
        words.append("-" + option["letter"])
        if option["type"] != "none":
            words.append(",".join(value) if isinstance(value, list) else str(value))
    check_words(entry, params["words"])
    check_needs(entry["check"], params)
    refuse_unless(params.get("limit") is None or params["limit"] > 0, "limit: at least 1")
    return words + [params["command"]] + params["words"]


def changes(params):
    """Whether the command changes something: the daemon's state, or a file on the node."""
    return COMMANDS[params["command"]]["changes"] or given(params, "output_path")


def seconds(params):
    """The bound of the run: the client waits twice at most for a reply that is framed."""
    return params.get("limit") or 2 * COMMANDS[params["command"]]["timeout"] + 20


def judge(params, value, out, err):
    """The outcome of a run in one word, and whether the request can have arrived."""
    mode = COMMANDS[params["command"]]["reply"]
    if value in (124, 137, -9) and "Error received" not in err:
        return "too-late", True
    if value in (125, 126, 127) and err.startswith("timeout:"):
        return "no-client", False
    if value < 0 or value == 134 and "Error received" not in err:
        return "aborted", True
    if re.search("^Error received: No answer within", err, re.M) or (value == 11 and not err):
        return "no-reply", True
    if re.search("^Error received", err, re.M):
        return "refused", True
    if re.search("^Failed to receive", err, re.M):
        return "cut-short", True
    if value == 0:
        if mode == "none":
            return "sent", True
        if mode != "silent" and not given(params, "output_path") and not out.strip():
            return "empty", True
        return "done", True
    if value == 1:
        return ("no-daemon" if "connect error" in err else "rejected"), False
    return "failed", True


def status(value, err):
    """The daemon's status as far as the client prints it, else None."""
    if value == 0 and "Error received" not in err:
        return 0
    found = re.search("^Error received: (?:Unknown status (0x[0-9a-f]{8})|(Failure))", err, re.M)
    if not found:
        return None
    return 0x0bad0001 if found.group(2) else int(found.group(1), 16)


def reply(out):
    """The reply as data, or None if it is no JSON text."""
    try:
        return json.loads(out)
    except ValueError:
        return None
