#!/usr/bin/env python3
"""Makes the bodies of a fake VBoxInstanceImpl from the public header: make_fake.py vbox_instance.h OUTPUT

Every operation notes its call and answers as the test has arranged; see fake_vbox.h for the six forms.
"""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from public_interface import operations  # noqa: E402


def form(result, name, parameters):
    last = re.sub(r"\s*\w+$", "", parameters[-1]) if parameters else ""
    if result == "std::uint32_t" and parameters:
        return "convert"
    if name in ("getVBoxError", "getVBoxErrorMessage"):
        return "last" + name[len("getVBox"):]
    if name == "eventSourceReleaseEvent" or name.startswith("release") and parameters:
        return "giveBack"
    if last == "VBoxHandle*":
        return "handOut"
    if last in ("std::wstring*", "std::uint32_t*", "std::int32_t*", "std::vector<VBoxHandle>*"):
        return "tell"
    return "answer"


def body(result, name, parameters):
    arguments = ["\"" + name + "\""] + [re.search(r"\w+$", p).group() for p in parameters]
    called = form(result, name, parameters)
    # The forms that write to the last argument take it in front of the others, which are only noted.
    if called in ("handOut", "tell"):
        arguments.insert(1, arguments.pop())
    return f"return {called}({', '.join(arguments if not called.startswith('last') else [])});"


def main():
    with open(sys.argv[2], "w", encoding="utf-8", newline="\n") as out:
        for o in operations(sys.argv[1]):
            out.write(f"{o.result} {o.name}({', '.join(o.parameters)}) override "
                      f"{{ {body(o.result, o.name, o.parameters)} }}\n")


if __name__ == "__main__":
    main()
