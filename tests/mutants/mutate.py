#!/usr/bin/env python3
"""Plants faults and tells which test catches each: mutate.py SOURCE BUILD [WORD...]

The lists beside this script hold the faults. One build carries all of a list, each behind a switch at run time
(TRAVIK_MUTANT in the environment); without it the tests have to pass. WORDs choose lists or faults by a part of their
names.

A list begins with `tests:` (a pattern of CTest entries) and `targets:`. A fault is

    == what goes wrong: path of the source
    the text that stands there, once
    ++
    the text in its place

The switch is an `if` around statements (a text that ends in ; or }) and a ?: around an expression. A last line `raw`
says that the new text has the switch in itself, as mutantIsOn(NUMBER).
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

SWITCH = ("#include <cstdlib>\n"
          "inline bool mutantIsOn(int number)\n"
          "{\n"
          "    static const int chosen = [] {\n"
          "        const char* const text = std::getenv(\"TRAVIK_MUTANT\");\n"
          "        return text == nullptr ? 0 : std::atoi(text);\n"
          "    }();\n"
          "    return chosen == number;\n"
          "}\n")


class Fault:
    def __init__(self, number, name, path, old, new, raw):
        self.number, self.name, self.path, self.old, self.new, self.raw = number, name, path, old, new, raw

    def switched(self):
        on = f"mutantIsOn({self.number})"
        if self.raw:
            return self.new.replace("mutantIsOn(NUMBER)", on)
        if re.sub(r"//[^\n]*$", "", self.old).rstrip().endswith((";", "}")):
            return f"if ({on}) {{\n{self.new}\n}} else {{\n{self.old}\n}}"
        return f"({on} ? ({self.new}) : ({self.old}))"


def read_list(file):
    head, *parts = re.split(r"^== ", file.read_text(encoding="utf-8"), flags=re.M)
    settings = dict(re.findall(r"^(tests|targets): (.+)$", head, re.M))
    faults = []
    for number, part in enumerate(parts, 1):
        title, body = part.split("\n", 1)
        name, path = title.rsplit(": ", 1)
        old, new = re.split(r"^\+\+\n", body, maxsplit=1, flags=re.M)
        new = new.rstrip("\n")
        raw = new.endswith("\nraw")
        faults.append(Fault(number, name, path, old.rstrip("\n"), new.removesuffix("\nraw"), raw))
    return settings, faults


def make_tree(source, tree, faults):
    """A copy of the project's files, the faults planted; files that stay the same keep their times for the build."""
    wanted = {}
    listing = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=source, check=True,
                             capture_output=True, text=True).stdout
    for name in listing.splitlines():
        if (source / name).is_file():
            wanted[name] = (source / name).read_bytes()
    by_path = {}
    for fault in faults:
        by_path.setdefault(fault.path, []).append(fault)
    for path, own in by_path.items():
        text = wanted[path].decode("utf-8")
        groups = {}
        for fault in own:
            if text.count(fault.old) != 1:
                sys.exit(f"mutate.py: '{fault.name}': its text stands {text.count(fault.old)} times in {path}")
            groups.setdefault(fault.old, []).append(fault)
        for old, several in groups.items():
            switched = several[0].switched()
            for more in several[1:]:  # one place, several faults
                more.old = switched
                switched = more.switched()
            text = text.replace(old, switched)
        wanted[path] = ('#include "mutant.h"\n' + text).encode("utf-8")
    wanted["mutant/mutant.h"] = ("#pragma once\n" + SWITCH).encode("utf-8")
    for name, content in wanted.items():
        target = tree / name
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
            if (source / name).exists():
                shutil.copymode(source / name, target)


def build(tree, targets):
    flags = f"-I{tree / 'mutant'} -w"
    subprocess.run(["cmake", "--preset", "mingw-release", f"-DCMAKE_CXX_FLAGS={flags}"], cwd=tree, check=True,
                   stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "mingw-release", "--target", *targets], cwd=tree, check=True)


def first_failure(tree, pattern, number):
    """The test that fails first, or None."""
    environment = os.environ | {"TRAVIK_MUTANT": str(number), "TRAVIK_WINEPREFIX": str(tree / "build/wine")}
    run = subprocess.run(["ctest", "--preset", "mingw-release", "--stop-on-failure", "--timeout", "90", "-LE", "^long$",
                          "-R", pattern], cwd=tree, env=environment, capture_output=True, text=True, errors="replace")
    if run.returncode == 0:
        return None
    case = re.search(r"^\[  FAILED  \] (\S+)", run.stdout, re.M)
    entry = re.search(r"Test +#\d+: (\S+) \.*\s*(\*+\s*\w+)", run.stdout)
    how = re.sub(r"[* ]", "", entry[2]) if entry else "no test ran"
    return case[1] if case else f"{entry[1] if entry else ''} ({how})"


def run_list(name, file, source, folder, words):
    settings, faults = read_list(file)
    tree = folder / name
    make_tree(source, tree, faults)
    build(tree, settings["targets"].split())
    if failure := first_failure(tree, settings["tests"], 0):
        sys.exit(f"mutate.py: without a fault {failure} fails")
    rows = []
    for fault in faults:
        if words and not any(word in name or word in fault.name for word in words):
            continue
        caught = first_failure(tree, settings["tests"], fault.number)
        rows.append((fault.name, caught))
        print(f"{'caught  ' if caught else 'SURVIVED'} | {fault.name} | {caught or '-'}", flush=True)
    return rows


def main():
    source, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    words = sys.argv[3:]
    rows = []
    for file in sorted((source / "tests/mutants").glob("*.txt")):
        names = [file.stem] + [fault.name for fault in read_list(file)[1]]
        if not words or any(word in name for word in words for name in names):
            rows += run_list(file.stem, file, source, folder, words)
    caught = sum(1 for _, test in rows if test)
    if rows:
        print(f"{caught} of {len(rows)} caught ({100 * caught // len(rows)} %)")


if __name__ == "__main__":
    main()
