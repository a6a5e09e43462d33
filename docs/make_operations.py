#!/usr/bin/env python3
"""Makes operations.md from the public header and operations.tsv.

    docs/make_operations.py           writes it
    docs/make_operations.py --check   fails when the file is not what would be written
"""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "scripts"))
from public_interface import operations  # noqa: E402

here = pathlib.Path(__file__).resolve().parent
header = here.parent / "include/travik/vbox_instance.h"

# The parameter that takes a handle names its kind; of the others the name is the kind.
KINDS = {
    "source": "machine", "target": "machine", "mutableMachine": "machine", "machines": "machine",
    "adapter": "network adapter", "natEngine": "NAT engine", "audioAdapter": "audio adapter",
    "eventSource": "event source",
    "stateChangedEvent": "state event", "runtimeErrorEvent": "error event",
}
RELEASES = {
    "machine": "releaseMachine", "progress": "releaseProgress", "console": "releaseConsole",
    "event source": "releaseEventSource", "listener": "releaseEventListener", "event": "releaseEvent",
    "state event": "releaseStateChangedEvent", "error event": "releaseRuntimeErrorEvent",
    "audio adapter": "releaseAudioAdapter", "NAT engine": "releaseNATEngine",
    "network adapter": "releaseNetworkAdapter", "host": "releaseHost", "medium": "releaseMedium",
}
TABLE_CODES = {
    "machine": 181, "progress": 183, "console": 184, "event source": 185, "listener": 186, "event": 187,
    "state event": 188, "error event": 189, "audio adapter": 190, "NAT engine": 191, "network adapter": 192,
    "host": 193, "medium": 194,
}
TYPES = {
    "const std::wstring&": "text", "std::wstring": "text", "std::wstring*": "text", "bool": "bool",
    "std::uint32_t": "u32", "std::uint32_t*": "u32", "std::int32_t": "i32", "std::int32_t*": "i32",
    "std::int64_t*": "i64", "std::list<std::wstring>": "list of texts", "std::list<std::wstring>*": "list of texts",
    "std::vector<std::uint32_t>": "list of u32", "VBoxHandle": "handle", "VBoxHandle*": "handle",
    "std::vector<VBoxHandle>*": "list of handles",
}
# Parameters that are recorded and not looked up.
IGNORED = {("createMutableMachine", "machine")}

LEGEND = """# Operations

<!-- Made by docs/make_operations.py from include/travik/vbox_instance.h and docs/operations.tsv; change those. -->

What each operation does is written beside its declaration in
[`vbox_instance.h`](../include/travik/vbox_instance.h), or in the pages that `doxygen` makes of it. This page is the
same interface as a table: what goes in and out, and the rules that hold around a call.

- **slot**: the place in the binary contract, counted from 0.
- **in → out**: parameters by name with their type; what stands after the arrow is written through a pointer. `text` is
  UTF-16 in a `std::wstring`; `u32`, `i32`, `i64` are numbers of that size; `handle` is a `VBoxHandle` of the kind that
  its name or the word before says.
- **gives**: the kind of handle that comes out, to be given back ([Handles](handles.md)).
- **lock** ([Sessions](sessions.md)): *write* wants the mutable machine of a write-locked session, or one that is not
  registered yet; *held* wants the library's session to hold a machine, for writing or running; *running* wants the
  console of a running machine; *free* wants a machine that nobody has locked, and for a lock or a launch an unused
  session; without a word none is needed.
- **waits**: *answer* is as long as VirtualBox takes to answer, usually a millisecond; *time* is as long as the call
  allows; *task* is until the work is done, up to minutes; without a word VirtualBox is not asked.
- **thread** ([Threads](threading.md)): *COM* is the thread on which the VirtualBox objects were created; *COM+* creates
  them on the calling thread when there are none; *any* is any thread; *quiet* is any thread while no other runs an
  operation.
- **throws** ([Errors](errors.md#exceptions)): *memory* is `_com_error` when a COM string cannot be made, *file* is a
  `Poco::Exception` of the file system. (A lock that the system refuses throws `std::system_error` from every
  operation but `setLogPath` and the converters.)
- **codes**: what it can return beside 0 ([Errors](errors.md#codes)), in the order of its steps.
"""

RELEASE_TEXT = """## Giving handles back

Always 0, whatever the number; not logged; on the COM thread, as the object is let go there.

| slot | operation | kind | code of an unknown handle |
|---|---|---|---|
"""

CONVERTER_TEXT = """## Converters

One `u32` in, one out; any thread, no lock, no log, no failure: a value outside the table gives 0 (slot 102: 31). The
operations take and give VirtualBox's own numbers and need none of these. Slots 83 and 84 keep a table with one state
more than VirtualBox 6.1 has: for 6.1 use its numbers as they are (`vbox_types.h`).

| slot | converter | maps |
|---|---|---|
"""


