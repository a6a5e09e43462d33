"""What the flat interface is, derived from the public C++ headers, docs/operations.tsv and src/c/methods.tsv.

describe() gives it as plain data: travik_api.json is this, and every made file comes from it.
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(root / "docs"))
import make_operations as operations  # noqa: E402

# Kind of handle in the documents: name of its C type after travik_, class in object-oriented bindings.
HANDLES = {
    "machine": ("machine", "Machine"), "progress": ("progress", "Progress"), "console": ("console", "Console"),
    "event source": ("event_source", "EventSource"), "listener": ("event_listener", "EventListener"),
    "event": ("event", "Event"), "state event": ("state_changed_event", "StateChangedEvent"),
    "error event": ("runtime_error_event", "RuntimeErrorEvent"), "audio adapter": ("audio_adapter", "AudioAdapter"),
    "NAT engine": ("nat_engine", "NatEngine"), "network adapter": ("network_adapter", "NetworkAdapter"),
    "host": ("host", "Host"), "medium": ("medium", "Medium"),
}

# C++ type: type here, direction.
TYPES = {
    "const std::wstring&": ("text", "in"), "std::wstring": ("text", "in"), "std::wstring*": ("text", "out"),
    "bool": ("u32", "in"), "std::uint32_t": ("u32", "in"), "std::uint32_t*": ("u32", "out"),
    "std::int32_t": ("i32", "in"), "std::int32_t*": ("i32", "out"), "std::int64_t*": ("i64", "out"),
    "std::list<std::wstring>": ("texts", "in"), "std::list<std::wstring>*": ("texts", "out"),
    "std::vector<std::uint32_t>": ("numbers", "in"), "VBoxHandle": ("handle", "in"), "VBoxHandle*": ("handle", "out"),
    "std::vector<VBoxHandle>*": ("handles", "out"),
}

# What a number means where its type does not tell: an enumeration of vbox_types.h, or a yes or no.
MEANINGS = {
    "lockType": "LockType", "provider": "ParavirtProvider", "protocol": "NATProtocol", "feature": "ProcessorFeature",
    "types": "VBoxEventType", "state": "MachineState", "forceNewUuid": "bool", "writable": "bool", "automount": "bool",
    "enabled": "bool", "supported": "bool", "completed": "bool", "fatal": "bool", "active": "bool",
    ("getMediumState", "state"): "MediumState", ("eventSourceEventGetType", "type"): "VBoxEventType",
}

# The codes that are not the library's own: name, number, what happened.
OWN_CODES = [
    ("NotUtf8", 1001, "a text that goes in is not UTF-8"),
    ("NullArgument", 1002, "a text, list or output that is required is null"),
    ("Closed", 1003, "not open, or closed during the call"),
    ("Deadline", 1004, "the deadline passed; the error's text says whether the operation had begun"),
    ("WrongHandle", 1005, "a handle of another kind, or a watch that is not known"),
    ("AlreadyOpen", 1006, "travik_open while open, or before travik_close came to its end"),
    ("OutOfMemory", 1007, "no memory"),
    ("FileSystem", 1008, "the file system refused; the text tells what"),
    ("Unexpected", 1009, "an exception that nobody expects; the text tells which"),
    ("NeedsWorker", 1010, "a watch or a deadline together with TRAVIK_OPEN_CALLER_THREAD"),
    ("LibraryMissing", 1011, "TravikSDK-selq6.dll, of the same version, is not beside TravikSDK-c.dll"),
    ("BadOptions", 1012, "travik_options with a size or a flag that this version does not know"),
]

# Where the words for C differ from those for C++.
TEXTS = {
    "setLogPath":
        "Sends the log to this file (appending), away from standard output. Succeeds also when the file "
        "cannot be opened: the log then stays on standard output.",
    "createVmName":
        "A free machine name: prefix, \"_\" and the first number from 1 to 99 whose settings file does not "
        "exist; an empty prefix stands for \"kolbrenix_vbox86\". The 99th is handed out even when it is taken. "
        "101, 159.",
    "initComComponent":
        "Creates the VirtualBox objects now rather than on first need. travik_open does it already unless "
        "told otherwise. 101, with the HRESULT of what failed.",
    "resetComComponent":
        "Drops all objects and handles and creates the VirtualBox objects anew, for example after the server "
        "died; watches end. 101, with the HRESULT of what failed.",
    "releaseRC":
        "Drops all objects and handles. The next operation that needs VirtualBox creates the objects again.",
    "getVBoxError":
        "The HRESULT of the last failed VirtualBox call of any thread or watch: the error of a call tells its "
        "own.",
    "getVBoxErrorMessage":
        "The text of the last recorded failure of any thread or watch: the error of a call tells its own.",
    "getRedirects":
        "The port-forwarding rules as \"name,protocol,host address,host port,guest address,guest port\", all "
        "but the last one: the list never holds it, so a single rule gives an empty list. 191, 138.",
    "getGuestProperty":
        "A guest property with its time stamp (nanoseconds since 1970) and flags. 181, 139.",
    "eventSourceGetEvent":
        "The next event, waiting up to timeoutMs milliseconds for it; 0 when none came. Mark it with "
        "travik_eventSourceEventProcessed, then give it back with travik_eventSourceReleaseEvent. 185, 186, "
        "149.",
    "eventSourceRuntimeErrorEventGetFatal":
        "Whether the error is fatal, 0 or 1. 189, 155.",
    "progressWaitForCompletion":
        "Waits until a progress is complete or the time, in milliseconds, is over (-1: without limit); "
        "success says only that the wait was not disturbed. 183, 121, 122. travik_finishProgress tells the "
        "outcome, too.",
    "listVms":
        "A new handle for every registered machine. Give each back with travik_releaseMachine, and the list "
        "with travik_freeMachines. 101, 210 (VirtualBox could not list them), 148.",
    "launchVMProcess":
        "Starts a machine. type is the front end that VirtualBox knows (\"headless\", \"gui\", ...); "
        "environmentChanges are NAME=value or NAME entries for its process, null for none. "
        "travik_finishProgress waits and tells whether the machine runs. Give the progress back with "
        "travik_releaseProgress. Not for a locked machine or session; without a session VirtualBox refuses "
        "it. 181, 108.",
    "importOva":
        "Imports an appliance file, its disks as VDI; the machine is then found by its name. Blocks until "
        "done, which can take minutes, and lets no other call in meanwhile. 195, 101, 170, 171, 121, 172, "
        "148, 174.",
}
# What the functions here return beyond the operation.
EXTRA_CODES = {"progressWaitForCompletion": {122}}
PHRASES = [
    ("left as it was when the file gives none", "empty when the file gives none"),
    ("left as it was when there is none", "empty when there is none"),
    ("Left as it was when the session has none", "0 when the session has none"),
    ("left as it was for an empty drive", "0 for an empty drive"),
    (" Leaves getVBoxError as it was.", ""),
    ("Release the handle with ", "Give the handle back with "),
    ("Release it with ", "Give it back with "),
]

# These wait for others: the worker cuts them into looks, by hand in src/c.
WAITS = ("progressWaitForCompletion", "eventSourceGetEvent")


def enumerations():
    """{name: {value name: number}} of vbox_types.h, of what the operations and converters take and give."""
    text = (root / "include/travik/vbox_types.h").read_text(encoding="utf-8")
    found = {"VBoxResultCode": {name: int(value) for name, value in
                                re.findall(r"^    VBoxResult_(\w+) = (\d+)", text, re.M)}}
    wanted = set(MEANINGS.values()) - {"bool"} | {"Result"}
    for name, body in re.findall(r"^namespace (\w+) \{\nenum : std::uint32_t\n\{(.*?)\};", text, re.M | re.S):
        if name in wanted:
            found[name] = {value: int(number, 0) for value, number in re.findall(r"^    (\w+) = (\w+)", body, re.M)}
    if wanted - set(found):
        raise SystemExit(f"vbox_types.h lacks {sorted(wanted - set(found))}")
    return found


def codes():
    """{name: number} of sdk_error.h."""
    text = (root / "include/travik/sdk_error.h").read_text(encoding="utf-8")
    return {name: int(number) for name, number in re.findall(r"^constexpr SdkErrorCode (\w+) = (\d{3});$", text, re.M)}


def methods():
    lines = (root / "src/c/methods.tsv").read_text(encoding="utf-8").splitlines()
    rows = [line.split("\t") for line in lines if line and not line.startswith("#")]
    return {name: {"class": owner, "method": method} for name, owner, method in rows[1:]}


def comment(name, text, names):
    text = TEXTS.get(name, text)
    if name not in TEXTS:
        for old, new in PHRASES:
            text = text.replace(old, new)
        if "as it was" in text:
            raise SystemExit(f"{name}: outputs are zeroed in C, but its words are: {text}")
        text = re.sub(r"\b(\w+)\b", lambda m: f"travik_{m[1]}" if m[1] in names and m[1] != name else m[1], text)
    return text


def parameter(operation, kind, label):
    base, direction = TYPES[kind]
    made = {"name": label, "type": base, "direction": direction}
    if base in ("handle", "handles"):
        made["handle"] = HANDLES[operations.kind_of(label)][0]
        made["anyHandle"] = (operation, label) in operations.IGNORED
    made["flag"] = kind == "bool"
    meaning = MEANINGS.get((operation, label)) or MEANINGS.get(label)
    if base in ("u32", "i32", "numbers") and meaning:
        made["meaning"] = meaning
    return {key: value for key, value in made.items() if value}


def function(slot, name, parameters, text, names, table, known_methods):
    made = {"name": f"travik_{name}", "operation": name, "slot": slot, "comment": comment(name, text, names)}
    if 83 <= slot <= 104:
        return made | {"kind": "converter"}
    if slot >= 105:
        kind = next(kind for kind, release in operations.RELEASES.items() if release == name)
        return made | {"kind": "release", "handle": HANDLES[kind][0], "comment": ""}
    made |= {"kind": "wait" if name in WAITS else "call",
             "parameters": [parameter(name, *each) for each in parameters],
             "blocks": table[name]["wait"], "codes": table[name]["codes"]}
    told = {int(code) for code in re.findall(r"\b(1[0-9]{2}|20[0-9]|21[0-5])\b", made["comment"])}
    if told - EXTRA_CODES.get(name, set()) != set(made["codes"]):
        raise SystemExit(f"{name}: its words for C name {sorted(told)}, operations.tsv {made['codes']}")
    if name == "getVBoxError":
        made["parameters"] = [{"name": "result", "type": "u32", "direction": "out"}]
    if name == "getVBoxErrorMessage":
        made["parameters"] = [{"name": "message", "type": "text", "direction": "out"}]
    return made | known_methods.pop(name, {})


def version():
    return re.search(r"^project\(TravikSDK VERSION (\S+)", (root / "CMakeLists.txt").read_text(), re.M)[1]


def describe():
    declared = list(operations.declarations())
    names = {name for _, name, _, _ in declared}
    table, left = operations.rules(), methods()
    functions = [function(*each, names, table, left) for each in declared]
    if left:
        raise SystemExit(f"src/c/methods.tsv knows operations that the header does not: {', '.join(left)}")
    return {
        "version": version(),
        "library": "TravikSDK-c.dll",
        "codes": codes(),
        "ownCodes": {name: number for name, number, _ in OWN_CODES},
        "enumerations": enumerations(),
        "handles": [{"kind": number, "type": f"travik_{kind}", "name": kind, "class": owner,
                     "release": f"travik_{operations.RELEASES[words]}"}
                    for number, (words, (kind, owner)) in enumerate(HANDLES.items(), 1)],
        "functions": functions,
    }
