#!/usr/bin/python3
"""tab_test.py <socket>: types the beginning of a command word and Tab into bash, zsh and
fish on a terminal, with the completions as they are installed, and fails unless the
whole command has run against the stand-in on the socket."""

import os
import pty
import select
import sys
import tempfile
import time

SOCKET = sys.argv[1]
LIMIT_SECONDS = 60

# Each shell without the user's files, what a user's files would load, and the last
# exit value.
SHELLS = {
    "bash": (["bash", "--norc", "--noprofile", "-i"],
             "source /usr/share/bash-completion/bash_completion", "$?"),
    "zsh": (["zsh", "-f", "-i"], "autoload -Uz compinit; compinit -D -u", "$?"),
    "fish": (["fish", "-i"], "true", "$status"),
}


class Terminal:
    def __init__(self, command, home):
        self.text = b""
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.execvpe(command[0], command, dict(os.environ, TERM="dumb", LC_ALL="C.UTF-8",
                                                 HOME=home, XDG_CONFIG_HOME=home,
                                                 XDG_DATA_HOME=home))

    def type(self, text):
        os.write(self.master, text.encode())

    def await_text(self, text):
        end = time.monotonic() + LIMIT_SECONDS
        while text.encode() not in self.text:
            if not select.select([self.master], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f"no {text!r} in {self.text!r}")
            self.text += os.read(self.master, 4096)

    def await_prompt(self):
        """What is typed before the first prompt can get lost."""
        self.text += os.read(self.master, 4096)

    def close(self):
        os.close(self.master)
        os.waitpid(self.process, 0)


def press_tab(name, home):
    command, setup, exit_value = SHELLS[name]
    terminal = Terminal(command, home)
    # The words that are waited for are not in what is typed, which is echoed.
    terminal.await_prompt()
    terminal.type(f"{setup}; echo shell-is-'ready'\n")
    terminal.await_text("shell-is-ready")
    terminal.type(f"trel-tool -s {SOCKET} fitness-st\t; echo exit-value-'is'-{exit_value}\n")
    terminal.await_text("exit-value-is-0")
    if b"Unrecognized" in terminal.text:
        raise AssertionError(f"{name}: {terminal.text!r}")
    terminal.close()


with tempfile.TemporaryDirectory() as folder:
    # Else fish begins to fill it from all manual pages, beside the test and beyond its end.
    os.makedirs(f"{folder}/fish/generated_completions")
    for shell in SHELLS:
        press_tab(shell, folder)
        print(f"{shell}: Tab completes")
