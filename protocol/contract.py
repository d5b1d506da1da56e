"""Reads the contract: merges the files, checks them, and fills in what they leave out."""

import pathlib
import re
import struct

import jsonschema
import yaml

FOLDER = pathlib.Path(__file__).resolve().parent
TO_END = ("chars", "text", "json", "list")
TOKEN = re.compile(r"([0-9a-f]+|'[^']*'|[uf]\d+:[0-9.]+)(?:\*(\d+))?(?= |$)")


class ContractError(Exception):
    """A mistake in the contract; the text names the place."""


class Loader(getattr(yaml, "CSafeLoader", yaml.SafeLoader)):
    """Keys are texts; a key that stands twice is a mistake."""

    def construct_mapping(self, node, deep=False):
        self.flatten_mapping(node)
        keys = [key.value for key, _ in node.value]
        for key in keys:
            if keys.count(key) > 1:
                raise ContractError(f"{node.start_mark}: the key {key} stands twice")
        values = [self.construct_object(value, deep=True) for _, value in node.value]
        return dict(zip(keys, values))


Loader.add_constructor("tag:yaml.org,2002:map",
                       lambda loader, node: loader.construct_mapping(node, deep=True))


def load(folder=FOLDER):
    """The whole contract as one object, commands in the order of their codes."""
    schema = read_schema((folder / "schema.yaml").read_text())
    contract, origins = {}, {}
    for path in sorted((folder / "contract").glob("*.yaml")):
        for key, value in _read(path).items():
            if isinstance(value, list) and isinstance(contract.get(key, []), list):
                contract.setdefault(key, []).extend(value)
                origins.setdefault(key, []).extend([path] * len(value))
            elif key in contract:
                raise ContractError(f"{path}: {key} stands in another file too")
            else:
                contract[key] = value
                origins[key] = path
    _check_schema(contract, schema, origins)
    _fill_in(contract, schema["$defs"])
    _Checker(contract).check()
    return contract


def _read(path):
    try:
        return yaml.load(path.read_text(), Loader)
    except yaml.YAMLError as error:
        raise ContractError(f"{path}: {error}") from error


def read_schema(text):
    """A JSON schema in YAML, in which `members` are the properties of an object without others."""
    def expand(node):
        if isinstance(node, list):
            return [expand(item) for item in node]
        if not isinstance(node, dict):
            return node
        expanded = {}
        for key, value in node.items():
            if key == "members":
                expanded |= {"type": "object", "additionalProperties": False}
                key = "properties"
            expanded[key] = expand(value)
        return expanded
    return expand(yaml.load(text, Loader))


def _check_schema(contract, schema, origins):
    def name_in(_, key, name, __):
        names = [entry if isinstance(entry, str) else entry.get("word") or entry.get("name")
                 for entry in contract[key]]
        if name not in names:
            yield jsonschema.ValidationError(f"{name} is none of the {key}")

    validator = jsonschema.validators.extend(jsonschema.Draft202012Validator, {"nameIn": name_in})
    error = jsonschema.exceptions.best_match(validator(schema).iter_errors(contract))
    if error is None:
        return
    place, value = [], contract
    for step in error.absolute_path:
        value = value[step]
        place.append(str(value.get("word") or value.get("name") or step)
                     if isinstance(step, int) and isinstance(value, dict) else str(step))
    path = list(error.absolute_path)
    origin = origins.get(path[0], "") if path else ""
    if isinstance(origin, list):
        origin = origin[path[1]] if len(path) > 1 else origin[0]
    raise ContractError(f"{origin}: {'.'.join(place)}: {error.message}")


def _fill_in(contract, definitions):
    def fill(item, definition):
        given = dict(item)
        item.clear()
        for key, schema in definition["properties"].items():
            if key in given or "default" in schema:
                item[key] = given.get(key, schema.get("default"))

    for key, definition in (("commands", "command"), ("options", "option"),
                            ("payloads", "payload"), ("names", "names"),
                            ("diagnostics", "diagnostic")):
        for item in contract[key]:
            fill(item, definitions[definition])
    contract["commands"].sort(key=lambda command: command["code"])
    order = [command["payload"] for command in contract["commands"]]
    contract["payloads"].sort(key=lambda payload: (*order, payload["name"]).index(payload["name"]))
    for option in contract["options"]:
        option["argument"] = contract["argumentTypes"][option["type"]]
    for diagnostic in contract["diagnostics"]:
        diagnostic["exit"] = str(diagnostic["exit"])
    for command in contract["commands"]:
        for word in command["words"]:
            fill(word, definitions["positional"])
        for reply in (command["reply"], command["reply"].get("with", {})):
            if isinstance(reply.get("default"), dict):
                reply["default"] = [_reply_member(*item) for item in reply["default"].items()]
        command["listed"] = "help" in command
        if "summary" not in command:
            command["summary"] = command["help"].split(". ")[0].removesuffix(".")
        for example in command["examples"]:
            fill(example, definitions["example"])
            example["request"] = parse_request(example["request"])
        command["examples"][0].setdefault("name", command["word"])
    for payload in contract["payloads"]:
        for field in payload["fields"]:
            fill(field, definitions["field"])
        _lay_out(payload, contract["fieldTypes"])


