#!/usr/bin/env python3
"""Plants faults and tells which test catches each: mutate.py SOURCE BUILD [--check] [WORD...]

The lists beside this script hold the faults. One build carries all of them, each behind a switch at run time
(TRAVIK_MUTANT in the environment); without it the tests have to pass. WORDs choose lists or faults by a part of their
names. --check only tells whether every fault still fits the sources.

A list begins with `tests:` (patterns of CTest entries, tried one after the other until one fails) and `targets:`. A
fault is

    == what goes wrong: path of the source
    tests: patterns in place of the list's, where it is known which tests look for it
    the text that stands there, once
    ++
    the text in its place

The switch is an `if` around statements (a text that ends in ; or }) and a ?: around an expression. A last line `raw`
says that the new text has the switch in itself, as mutantIsOn(NUMBER).
"""
import contextlib
import functools
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import zlib

# In front of every planted source; what is planted may be code that the compiler would warn of.
SWITCH = """\
#pragma once
#include <cstdlib>
inline bool mutantIsOn(long number)
{
    static const long chosen = [] {
        const char* const text = std::getenv("TRAVIK_MUTANT");
        return text == nullptr ? 0L : std::atol(text);
    }();
    return chosen == number;
}
""" + "".join(f'#pragma GCC diagnostic ignored "-W{name}"\n' for name in (
    "unused-variable", "unused-parameter", "unused-function", "unused-but-set-variable", "unused-but-set-parameter",
    "unused-value", "empty-body", "misleading-indentation", "dangling-else", "return-type", "sign-compare", "extra",
    "enum-compare", "bool-compare", "tautological-compare", "maybe-uninitialized", "parentheses", "pedantic"))


class Fault:
    def __init__(self, group, name, path, tests, old, new, raw):
        self.group, self.name, self.path, self.tests = group, name, path, tests
        self.old, self.new, self.raw = old, new, raw
        self.number = zlib.crc32(name.encode()) & 0x7FFFFFFF  # stays when others come and go: less is built anew

    def switched(self):
        on = f"mutantIsOn({self.number})"
        if self.raw:
            return self.new.replace("mutantIsOn(NUMBER)", on)
        if re.sub(r"//[^\n]*$", "", self.old).rstrip().endswith((";", "}")):
            return f"if ({on}) {{\n{self.new}\n}} else {{\n{self.old}\n}}"
        return f"({on} ? ({self.new}) : ({self.old}))"


class Group:
    """One list: its faults, and where to look for them."""

    def __init__(self, file):
        self.name = file.stem
        head, *parts = re.split(r"^== ", file.read_text(encoding="utf-8"), flags=re.M)
        settings = dict(re.findall(r"^(tests|targets): (.+)$", head, re.M))
        self.tests, self.targets = settings["tests"].split(), settings["targets"].split()
        self.faults = [self.read(part) for part in parts]

    def read(self, part):
        title, body = part.split("\n", 1)
        name, path = title.rsplit(": ", 1)
        tests = self.tests
        if body.startswith("tests: "):
            line, body = body.split("\n", 1)
            tests = line.split()[1:]
        old, new = re.split(r"^\+\+\n", body, maxsplit=1, flags=re.M)
        new = new.rstrip("\n")
        raw = new.endswith("\nraw")
        return Fault(self, name, path, tests, old.rstrip("\n"), new.removesuffix("\nraw"), raw)


def project_files(source):
    listing = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=source,
                             check=True, capture_output=True, text=True).stdout
    return {name: (source / name).read_bytes() for name in listing.split("\0") if (source / name).is_file()}


def plant(files, faults):
    """The sources with all faults behind their switches; ends with the list of those that do not fit."""
    texts, misfits = {}, []
    places = {}
    for fault in faults:
        places.setdefault((fault.path, fault.old), []).append(fault)
    for (path, old), several in places.items():
        text = texts.get(path) or files.get(path, b"").decode("utf-8")
        if text.count(old) != 1:
            misfits += [f"'{fault.name}': its text stands {text.count(old)} times in {path}" for fault in several]
            continue
        switched = old
        for fault in several:  # one place, several faults
            fault.old = switched
            switched = fault.switched()
        texts[path] = text.replace(old, switched)
    if misfits:
        sys.exit("mutate.py: these faults do not fit the sources any more:\n  " + "\n  ".join(misfits))
    return texts


