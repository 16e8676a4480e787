"""The blocks of code in README.md and docs/*.md, so that they stay true.

documents.py program SOURCE OUTPUT [LIBRARY...]   writes the C++ blocks as one program; left out are those that include
                                                  ZNDevices/Freedesktop or ZNDevices/Qt where that is no LIBRARY
documents.py run SOURCE PROGRAMS                  runs the shell blocks, and the scenarios with zinsim

A block of C++ is the body of a function, or a whole program. The line before a block may be a comment:
  <!-- given: DECLARATIONS -->   what stands before the C++ block
  <!-- with: NAME -->            the shell block finds the scenario that was shown last in this file
  <!-- not run: REASON -->       of this shell block it is only tried that programs, options and files exist
A block "output" is what the block before it prints last, line by line; a block "text" is a drawing.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass

MARK = re.compile(r"<!-- (given|with|not run): (.*) -->$")


@dataclass
class Block:
    file: str
    line: int  # of its first line
    language: str
    text: str
    mark: str
    argument: str

    def place(self):
        return f"{self.file}:{self.line}"


def blocks_of(source, name):
    lines = (source / name).read_text().split("\n")
    blocks = []
    start = None
    for number, line in enumerate(lines):
        if start is None and line.startswith("```"):
            start = number
        elif start is not None and line == "```":
            mark = MARK.match(lines[start - 1])
            blocks.append(Block(name, start + 2, lines[start][3:], "\n".join(lines[start + 1:number]) + "\n",
                                mark[1] if mark else "", mark[2] if mark else ""))
            start = None
        elif start is None and re.match(r"    \S", line) and not lines[number - 1]:
            sys.exit(f"{name}:{number + 1}: code is set between lines ``` with its language")
    return blocks


def all_blocks(source):
    names = ["README.md"] + sorted(f"docs/{path.name}" for path in (source / "docs").glob("*.md"))
    return [block for name in names for block in blocks_of(source, name)]


def write_program(source, output, libraries):
    includes = ["<iostream>", '"ZNMessaging/Messaging.h"']
    parts = []
    for block in all_blocks(source):
        folder = re.search(r'#include "ZNDevices/(Freedesktop|Qt)/', block.text)
        if block.language != "cpp" or (folder and f"ZN{folder[1]}" not in libraries):
            continue
        includes += re.findall(r"#include (\S+)", block.text)
        body = re.sub(r"#include.*", "", block.text)
        line = f'#line {block.line} "{block.file}"\n'
        if "int main(" in body:
            parts.append(f"namespace block{len(parts)} {{\n{line}{body}}}\n")
        else:
            given = f"{block.argument}\n" if block.mark == "given" else ""
            parts.append(f"int block{len(parts)}(int count, char** arguments) {{\n{given}{line}{body}return 0;\n}}\n")
    text = "".join(f"#include {each}\n" for each in dict.fromkeys(includes))
    output.write_text(text + "\n" + "\n".join(parts) + "\nint main() {}\n")


def words_of(text):
    text = re.sub(r"(^|\s)#.*", "", text.replace("\\\n", " "))
    return [line.split() for line in text.splitlines() if line.split()]


def check_words(block, source, programs):
    """Of what is not run: the programs are there, and know their options."""
    for words in words_of(block.text):
        options = [word.split("=")[0] for word in words if word.startswith("--")]
        name = words[0].removeprefix("build/release/")
        if name.startswith("bin/"):
            program = programs / name.removeprefix("bin/")
        elif name.startswith("./"):
            program = source / name
        else:
            continue
        if not program.exists():
            raise ValueError(f"there is no program {words[0]}")
        known = subprocess.run([program, "--help"], capture_output=True, text=True).stdout
        for option in options:
            if not re.search(rf"{option}\b", known):
                raise ValueError(f"{words[0]} has no option {option}")
        for word in words[1:]:
            if word.startswith("Examples/") and not (source / word).exists():
                raise ValueError(f"there is no {word}")


def run(command, folder):
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=60,
                          env={**os.environ, "HOME": str(folder), "XDG_DATA_HOME": f"{folder}/data"})
    if done.returncode:
        raise ValueError(f"status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def run_block(block, scenario, source, programs, folder):
    """What it prints."""
    if block.language == "jsonl":
        (folder / "scenario").write_text(block.text)
        options = re.match(r"# zinsim (.*)", block.text)
        return run([programs / "zinsim", *(options[1].split() if options else []), "scenario"], folder)
    if block.mark == "not run":
        return check_words(block, source, programs)
    if block.mark == "with":
        (folder / block.argument).write_text(scenario)
    return run(["bash", "-euo", "pipefail", "-c", block.text], folder)


def run_all(source, programs):
    status = 0
    scenario = printed = None
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "build/release").mkdir(parents=True)
        (folder / "build/release/bin").symlink_to(programs)
        (folder / "Examples").symlink_to(source / "Examples")
        for block in all_blocks(source):
            try:
                if block.language == "output":
                    if not printed.endswith(block.text):
                        raise ValueError(f"it prints:\n{printed}")
                elif block.language in ("sh", "jsonl"):
                    printed = run_block(block, scenario, source, programs, folder)
                    scenario = block.text if block.language == "jsonl" else scenario
                elif block.language not in ("cpp", "cmake", "json", "text"):
                    raise ValueError(f'nobody tries a block of the language "{block.language}"')
            except (ValueError, subprocess.TimeoutExpired) as problem:
                print(f"{block.place()}: {problem}")
                status = 1
    return status


if __name__ == "__main__":
    source = pathlib.Path(sys.argv[2])
    if sys.argv[1] == "program":
        write_program(source, pathlib.Path(sys.argv[3]), sys.argv[4:])
    else:
        sys.exit(run_all(source, pathlib.Path(sys.argv[3])))
