#!/usr/bin/env python3
"""Lists the operations of the interface, in slot order, as a macro that takes a macro: FOR_EACH_OPERATION(X); with the
implementation's header also those that it adds.

The table of operations makes a name and a row of each. With the sources of the rows, an operation without its row ends
the build here, with the name of the file to add to.
Usage: make_operation_list.py vbox_instance.h vbox.h operation_list.h [rows_*.cpp...]
"""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from public_interface import operations  # noqa: E402


def added(path):
    """The operations behind the interface's, which are declared without an override."""
    return re.findall(r"^    virtual\s+[\w:]+\s+(\w+)\([^;]*?\);", pathlib.Path(path).read_text(encoding="utf-8"), re.M)


def main():
    interface, implementation, target, *sources = sys.argv[1:]
    names = [operation.name for operation in operations(interface)]
    if implementation != interface:
        names += added(implementation)
    rows = "".join(pathlib.Path(source).read_text(encoding="utf-8") for source in sources)
    known = set(re.findall(r"row<Op::(\w+)>\(\)|^(?:CONVERTER|RELEASE)\((\w+)", rows, re.M))
    known = {name for pair in known for name in pair}
    missing = [name for name in names if sources and name not in known]
    if missing:
        sys.exit(f"no row for {', '.join(missing)}: add it to the tests/component/rows_*.cpp of its subject")
    lines = ["// Made from the public header; see make_operation_list.py.", "#pragma once", "",
             "#define FOR_EACH_OPERATION(X) \\"]
    lines += [f"    X({name}) \\" for name in names[:-1]] + [f"    X({names[-1]})"]
    pathlib.Path(target).write_text("\n".join(lines) + "\n", encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
