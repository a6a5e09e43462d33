#!/usr/bin/env python3
"""Lists the operations of the interface, in slot order, as a macro that takes a macro: FOR_EACH_OPERATION(X).

The table of operations makes a name and a row of each; an operation without its row does not link.
Usage: make_operation_list.py vbox_instance.h vbox.h operation_list.h
"""
import re
import sys


def virtual_operations(path, pattern):
    with open(path, encoding="utf-8") as file:
        return re.findall(pattern, file.read(), re.S)


def main():
    interface, implementation, target = sys.argv[1:4]
    declared = virtual_operations(interface, r"virtual\s+[\w:]+\s+(\w+)\([^;]*?\)\s*=\s*0;\s*//\s*(\d+)")
    names = [name for name, _ in declared]
    slots = [int(slot) for _, slot in declared]
    if not names or slots != list(range(len(slots))):
        sys.exit(f"make_operation_list.py: the slots in {interface} are not numbered from 0 upwards")
    names += virtual_operations(implementation, r"virtual\s+[\w:]+\s+(\w+)\([^;]*?\);")
    lines = ["// Made from the public header; see make_operation_list.py.", "#pragma once", "",
             "#define FOR_EACH_OPERATION(X) \\"]
    lines += [f"    X({name}) \\" for name in names[:-1]] + [f"    X({names[-1]})"]
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
