#!/usr/bin/python3
"""examples_test.py <page> <trel-tool> <trel-standin>: runs each command line of the page's
EXAMPLES in a shell, against the stand-in."""

import os
import pathlib
import subprocess
import sys
import tempfile

PAGE, CLIENT, STANDIN = sys.argv[1:]
CLIENT = os.environ.get("TREL_TOOL", CLIENT)


def examples():
    page = pathlib.Path(PAGE).read_text().split(".Sh EXAMPLES\n")[1].split("\n.Sh ")[0]
    lines = [line[len(".Dl # "):] for line in page.splitlines() if line.startswith(".Dl # ")]
    return [line.replace(r"\(dq", '"') for line in lines]


def main():
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        # The examples use the daemon's own socket; here they get the stand-in's.
        wrapper = folder / "bin/trel-tool"
        wrapper.parent.mkdir()
        wrapper.write_text(f'#!/bin/sh\nexec "{CLIENT}" -s "{folder}/socket" "$@"\n')
        wrapper.chmod(0o755)
        environment = dict(os.environ, PATH=f"{wrapper.parent}:{os.environ['PATH']}")
        standin = subprocess.Popen([STANDIN, "--socket", folder / "socket"],
                                   stdout=subprocess.PIPE, text=True)
        try:
            assert standin.stdout.readline(), "the stand-in did not start"
            lines = examples()
            assert len(lines) >= 10, lines
            for line in lines:
                run = subprocess.run(line, shell=True, cwd=folder, env=environment,
                                     capture_output=True, text=True)
                assert run.returncode == 0, (line, run)
                assert run.stderr == "", (line, run)
                assert "usage:" not in run.stdout, (line, run)
            assert (folder / "states.txt").exists()
        finally:
            standin.terminate()
            standin.communicate()


main()
