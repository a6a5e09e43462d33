#!/usr/bin/env python3
"""Makes the table of docs/simulator.md that says what other clients find: interface by interface, which calls answer.

Usage: make_client_table.py [--check], in the repository. Without --check the table in the document is replaced.

A call answers when a class of the stand-in has a body for it; the others answer E_NOTIMPL. Both come from the sources:
the calls from idl/virtualbox.idl, the bodies from simulator/com and simulator/session.
"""
import pathlib
import re
import sys

from make_call_names import calls

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = REPOSITORY / "docs" / "simulator.md"
BEGIN = "<!-- made by scripts/make_client_table.py -->"
END = "<!-- end -->"
# Called by VirtualBox's server, not by clients.
LEFT_OUT = {"IInternalSessionControl", "IVetoEvent"}


def bodies():
    """{interface: {method with a body}} of all classes; a template of events counts for its interface."""
    found = {"IEvent": set(), "IMachineEvent": set()}
    for folder in ("com", "session"):
        for source in sorted((REPOSITORY / "simulator" / folder).glob("*.[hc]*")):
            text = source.read_text(encoding="utf-8")
            parts = re.split(r"\bclass\s+(\w+)\s*:\s*public\s+(\w+<[^{]*?>)", text, flags=re.S)
            for name, base, body in zip(parts[1::3], parts[2::3], parts[3::3]):
                interfaces = re.findall(r"\bI[A-Z]\w+", base)
                interface = {"EventObject": "IEvent", "MachineEventObject": "IMachineEvent"}.get(
                    name, interfaces[0] if interfaces else None)
                body = body.split("\n};", 1)[0]
                found.setdefault(interface, set()).update(re.findall(r"STDMETHODCALLTYPE\s+(\w+)\s*\(", body))
    return found


def table():
    have = bodies()
    lines = ["| interface | calls | answer | do not |", "|---|---|---|---|"]
    for interface, names in sorted(calls(REPOSITORY / "idl" / "virtualbox.idl").items()):
        if interface in LEFT_OUT:
            continue
        missing = [name for name in names if name not in have.get(interface, set())]
        texts = ", ".join(f"`{name}`" for name in missing)
        lines.append(f"| `{interface}` | {len(names)} | {len(names) - len(missing)} | {texts} |")
    return "\n".join(lines)


def main():
    text = DOCUMENT.read_text(encoding="utf-8")
    before, rest = text.split(BEGIN, 1)
    _, after = rest.split(END, 1)
    made = f"{before}{BEGIN}\n\n{table()}\n\n{END}{after}"
    if "--check" in sys.argv[1:]:
        if made != text:
            sys.exit("docs/simulator.md does not say what the stand-in answers; run scripts/make_client_table.py")
        return
    DOCUMENT.write_text(made, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