def _lay_out(payload, types):
    """Fills in where each field is: after the one before, and parts in the same whole payload.
    Without a length the payload is as long as its fields."""
    length, end = payload["length"], 0
    for index, field in enumerate(payload["fields"]):
        place = {"offset": end}
        if field["type"] == "name":
            place = {}
        elif "part" in field:
            place = {"offset": 0, "width": length.get("least", 0)}
        elif width := field.get("width", types.get(field["type"], {}).get("width")):
            place["width"] = width
            end += width
        payload["fields"][index] = {"name": field["name"], "type": field["type"], **place, **field}
    payload["length"] = {"least": end, "most": None if length else end, **length}


def _reply_member(name, value):
    """A member of a default reply has a value, or repeats a field of the request."""
    if isinstance(value, str) and value.startswith("$"):
        return {"name": name, "field": value[1:]}
    return {"name": name, "value": value}


def parse_request(text):
    """The parts of a request: {"bytes": hex, "times": N} or {"u32" | "u64" | "f64": number}."""
    parts = []
    for token, times in TOKEN.findall(text):
        if ":" in token and not token.startswith("'"):
            kind, number = token.split(":")
            part = {kind: float(number) if kind == "f64" else int(number)}
        elif token.startswith("'"):
            part = {"bytes": token[1:-1].encode().hex()}
        else:
            part = {"bytes": token}
        if times:
            part["times"] = int(times)
        if len(part) == 1 and "bytes" in part and parts and list(parts[-1]) == ["bytes"]:
            parts[-1]["bytes"] += part["bytes"]
        else:
            parts.append(part)
    return parts


def request_bytes(parts):
    """The request as a host whose byte order is little-endian sends it."""
    form = {"u32": "<I", "u64": "<Q", "f64": "<d"}
    request = b""
    for part in parts:
        kind, value = next(iter(part.items()))
        data = bytes.fromhex(value) if kind == "bytes" else struct.pack(form[kind], value)
        request += data * part.get("times", 1)
    return request


class _Checker:
    """What a schema cannot say: that one entry fits another."""

    def __init__(self, contract):
        self.contract = contract
        self.payloads = {payload["name"]: payload for payload in contract["payloads"]}

    def check(self):
        commands, options = self.contract["commands"], self.contract["options"]
        self._unique("code", [command["code"] for command in commands])
        self._unique("command word", [command["word"] for command in commands])
        self._unique("payload", [payload["name"] for payload in self.contract["payloads"]])
        self._unique("option", [option[key] for key in ("letter", "name") for option in options])
        self._unique("example", [example.get("name", f"{command['word']} has one without a name")
                                 for command in commands for example in command["examples"]])
        for payload in self.contract["payloads"]:
            self._check_payload(payload)
        for command in commands:
            self._check_command(command)
        shown = {command["payload"] for command in commands for example in command["examples"]
                 if "fields" in example}
        for name, payload in self.payloads.items():
            self._require(name in shown or not payload["fields"], name, "no example has its fields")

    @staticmethod
    def _require(holds, place, text):
        if not holds:
            raise ContractError(f"{place}: {text}")

    def _unique(self, what, values):
        for value in values:
            self._require(values.count(value) == 1, f"{what} {value}", "stands twice")

    def _check_command(self, command):
        word = command["word"]
        for option in command["options"]:
            self._require(option not in self.contract["commonOptions"], word,
                          f"{option} is an option of every command")
        fields = {field["name"]: field for field in self.payloads[command["payload"]]["fields"]}
        other = command["reply"].get("with")
        if other:
            self._require(other["option"] in command["options"] and other["field"] in fields,
                          word, "reply.with names an option or a field that it does not have")
        for reply in filter(None, (command["reply"], other)):
            default = reply.get("default")
            kind = {"stream": str, "print": dict}.get(reply["mode"])
            self._require((default is None) == (kind is None) and
                          all(isinstance(entry, kind) for entry in default or []), word,
                          f"its default reply does not suit the mode {reply['mode']}")
            for member in default if kind is dict else []:
                self._require(member.get("field") in {None, *fields}, word,
                              f"its default reply repeats {member.get('field')}, which is no field")
        for positional in command["words"]:
            self._require(positional.get("field") in fields, word,
                          f"the word {positional['name']} sets no field")
        for example in command["examples"]:
            self._check_example(command, example, fields)

    def _check_example(self, command, example, fields):
        name = example["name"]
        request = request_bytes(example["request"])
        code, length = struct.unpack(">II", request[:8])
        payload = self.payloads[command["payload"]]["length"]
        self._require(code == command["code"], name, f"the code in its header is {code}")
        size = len(request) - 8
        self._require(length == size, name, f"its header announces {length} bytes of {size}")
        self._require(payload["least"] <= size and size <= (payload["most"] or size), name,
                      f"{size} bytes are not a length of its payload")
        for field in example.get("fields", {}):
            self._require(field in fields, name, f"{field} is no field of its payload")

    def _check_payload(self, payload):
        name = payload["name"]
        names = {field["name"] for field in payload["fields"]}
        self._unique(f"field of {name}", [field["name"] for field in payload["fields"]])
        for field in payload["fields"]:
            place = f"{name}.{field['name']}"
            for key in ("of", "counts"):
                self._require(field.get(key) is None or field[key] in names, place,
                              f"{key} names no field of the payload")
            if field["type"] == "name":
                continue
            to_end = field["type"] in TO_END and field == payload["fields"][-1]
            self._require(to_end != ("width" in field), place,
                          "only a text or a list at the end goes to the end, and has no width")
            width = self.contract["fieldTypes"][field["type"]].get("width", field.get("width"))
            self._require(width == field.get("width") or "part" in field, place,
                          f"its width is {width}")
