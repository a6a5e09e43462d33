#!/usr/bin/env python3
"""Every verb of travikctl's help has a system test of its output, of its JSON and of its failure:
check_verbs.py TESTS PROGRAM...  (PROGRAM... runs travikctl)"""
import pathlib
import re
import subprocess
import sys

KINDS = ("output", "JSON", "failure")
# General options that stand before a verb, and how many words they take.
OPTIONS = {"--json": 1, "--timeout": 2, "--wait-lock": 2, "--log": 2}


def verbs_of(program):
    text = subprocess.run([*program, "--help-all"], check=True, capture_output=True, timeout=100).stdout.decode("utf-8")
    verbs = re.findall(r"^[a-z]+(?: [a-z]+)?$", text.replace("\r", "").split("Subcommands:", 1)[1], re.MULTILINE)
    if len(verbs) < 40:
        sys.exit(f"the help names only {verbs}")
    return verbs


def calls_in(body):
    """The runs of travikctl in a test: what runs it, with what stands before; its words; what stands after."""
    for match in re.finditer(r"\b(travikctl|travikctlJson|expectRefused)\(\{|Program (\w+)\(ctl\(\), \{", body):
        end = body.index("}", match.end())
        words = re.findall(r'L"((?:[^"\\]|\\.)*)"', body[match.end():end])
        json = match.group(1) == "travikctlJson" or "--json" in words
        while words and words[0] in OPTIONS:
            words = words[OPTIONS[words[0]]:]
        # A name for the run: it is looked at later on.
        named = re.search(r"(\w+) = $", body[:match.start()])
        name = match.group(2) or (named and named.group(1))
        yield match.group(1), body[:match.start()], words, json, name, body[end + 1:]


def kind_of(runner, before, json, name, after):
    if runner == "expectRefused" or re.search(r"\bfailed(AsJson)?\($", before):
        return "failure"
    if name and re.search(rf"\bfailed(AsJson)?\({name}\b|\b{name}\.error\(\)|\b{name}\.exitCode, [1-9]", after):
        return "failure"
    looked_at = re.match(r"\)\s*\.(?:json|facts)\(\)" if json else r"\)\s*\.out\b", after)
    if name and not looked_at:
        looked_at = re.search(
            rf"\b{name}\.(json\(\)|facts\(\)|(wait\(\)\.)?out\b)|= {name}\.wait\(|\bfindingOf\({name}\b", after)
    return ("JSON" if json else "output") if looked_at else None


def main():
    verbs = verbs_of(sys.argv[2:])
    found = {verb: set() for verb in verbs}
    for source in sorted(pathlib.Path(sys.argv[1]).glob("*_test.cpp")):
        # Functions: what ends with a brace at the margin, or a member's at its own.
        for body in re.split(r"^(?:    )?}\n", source.read_text(encoding="utf-8"), flags=re.MULTILINE):
            for runner, before, words, json, name, after in calls_in(body):
                verb = " ".join(words[:2]) if " ".join(words[:2]) in found else " ".join(words[:1])
                if verb in found:
                    found[verb].add(kind_of(runner, before, json, name, after))
    missing = [f"{verb}: no test of its {kind}" for verb in verbs for kind in KINDS if kind not in found[verb]]
    if missing:
        sys.exit("\n".join(missing))
    print(f"{len(verbs)} verbs, each with tests of its output, its JSON and its failure")


if __name__ == "__main__":
    main()
