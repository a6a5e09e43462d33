#!/usr/bin/env python3
"""Makes the tables of statements in simulator.md from what vboxprobe knows.

    docs/make_statements.py COMMAND...           writes them; COMMAND runs vboxprobe
    docs/make_statements.py --check COMMAND...   fails when the file is not what would be written
"""
import pathlib
import re
import subprocess
import sys

document = pathlib.Path(__file__).resolve().parent / "simulator.md"
BEGIN = "<!-- made by docs/make_statements.py from here -->\n"
END = "<!-- to here -->\n"


def main():
    arguments = sys.argv[1:]
    check = arguments[:1] == ["--check"]
    command = arguments[check:]
    if not command:
        sys.exit(__doc__)
    done = subprocess.run([*command, "--tables"], stdout=subprocess.PIPE, check=True)
    tables = done.stdout.decode("utf-8").replace("\r\n", "\n")
    text = document.read_text(encoding="utf-8")
    parts = re.fullmatch(f"(.*{BEGIN}).*({END}.*)", text, re.S)
    if not parts or "| statement |" not in tables:
        sys.exit("no place for the tables, or no tables")
    made = parts[1] + "\n" + tables.strip("\n") + "\n\n" + parts[2]
    if not check:
        document.write_text(made, encoding="utf-8")
    elif made != text:
        sys.exit("simulator.md is not what the probe states: run docs/make_statements.py with its command")


main()
