"""The fixture: starts stand-ins, and fails a test whose stand-ins did not get what their
scripts expect. TREL_STANDIN and TREL_TOOL in the environment name the programs, if they are
not in the PATH."""

import json
import os
import pathlib
import subprocess
import tempfile

import pytest


class Standin:
    """One daemon, played by trel-standin as `script` says."""

    def __init__(self, folder, script, *options):
        self.socket = str(folder / "socket")
        self.log = folder / "log"
        (folder / "script.json").write_text(json.dumps(script))
        self.process = subprocess.Popen(
            [os.environ.get("TREL_STANDIN", "trel-standin"), "--socket", self.socket,
             "--log", self.log, "--script", folder / "script.json", *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        assert self.process.stdout.readline().startswith("ready"), self.process.stderr.read()

    def requests(self):
        """The commands that came, in their order."""
        lines = [json.loads(line) for line in self.log.read_text().splitlines()]
        return [line["command"] for line in lines if line["event"] == "request"]

    def end(self):
        """The exit value and the report."""
        if self.process.poll() is None:
            self.process.terminate()
        return self.process.wait(), self.process.stderr.read()


@pytest.fixture
def standin():
    """standin(script, *options) starts one."""
    # The path of a socket has at most 107 bytes: pytest's own folders may be too long.
    with tempfile.TemporaryDirectory() as name:
        started = []

        def start(script, *options):
            folder = pathlib.Path(name, str(len(started)))
            folder.mkdir()
            started.append(Standin(folder, script, *options))
            return started[-1]

        yield start
        ends = [one.end() for one in started]
    assert [report for value, report in ends if value != 0] == []
