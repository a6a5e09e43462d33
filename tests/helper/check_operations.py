#!/usr/bin/env python3
"""Every operation has a typed form in operations.h, but for those that owners and connections call, those about the
library itself, and the converters, which are pure numbers: check_operations.py HEADERS"""
import pathlib
import re
import sys

# Of the connection, or of the library itself.
PLAIN = {"setLogPath", "initComComponent", "resetComComponent", "releaseRC", "getVBoxError", "getVBoxErrorMessage"}


def main():
    headers = pathlib.Path(sys.argv[1])
    interface = (headers / "vbox_instance.h").read_text(encoding="utf-8")
    operations = re.findall(r"virtual [\w:]+ (\w+)\([^)]*\) = 0;", interface)
    typed = set(re.findall(r"&VBoxInstanceImpl::(\w+)", (headers / "operations.h").read_text(encoding="utf-8")))
    missing = [name for name in operations
               if name not in typed | PLAIN and not re.match("release|toSdk|toVBox|toHResult", name)]
    if missing or len(operations) < 100:
        sys.exit(f"operations.h has no {', '.join(missing)}")
    print(f"{len(typed)} operations have their typed form")


if __name__ == "__main__":
    main()