def make_tree(source, tree, faults):
    """A copy of the project's files, the faults planted; files that stay the same keep their times for the build."""
    wanted = project_files(source)
    switch = tree / "mutant.h"
    for path, text in plant(wanted, faults).items():
        wanted[path] = f'#include "{switch}"\n{text}'.encode("utf-8")
    wanted[switch.name] = SWITCH.encode("utf-8")
    for name, content in wanted.items():
        target = tree / name
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
            if (source / name).exists():
                shutil.copymode(source / name, target)


def build(tree, targets):
    # A fault changes one source, which alone compiles soonest.
    subprocess.run(["cmake", "--preset", "mingw-release", "-DCMAKE_UNITY_BUILD=OFF"], cwd=tree, check=True,
                   stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "mingw-release", "--target", *targets], cwd=tree, check=True)


def environment(tree, number):
    return os.environ | {"TRAVIK_MUTANT": str(number), "TRAVIK_WINEPREFIX": str(tree / "build/wine"),
                         "GTEST_FAIL_FAST": "1"}


def run_entries(tree, pattern, number, limit=None):
    """The test that fails first, or None. Only the usual run counts; a fault that takes longer than the limit hangs."""
    command = ["ctest", "--preset", "mingw-release", "--stop-on-failure", "--no-tests=error", "-LE", "^long$", "-R",
               pattern, "--parallel", str(2 * os.cpu_count()), "--resource-spec-file",
               tree / "build/mingw-release/wine_prefixes.json"]
    with subprocess.Popen(command, cwd=tree, env=environment(tree, number), stdout=subprocess.PIPE, text=True,
                          errors="replace", start_new_session=True) as run:
        try:
            output, _ = run.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, signal.SIGKILL)
            return f"{pattern} (hangs)"
    if run.returncode == 0:
        return None
    case = re.search(r"^\[  FAILED  \] ([^\s,]+)", output, re.M)
    entry = re.search(r"Test +#\d+: (\S+) \.*\s*\*+\s*(.+?)\s*\d+\.\d+ sec", output)
    if case:
        return case[1]
    return f"{entry[1]} ({entry[2].lower()})" if entry else "no test ran"


@functools.cache
def longest_time(tree, pattern):
    """What a run may take with a fault; without one it has to pass."""
    began = time.monotonic()
    if failure := run_entries(tree, pattern, 0):
        sys.exit(f"mutate.py: without a fault {failure} fails")
    return 60 + 5 * (time.monotonic() - began)


def first_failure(tree, patterns, number):
    return next((failure for pattern in patterns
                 if (failure := run_entries(tree, pattern, number, longest_time(tree, pattern)))), None)


def report(rows):
    print()
    for name in dict.fromkeys(fault.group.name for fault, _ in rows):
        tried = [caught for fault, caught in rows if fault.group.name == name]
        caught = sum(1 for test in tried if test)
        print(f"{name}: {caught} of {len(tried)} caught ({100 * caught // len(tried)} %)")
    caught = sum(1 for _, test in rows if test)
    print(f"{caught} of {len(rows)} caught ({100 * caught // len(rows)} %)")


def look_for(tree, chosen):
    rows = []
    for fault in chosen:
        began = time.monotonic()
        caught = first_failure(tree, fault.tests, fault.number)
        rows.append((fault, caught))
        print(f"{'caught  ' if caught else 'SURVIVED'} | {fault.name} | {caught or '-'} | "
              f"{time.monotonic() - began:.0f} s", flush=True)
    report(rows)


def main():
    source, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    words = sys.argv[3:]
    groups = [Group(file) for file in sorted((source / "tests/mutants").glob("*.txt"))]
    faults = [fault for group in groups for fault in group.faults]
    if len({fault.number for fault in faults}) != len(faults):
        sys.exit("mutate.py: two faults have one name")
    if words == ["--check"]:
        plant(project_files(source), faults)
        return
    chosen = [fault for fault in faults
              if not words or any(word in fault.group.name or word in fault.name for word in words)]
    if not chosen:
        sys.exit("mutate.py: no list and no fault has such a name")
    asked = list(dict.fromkeys(fault.group for fault in chosen))
    make_tree(source, folder, faults)
    build(folder, [target for group in asked for target in group.targets])
    # The first program of Wine starts services that keep its output open: in each prefix it is one that nobody waits
    # for.
    with contextlib.ExitStack() as holders:
        for number in "01234":  # the prefixes of travik_uses_virtualbox
            holders.enter_context(subprocess.Popen(
                [folder / "scripts/wine-run", "cmd"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL, env=environment(folder, 0) | {"TRAVIK_WINEPREFIX_NUMBER": number}))
        look_for(folder, chosen)


if __name__ == "__main__":
    main()
