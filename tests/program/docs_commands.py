#!/usr/bin/env python3
"""Runs every command that the pages show, so that none of them shows one that does not work.

commands.py PROGRAM PAGE...   PROGRAM is vantord-tablet; exit code 1 when a page shows what does not happen

A ```sh block holds commands; a ```console block holds commands after "$ " and what they print, where a line "..."
stands for any lines. "# exit code 5" after a command names the exit code it ends with; without it, that is 0. All
commands of one page run one after the other in one folder, empty but for the project's tests/. `./dev tablet` stands for PROGRAM. What builds or
tests the project is not run from its own tests: of such commands the word must be known.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SECONDS = 120


class Command:
    def __init__(self, page, line, text, output):
        self.place, self.output = f"{page}:{line}", output
        code = re.search(r"\s*# exit code (\d+)$", text)
        self.code = int(code.group(1)) if code else 0
        self.text = re.sub(r"(^|\s+)#.*$", "", text).strip()


def commands(page, text):
    """The commands of a page, in order."""
    found, kind = [], None
    for number, line in enumerate(text.splitlines(), 1):
        fence = re.match(r"```(\w*)\s*$", line)
        if fence:
            kind = None if kind is not None else fence.group(1)
        elif kind == "sh" and line.strip() and not line.lstrip().startswith("#"):
            found.append(Command(page, number, line, None))
        elif kind == "console" and line.startswith("$ "):
            found.append(Command(page, number, line[2:], []))
        elif kind == "console" and found:
            found[-1].output.append(line)
    return [command for command in found if command.text]


def is_known_word(text, help_text):
    """Whether a command that is not run at least exists."""
    words = text.split()
    if words[0] == "./dev":
        return re.search(rf"^  {re.escape(words[1])}\b", help_text, re.M) is not None
    if words[0] == "cmake":
        return "--preset" in words and f'"{words[words.index("--preset") + 1]}"' in (
            ROOT / "CMakePresets.json").read_text(encoding="utf-8")
    return words[0] in ("ctest", "git", "cd")


def builds(text):
    return re.match(r"(\./dev (?!tablet\b)|cmake |ctest |git |cd )", text) is not None


def agrees(shown, printed):
    """Whether printed lines are the shown ones, where "..." stands for any."""
    pattern = "".join(r"(?:.*\n)*?" if line == "..." else re.escape(line.rstrip()) + r"[ ]*\n" for line in shown)
    return re.fullmatch(pattern, "".join(line + "\n" for line in printed)) is not None


def run(command, program, folder):
    """What is wrong with it; None when it does what the page shows."""
    text = re.sub(r"\./dev tablet\b", "vantord-tablet", command.text)
    environment = dict(os.environ, PATH=f"{Path(program).resolve().parent}:{os.environ['PATH']}", NO_COLOR="1",
                       TZ="UTC", LC_ALL="C.UTF-8")
    done = subprocess.run(["bash", "-c", text], cwd=folder, env=environment, text=True, timeout=SECONDS,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != command.code:
        return f"ends with {done.returncode}, not with {command.code}:\n{done.stdout}"
    if command.output is not None and not agrees(command.output, done.stdout.splitlines()):
        return f"prints something else:\n{done.stdout}"
    return None


def check(page, text, program, help_text):
    problems = []
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "tests").symlink_to(ROOT / "tests")
        for command in commands(page, text):
            if builds(command.text):
                problem = next((f"no such word: {part}" for part in command.text.split("&&")
                                if not is_known_word(part.strip(), help_text)), None)
            else:
                problem = run(command, program, folder)
            if problem:
                problems.append(f"{command.place}: {command.text}: {problem}")
    return problems


def main(arguments):
    program, pages = arguments[0], arguments[1:]
    help_text = subprocess.run([ROOT / "dev", "help"], text=True, stdout=subprocess.PIPE, check=True).stdout
    problems, count = [], 0
    for page in pages:
        text = (ROOT / page).read_text(encoding="utf-8")
        count += len(commands(page, text))
        problems += check(page, text, program, help_text)
    print("\n".join(problems + [f"{count} commands on {len(pages)} pages, {len(problems)} of them wrong"]))
    return 1 if problems or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
