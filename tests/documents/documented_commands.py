#!/usr/bin/env python3
"""Runs the commands that documents show, and looks whether the files are there that they link to.

Usage: documented_commands.py [--after-a-build] [--prefix FOLDER] WORK FIXTURES PAGE...

Every block marked sh runs as a script that ends at the first failure, in a folder of its page's own below WORK: a copy
of FIXTURES, and of the page's folder if that is an example. Those that run after a build do so in a call of their own,
with --after-a-build. With --prefix "/usr/share" stands for FOLDER/share. A comment in the line before a block changes
that; readers do not see it:

    <!-- not run: REASON -->                  left out and listed
    <!-- run: in the sources, after a build -->
    <!-- run until it prints: TEXT -->        then interrupted; it must not fail before
    <!-- file: NAME -->                       the block, of whatever language, becomes this file
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
from typing import Iterator, NamedTuple

AFTER_A_BUILD = "run: in the sources, after a build"
COMMAND = re.compile(
    r"\s*([A-Z_]+=\S+ )*(\.{0,2}/\S|(\.ci|bench|build|fuzz|stress|tests|tools)/\S"
    r"|(apt-get|apt|bash|cat|cc|cd|cmake|cp|cpack|ctest|dpkg|echo|export|ffmpeg|g\+\+|gcc|gdb|git|grep|lumetra-\w+|mcs"
    r"|mkdir|mkfifo|mono|pip|python3|sudo|tar|unshare|xargs) \S)"
)


class Block(NamedTuple):
    place: str  # PAGE:LINE
    language: str
    note: str
    text: str


def blocks_of(page: pathlib.Path) -> Iterator[Block]:
    """Fenced blocks, and as language "" those that are not fenced but indented."""
    lines = page.read_text().splitlines()
    number = 0
    while number < len(lines):
        begin = number
        fence = re.fullmatch(r"( *)```(\S*).*", lines[begin])
        note = re.fullmatch(r" *<!-- (.*) -->", lines[begin - 1]) if begin > 0 else None
        number += 1
        if fence:
            while lines[number].strip() != "```":
                number += 1
            language, body = fence[2], lines[begin + 1 : number]
        elif lines[begin].startswith("    ") and (begin == 0 or not lines[begin - 1].strip()):
            while number < len(lines) and lines[number].startswith("    "):
                number += 1
            language, body = "", lines[begin:number]
        else:
            continue
        number += 1
        indent = fence[1] if fence else ""
        text = "".join(line.removeprefix(indent) + "\n" for line in body)
        yield Block(f"{page.parent.name}/{page.name}:{begin + 1}", language, note[1] if note else "", text)


def run_until(command: "list[str]", text: str, folder: pathlib.Path) -> "tuple[bool, str]":
    process = subprocess.Popen(
        command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        start_new_session=True,
    )
    output = ""
    for line in process.stdout:
        output += line
        if text in line:
            os.killpg(process.pid, signal.SIGINT)
            break
    process.communicate()
    return text in output, output


def run(block: Block, folder: pathlib.Path, prefix: str) -> "tuple[bool, str]":
    text = block.text.replace("/usr/share", f"{prefix}/share") if prefix else block.text
    command = ["sh", "-euxc", text]
    if block.note.startswith("run until it prints: "):
        return run_until(command, block.note.split(": ", 1)[1], folder)
    done = subprocess.run(
        command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    )
    return done.returncode == 0, done.stdout


def dead_links(page: pathlib.Path) -> "Iterator[str]":
    """Links to files that are not there."""
    for target in re.findall(r"\]\(([^)#\s:]+)(?:#[^)\s]*)?\)", page.read_text()):
        if not (page.parent / target).exists():
            yield f"{page.parent.name}/{page.name}: a link to nothing: {target}"


def check_page(page: pathlib.Path, arguments: argparse.Namespace) -> "tuple[int, list[str]]":
    """How many blocks ran, and what went wrong."""
    folder = pathlib.Path(arguments.work) / page.parent.name / page.stem
    shutil.copytree(arguments.fixtures, folder, symlinks=True)
    if page.parent.parent.name == "examples":
        shutil.copytree(page.parent, folder, dirs_exist_ok=True)
    ran, dead = 0, list(dead_links(page))
    for block in blocks_of(page):
        if block.note.startswith("file: "):
            file = folder / block.note.split(": ", 1)[1]
            file.unlink(missing_ok=True)  # in the sources' folder a link to one of theirs
            file.write_text(block.text)
        elif block.language in ("", "bash", "console", "shell"):
            for line in filter(COMMAND.match, block.text.splitlines()):
                return ran, [f"{block.place}: a command that is not marked sh: {line.strip()}"]
        if block.language != "sh" or (block.note == AFTER_A_BUILD) != arguments.after_a_build:
            continue
        if block.note.startswith("not run: "):
            print(f"{block.place}: {block.note}")
            continue
        good, output = run(block, folder, arguments.prefix)
        ran += 1
        with (folder / "output").open("a") as log:
            log.write(output)
        if not good:
            return ran, [f"{block.place}: failed\n{output}"]
    return ran, dead


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--after-a-build", action="store_true")
    parser.add_argument("--prefix", default="")
    parser.add_argument("work")
    parser.add_argument("fixtures")
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    # Most of them wait.
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        results = list(pool.map(lambda page: check_page(page, arguments), arguments.pages))
    failures = [failure for _, failures in results for failure in failures]
    ran = sum(count for count, _ in results)
    print(f"{ran} blocks of {len(arguments.pages)} pages ran")
    print("\n".join(failures))
    return 1 if failures or ran == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
