#!/usr/bin/env python3
"""Makes the bodies of a fake VBoxInstanceImpl from the public header: make_fake.py vbox_instance.h OUTPUT

Every operation notes its call and answers as the test has arranged; see fake_vbox.h for the six forms.
"""
import re
import sys


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
    text = open(sys.argv[1], encoding="utf-8").read()
    text = re.sub(r"//[^\n]*", "", text)
    operations = re.findall(r"virtual ([\w:]+) (\w+)\(([^)]*)\) = 0;", text)
    if len(operations) != 118:
        sys.exit(f"118 operations expected, {len(operations)} found")
    with open(sys.argv[2], "w", encoding="utf-8", newline="\n") as out:
        for result, name, parameters in operations:
            parameters = [" ".join(p.split()) for p in parameters.split(",")] if parameters.strip() else []
            out.write(f"{result} {name}({', '.join(parameters)}) override {{ {body(result, name, parameters)} }}\n")


if __name__ == "__main__":
    main()
