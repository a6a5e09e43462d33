#!/usr/bin/env python3
"""Every operation of the interface is called by travikctl, itself or through the helper header it is built on:
check_reach.py HEADERS SOURCES"""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from public_interface import operations  # noqa: E402


def main():
    headers, sources = map(pathlib.Path, sys.argv[1:3])
    names = [operation.name for operation in operations(headers / "vbox_instance.h")]
    # operations.h has them all, which does not mean that somebody calls them.
    helper = [headers / f"{name}.h" for name in ("errors", "events", "owners", "session", "waits")]
    users = [*helper, *sources.rglob("*.cpp"), *sources.rglob("*.h")]
    text = "".join(re.sub(r"//[^\n]*", "", user.read_text(encoding="utf-8")) for user in users)
    # Called on the instance or its typed form, or passed as a pointer to the operation.
    used = set(re.findall(r"(?:vbox_?[.]|vbox[)][.]|operations[.]|plain[(][)][.]|->|VBoxInstanceImpl::)(\w+)", text))
    missing = [name for name in names if name not in used]
    if missing:
        sys.exit("travikctl reaches no " + ", ".join(missing) + ": a verb of tools/travikctl has to call it")
    print(f"all {len(names)} operations are reached")


if __name__ == "__main__":
    main()
