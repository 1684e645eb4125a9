# SPDX-License-Identifier: Apache-2.0
"""What bash, zsh and fish offer for the beginning of a command line, asked of the shells themselves."""
import os
import pathlib
import pty
import re
import select
import subprocess
import time

BASH = r"""
if [[ -n $1 ]]; then source "$1"; _completion_loader v6comp; else source "$2"; fi
line=$3
COMP_LINE=$line COMP_POINT=${#line}
# The shell itself cuts at blanks and at =.
read -ra COMP_WORDS <<< "${line//=/ = }"
[[ $line == *[\ =] ]] && COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
compopt() { :; }
_v6comp v6comp "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
printf '%s\n' "${COMPREPLY[@]}"
"""


def bash(share, line, with_package):
    """With the package bash-completion, which finds the file by its place, or without it."""
    package = "/usr/share/bash-completion/bash_completion" if with_package else ""
    environment = dict(os.environ, XDG_DATA_DIRS=str(share), BASH_COMPLETION_USER_DIR="/nonexistent")
    run = subprocess.run(
        ["bash", "--norc", "-c", BASH, "bash", package, share / "bash-completion/completions/v6comp", line],
        capture_output=True, text=True, env=environment, check=True)
    assert run.stderr == "", run.stderr
    return run.stdout.split()


def fish(share, line):
    environment = dict(os.environ, XDG_DATA_DIRS=str(share), HOME="/nonexistent", XDG_CONFIG_HOME="/nonexistent")
    run = subprocess.run(["fish", "--no-config", "-c",
                          f"source {share}/fish/vendor_completions.d/v6comp.fish; complete -C \"$argv[1]\"", line],
                         capture_output=True, text=True, env=environment, check=True)
    return [reply.split("\t")[0] for reply in run.stdout.splitlines()]


class Zsh:
    """One interactive shell on a terminal of its own; its editor is asked to list what it would complete."""

    SETUP = r"""PS1=; setopt no_beep no_auto_menu; unsetopt zle_bracketed_paste; LISTMAX=100000
fpath=({share}/zsh/site-functions $fpath); autoload -Uz compinit; compinit -u -D
zstyle ':completion:*' verbose no; zstyle ':completion:*' list-separator ''
offer() {{ local -a all; compadd() {{ local -a found; builtin compadd -O found "$@"; all+=($found); builtin compadd "$@" }}
  _main_complete; unfunction compadd; print -l -- BEGIN $all END > {answer} }}
zle -C offer list-choices offer; bindkey '^X' offer; print READY
"""

    def __init__(self, share, scratch):
        self.answer = pathlib.Path(scratch) / "zsh.answer"
        child, self.terminal = pty.fork()
        if child == 0:
            os.environ.update(TERM="dumb", HOME=str(scratch), COLUMNS="200", LINES="200")
            os.execvp("zsh", ["zsh", "-f", "-i"])
        for line in self.SETUP.format(share=share, answer=self.answer).splitlines():
            os.write(self.terminal, line.encode() + b"\n")
        self._read_until("\nREADY")

    def _read_until(self, text):
        seen = ""
        deadline = time.monotonic() + 60
        while text not in seen.replace("\r", ""):
            assert time.monotonic() < deadline, seen
            if select.select([self.terminal], [], [], 1)[0]:
                seen += os.read(self.terminal, 65536).decode(errors="replace")

    def __call__(self, line):
        self.answer.unlink(missing_ok=True)
        os.write(self.terminal, line.encode() + b"\x18")
        deadline = time.monotonic() + 60
        while not (self.answer.exists() and self.answer.read_text().endswith("END\n")):
            assert time.monotonic() < deadline, line
            if select.select([self.terminal], [], [], 0.01)[0]:
                os.read(self.terminal, 65536)
        os.write(self.terminal, b"\x15")
        return [re.sub(r"[=+]$", "", word) for word in self.answer.read_text().split()[1:-1]]
