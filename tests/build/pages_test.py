#!/usr/bin/python3
"""pages_test.py <page>: runs the blocks of a page in their order, in one shell and a fresh folder.

A block after a line that ends in "`name`:" is a file. A console block holds commands after "$ "
and what they print, in which "..." stands for anything. An sh block has to succeed. TREL_TOOL
and TREL_STANDIN in the environment are the paths of the programs. Indented lines are not run
here: `scripts/check pages` runs those of README.md.
"""

import contextlib
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BLOCK = re.compile(r"(?:`([\w./-]+)`:\n\n)?^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NOT_RUN = ("json", "mermaid", "text")  # unless it is a file


def steps(page):
    """Of each file, command or block: its shell code, and what it prints or None."""
    for name, language, text in BLOCK.findall(page):
        if name:
            yield f"mkdir -p $(dirname {name}); cat >{name} <<'END OF FILE'\n{text}END OF FILE", ""
        elif language == "console":
            for command, out in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", text, re.MULTILINE):
                yield command, out
        elif language == "sh":
            yield f"set -e\n{text}set +e", None
        elif language not in NOT_RUN:
            sys.exit(f"a block of the language {language} is not run")


def run(code, work, environment):
    """What the code prints. Nothing that it leaves running lives on."""
    with tempfile.TemporaryFile("w+") as out:
        shell = subprocess.Popen(["bash", "-c", code], cwd=work, env=environment, stdout=out,
                                 stdin=subprocess.DEVNULL, start_new_session=True)
        try:
            shell.wait(timeout=200)
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(shell.pid, signal.SIGKILL)
            shell.wait()
        out.seek(0)
        return out.read()


def main():
    page = pathlib.Path(sys.argv[1]).read_text()
    todo = list(steps(page.replace("/usr/sbin/trel-tool -s", "trel-tool-here -s")
                      .replace("/tmp/", "")))
    if not todo:
        sys.exit("the page has no block that is run")
    with tempfile.TemporaryDirectory() as folder:
        work, programs = pathlib.Path(folder, "work"), pathlib.Path(folder, "programs")
        work.mkdir()
        programs.mkdir()
        for name, variable in (("trel-tool", "TREL_TOOL"), ("trel-tool-here", "TREL_TOOL"),
                               ("trel-standin", "TREL_STANDIN")):
            (programs / name).symlink_to(os.environ[variable])
        # What a page of this tree names of it.
        (work / "build").mkdir()
        (work / "build/demo").symlink_to(programs)
        for name in ("generated", "standin"):
            (work / name).symlink_to(ROOT / name)
        code = "exec 2>&1\n" + "\n".join(f"{text}\n_status=$?; echo @@@; (exit $_status)"
                                         for text, _ in todo)
        environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", TMPDIR=folder)
        environment.pop("POSIXLY_CORRECT", None)  # options stand after the command word
        printed = run(code, work, environment).split("@@@\n")
    for (text, expected), out in zip(todo, printed):
        pattern = ".*" if expected is None else re.escape(expected).replace(r"\.\.\.", ".*")
        if not re.fullmatch(pattern, out, re.DOTALL):
            sys.exit(f"{text}\nhas to print\n{expected}\nand prints\n{out}")
    if len(printed) != len(todo) + 1:
        sys.exit(f"{todo[len(printed) - 1][0]}\nfails and prints\n{printed[-1]}")


if __name__ == "__main__":
    main()
