#!/usr/bin/python3
"""schema_test.py <folder>: fails if commands.json does not follow its schema, or if the
schema lets a catalogue pass that lacks a part."""

import copy
import json
import pathlib
import sys

import jsonschema

FOLDER = pathlib.Path(sys.argv[1])
SCHEMA = json.loads((FOLDER / "commands.schema.json").read_text())
CATALOGUE = json.loads((FOLDER / "commands.json").read_text())


def is_valid(catalogue):
    return jsonschema.Draft202012Validator(SCHEMA).is_valid(catalogue)


def main():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    jsonschema.validate(CATALOGUE, SCHEMA, jsonschema.Draft202012Validator)
    for part in CATALOGUE:
        broken = copy.deepcopy(CATALOGUE)
        del broken[part]
        assert not is_valid(broken), f"passes without {part}"
    for part in CATALOGUE["commands"][0]:
        broken = copy.deepcopy(CATALOGUE)
        del broken["commands"][0][part]
        assert not is_valid(broken), f"passes without {part} of a command"
    # What the schema cannot say: every name that a command uses is explained.
    options = {option["name"] for option in CATALOGUE["options"]}
    for command in CATALOGUE["commands"]:
        assert set(command["options"]) <= options - set(CATALOGUE["commonOptions"]), command
        assert command["check"] in CATALOGUE["checks"], command
        assert command["reply"]["mode"] in CATALOGUE["replyModes"], command
    assert [command["code"] for command in CATALOGUE["commands"]] == list(range(1, 38))
    assert sum(command["listed"] for command in CATALOGUE["commands"]) == 32


main()
