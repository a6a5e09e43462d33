#!/usr/bin/env python3
"""Every operation of the interface is called by travikctl, itself or through the helper header it is built on:
check_reach.py HEADERS SOURCES"""
import pathlib
import re
import sys


def main():
    headers, sources = map(pathlib.Path, sys.argv[1:3])
    interface = (headers / "vbox_instance.h").read_text(encoding="utf-8")
    operations = re.findall(r"virtual [\w:]+ (\w+)\([^)]*\) = 0;", interface)
    if len(operations) != 118:
        sys.exit(f"118 operations expected, {len(operations)} found")
    users = [headers / "scoped_handle.h", *sources.rglob("*.cpp"), *sources.rglob("*.h")]
    text = "".join(re.sub(r"//[^\n]*", "", user.read_text(encoding="utf-8")) for user in users)
    # Called on the instance, or passed as a pointer to the operation.
    used = set(re.findall(r"(?:vbox_?[.]|->|VBoxInstanceImpl::)(\w+)", text))
    missing = [operation for operation in operations if operation not in used]
    if missing:
        sys.exit("travikctl reaches no " + ", ".join(missing))
    print("all 118 operations are reached")


if __name__ == "__main__":
    main()
