#!/usr/bin/python3
"""The dissector shows in a capture what the contract's examples and the stand-in's own log say.

TREL_STANDIN in the environment is the path of the program, TREL_DISSECTOR that of the dissector.
"""

import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.append(str(ROOT / "protocol"))

import contract  # noqa: E402

DISSECTOR = os.environ.get("TREL_DISSECTOR", ROOT / "generated/trel-tool.lua")


def exchange(path, request):
    """What the stand-in replies, to its hang-up."""
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(path)
        client.sendall(request)
        return b"".join(iter(lambda: client.recv(65536), b""))


def dissected(capture):
    """The fields of each packet, each with the list of its values."""
    # For root tshark loads no dissector.
    user = {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.getuid() == 0 else {}
    with tempfile.TemporaryDirectory() as home, open(capture, "rb") as packets:
        os.chmod(home, 0o755)
        script = shutil.copy(DISSECTOR, home)
        run = subprocess.run(
            ["tshark", "-X", f"lua_script:{script}", "-r", "-", "-T", "json",
             "--no-duplicate-keys", "-J", "treld"], cwd=home, env={**os.environ, "HOME": home},
            stdin=packets, check=True, capture_output=True, text=True, **user)
    for packet in json.loads(run.stdout):
        yield {name.removeprefix("treld."): values if isinstance(values, list) else [values]
               for name, values in packet["_source"]["layers"]["treld"].items()}


def same(value, shown):
    """Whether a value of the log is what the dissector shows."""
    if isinstance(value, float):
        return float(shown[0]) == value
    return shown == ([str(entry) for entry in value] if isinstance(value, list) else [str(value)])


class Dissector(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_standin(self, requests, *options):
        """The replies, the log's lines of requests, and the capture."""
        path = str(self.folder / "s")
        with subprocess.Popen([os.environ["TREL_STANDIN"], "--socket", path, "--log",
                               self.folder / "log", "--pcap", self.folder / "pcap", *options],
                              stdout=subprocess.PIPE, text=True) as standin:
            standin.stdout.readline()
            replies = [exchange(path, request) for request in requests]
            standin.terminate()
        self.assertEqual(standin.returncode, 0)
        lines = map(json.loads, (self.folder / "log").read_text().splitlines())
        return (replies, [line for line in lines if line["event"] == "request"],
                list(dissected(self.folder / "pcap")))

    def test_every_field_of_every_command_has_its_name_and_value(self):
        examples = [(command, example) for command in contract.load()["commands"]
                    for example in command["examples"]]
        requests = [contract.request_bytes(example["request"]) for _, example in examples]
        replies, lines, packets = self.run_standin(requests, "--hex")
        self.assertEqual(len(lines), len(examples))
        seen = set()
        for number, (command, example) in enumerate(examples, start=1):
            mine = [packet for packet in packets if packet["connection"] == [str(number)]]
            request = next(packet for packet in mine if "code" in packet)
            self.assertEqual(request["command"], [command["word"]])
            self.assertEqual(request["code"], [str(command["code"])])
            self.assertEqual(request["length"], [str(len(requests[number - 1]) - 8)])
            for name, value in (lines[number - 1]["fields"] | example.get("fields", {})).items():
                if value != []:
                    seen.add((command["payload"], name))
                    self.assertTrue(same(value, request.get(name)),
                                    f"{example['name']}: {name}: {value}, {request.get(name)}")
            reply = [packet for packet in mine if packet["direction"] == ["1"]]
            text = replies[number - 1]
            if text and "status" in reply[0]:
                self.assertEqual(int(reply[0]["status"][0], 16), 0)
                text = text[8:]
            shown = "".join(packet["text"][0] for packet in reply if "text" in packet)
            self.assertEqual(shown, text.decode())
        fields = {(payload["name"], field["name"]) for payload in contract.load()["payloads"]
                  for field in payload["fields"] if field["type"] != "reserved"}
        self.assertEqual(fields - seen, set())

    def test_what_is_no_request_is_a_piece(self):
        packets = self.run_standin([b"\0\0\0\1\0"], "--idle-timeout", "1")[2]
        self.assertEqual(packets[0]["piece"], ["00:00:00:01:00"])


if __name__ == "__main__":
    unittest.main()