def declarations():
    """Yields (slot, name, [(type, name)], comment) in the order of the header."""
    text = header.read_text(encoding="utf-8")
    body = text[text.index("class VBoxInstanceImpl"):text.index("protected:")]
    pattern = re.compile(r"((?:^ *///.*\n)*)^ *virtual\s+[\w:]+\s+(\w+)\(([^;]*?)\)\s*=\s*0;\s*// (\d+)$", re.M)
    for comment, name, parameters, slot in pattern.findall(body):
        parsed = []
        for parameter in filter(None, (" ".join(p.split()) for p in parameters.split(","))):
            kind, label = re.fullmatch(r"(.*\W)\s*(\w+)", parameter).groups()
            parsed.append((kind.strip(), label))
        yield int(slot), name, parsed, " ".join(re.sub(r"^ *///", "", line).strip() for line in comment.splitlines())


def rules():
    """{operation: row of operations.tsv}, in the order of the file."""
    lines = [line for line in (here / "operations.tsv").read_text(encoding="utf-8").splitlines()
             if line and not line.startswith("#")]
    names = lines[0].split("\t")
    found = {}
    for line in lines[1:]:
        row = dict(zip(names, line.split("\t"), strict=True))
        row["codes"] = [int(code) for code in row["codes"].split()]
        if found.setdefault(row["operation"], row) is not row:
            raise SystemExit(f"operations.tsv: {row['operation']} twice")
    return found


def kind_of(label):
    return KINDS.get(label, label)


def check_codes(name, parameters, comment, codes):
    """The header's comment, the table's codes and the handles must tell the same."""
    written = {int(n) for n in re.findall(r"\b(1[0-9]{2}|20[0-9]|21[0-5])\b", comment)}
    if name == "resetComComponent":
        written.add(101)  # its comment leaves that to initComComponent's
    wanted = {TABLE_CODES[kind_of(label)] for kind, label in parameters
              if kind == "VBoxHandle" and (name, label) not in IGNORED}
    if written != set(codes):
        raise SystemExit(f"{name}: the header names {sorted(written)}, operations.tsv {sorted(codes)}")
    if wanted != {code for code in codes if 181 <= code <= 194}:
        raise SystemExit(f"{name}: takes handles with the codes {sorted(wanted)}, operations.tsv has {codes}")


def type_words(name, kind, label):
    if (name, label) in IGNORED:
        return "u32, not looked at"
    if kind in ("VBoxHandle", "VBoxHandle*") and kind_of(label) != label:
        return f"{kind_of(label)} handle"
    return TYPES[kind]


def signature(name, parameters):
    def words(outputs):
        return ", ".join(f"{label}: {type_words(name, kind, label)}" for kind, label in parameters
                         if kind.endswith("*") == outputs)

    arrow = f" → {words(True)}" if words(True) else ""
    return f"**`{name}`** {words(False)}{arrow}".replace("  ", " ").strip()


def dash(value):
    return "" if value == "-" else value


def operation_row(slot, name, parameters, rule):
    gives = [kind_of(label) for kind, label in parameters if kind in ("VBoxHandle*", "std::vector<VBoxHandle>*")]
    gives += {"getVBoxError": ["HRESULT"], "getVBoxErrorMessage": ["text"]}.get(name, [])
    thread = {"any": "any", "quiet": "quiet", "com": "COM", "starts": "COM+"}[rule["thread"]]
    throws = {"-": "", "memory": "memory", "file": "file", "both": "memory, file"}[rule["throws"]]
    cells = [str(slot), signature(name, parameters), ", ".join(gives), dash(rule["lock"]), dash(rule["wait"]), thread,
             throws, ", ".join(map(str, rule["codes"]))]
    return "| " + " | ".join(cells) + " |"


def page():
    table = rules()
    sections = {}
    releases, converters, slots = [], [], []
    for slot, name, parameters, comment in declarations():
        slots.append(slot)
        if name.startswith("release") and name != "releaseRC":
            kind = next(kind for kind, release in RELEASES.items() if release == name)
            releases.append(f"| {slot} | `{name}` | {kind} | {TABLE_CODES[kind]} |")
        elif 83 <= slot <= 104:
            converters.append(f"| {slot} | `{name}` | {comment} |")
        else:
            rule = table.pop(name, None)
            if rule is None:
                raise SystemExit(f"docs/operations.tsv has no row for {name}: add it")
            check_codes(name, parameters, comment, rule["codes"])
            sections.setdefault(rule["subject"], []).append(
                (rule, operation_row(slot, name, parameters, rule)))
    if slots != [operation.slot for operation in operations()]:
        raise SystemExit(f"not every slot of the header is in the table: {slots}")
    if table:
        raise SystemExit(f"operations.tsv knows operations that the header does not: {', '.join(table)}")

    order = list(rules())
    parts = [LEGEND]
    for subject in dict.fromkeys(rule["subject"] for rule in rules().values()):
        rows = sorted(sections[subject], key=lambda row: order.index(row[0]["operation"]))
        parts.append(f"## {subject}\n\n| slot | in → out | gives | lock | waits | thread | throws | codes |\n"
                     "|---|---|---|---|---|---|---|---|\n" + "\n".join(row for _, row in rows) + "\n")
    parts.append(CONVERTER_TEXT + "\n".join(converters) + "\n")
    parts.append(RELEASE_TEXT + "\n".join(releases) + "\n")
    return "\n".join(parts)


def main():
    target = here / "operations.md"
    text = page()
    if sys.argv[1:] == ["--check"]:
        if not target.exists() or target.read_text(encoding="utf-8") != text:
            sys.exit("docs/operations.md is out of date: run docs/make_operations.py")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        target.write_text(text, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
