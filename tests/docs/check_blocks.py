#!/usr/bin/env python3
"""check_blocks.py COMPILER SCRATCH BIN WINE_RUN: compiles every cpp block of the documents and tries every command of
their sh blocks. A command that is on no list here fails: nothing runs that nobody has looked at."""
import pathlib
import re
import shutil
import subprocess
import sys

from documents import all_blocks, is_of_package, root
from stand_in import StandIn

compiler, scratch, binaries, wine_run = sys.argv[1], *map(pathlib.Path, sys.argv[2:])
problems = []

# What a block without #include may use.
SNIPPET = """#include <travik/scoped_handle.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <iostream>
#include <mutex>
#include <thread>
void snippet(const Travik::Operations& vbox, const Travik::ScopedMachine& machine);
void snippet([[maybe_unused]] const Travik::Operations& vbox, [[maybe_unused]] const Travik::ScopedMachine& machine)
{
{
"""


def compile_block(number, block):
    source = scratch / f"block_{number}.cpp"
    marked = f'#line {block.line} "{block.place.split(":")[0]}"\n{block.text}'
    source.write_text(marked if "#include" in block.text else f"{SNIPPET}{marked}}}\n}}\n", encoding="utf-8")
    # Owners and results that a snippet makes and leaves alone are the point of the snippet.
    done = subprocess.run([compiler, "-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-Werror",
                           "-Wno-unused-variable", f"-I{root / 'include'}", source], capture_output=True, text=True)
    if done.returncode:
        problems.append(f"{block.place} does not compile:\n{done.stderr}")


def try_dev(arguments):
    """The verbs set up, build and lock this very build: that they exist has to do. CI runs them."""
    known = subprocess.run([root / "dev"], capture_output=True, text=True, check=True).stdout
    lines = [line.split() for line in known.splitlines() if line.startswith("./dev ")]
    verb = next((line for line in lines if line[1] == arguments[0]), None)
    return verb is not None and all(f"[{option}]" in verb for option in arguments[1:])


def try_doxygen(_):
    copy = scratch / "reference"
    shutil.copytree(root / "include", copy / "include")
    shutil.copy(root / "Doxyfile", copy)
    done = subprocess.run(["doxygen"], cwd=copy, capture_output=True, text=True)
    print(done.stdout + done.stderr, end="")
    return done.returncode == 0 and not done.stderr and (copy / "build/reference/index.html").is_file()


def try_command(block, line, stand_in):
    words = re.sub(r"\s+#.*$", "", line).split()
    if words[0] == "./dev":
        return try_dev(words[1:])
    if words == ["doxygen"]:
        return try_doxygen(words)
    if words[0] in ("travikctl", "vboxsim"):
        return stand_in.run(line)[0]
    problems.append(f"{block.place}: no list allows the command: {line}")
    return True


def try_dialogue(block, stand_in):
    """A text block that shows the command line at work: lines that begin with "> " are commands, what follows is what
    they print. Where nothing is shown with them, commands stand alone. A synopsis (options in brackets, explanations
    behind blanks) is no command. Returns how many commands there were."""
    pattern = r"^(?:> )?((?:travikctl|vboxsim) .*)\n((?:(?!> |travikctl |vboxsim ).*\n)*)"
    steps = re.findall(pattern, block.text, re.M)
    steps = [step for step in steps if not re.search(r"\[|  ", step[0])]
    for command, printed in steps:
        # Somebody would end this by hand, having paused the machine meanwhile.
        endless = command.split()[1] == "watch"
        worked, output = stand_in.run(command + (" --for 1" if endless else ""))
        if not worked:
            problems.append(f"{block.place}: failed: {command}")
        elif printed and not endless and output != printed:
            problems.append(f"{block.place}: {command} prints\n{output}and not\n{printed}")
    return len(steps)


def main():
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    cpp = all_blocks("cpp")
    for number, block in enumerate(cpp):
        compile_block(number, block)
    tried = 0
    with StandIn(scratch, binaries, wine_run) as stand_in:
        for block in all_blocks("sh"):
            if is_of_package(block) or "stock61" in block.text:
                continue  # tests of their own run these
            for line in filter(None, (line.strip() for line in block.text.splitlines())):
                if line.startswith("#"):
                    continue
                tried += 1
                if not try_command(block, line, stand_in):
                    problems.append(f"{block.place}: failed: {line}")
        tried += sum(try_dialogue(block, stand_in) for block in all_blocks("text"))
    print("\n".join(problems) if problems else f"{len(cpp)} blocks compile, {tried} commands work")
    return 1 if problems or not cpp or not tried else 0


sys.exit(main())
