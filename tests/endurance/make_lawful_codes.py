#!/usr/bin/env python3
"""Lists what the documents promise of each operation, as a macro that takes a macro: FOR_EACH_PROMISE(X), where
X(name, throws, ({codes}), threadsMatter) has throws as 0, or-ed from 1 (out of memory) and 2 (file system), and
threadsMatter true when the operation belongs on the thread that initialised COM.

Usage: make_lawful_codes.py operations.tsv lawful_codes.h
"""
import sys

THROWS = {"-": 0, "memory": 1, "file": 2, "both": 3}


def main():
    source, target = sys.argv[1:3]
    lines = ["// Made from docs/operations.tsv; see make_lawful_codes.py.", "#pragma once", "",
             "#define FOR_EACH_PROMISE(X) \\"]
    with open(source, encoding="utf-8") as file:
        rows = [line.rstrip("\n").split("\t") for line in file if line.strip() and not line.startswith("#")]
    columns = {name: i for i, name in enumerate(rows[0])}
    promises = []
    for row in rows[1:]:
        codes = row[columns["codes"]].split() if len(row) > columns["codes"] else []
        throws = THROWS[row[columns["throws"]]]
        matter = "true" if row[columns["thread"]] in ("com", "starts") else "false"
        promises.append(f"    X({row[0]}, {throws}, ({{{', '.join(['0'] + codes)}}}), {matter})")
    lines.append(" \\\n".join(promises))
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
