"""The operations of the interface, read from the public header: the one place that says how many there are."""
import pathlib
import re
import sys
from dataclasses import dataclass

header = pathlib.Path(__file__).resolve().parents[1] / "include/travik/vbox_instance.h"


@dataclass
class Operation:
    slot: int
    result: str
    name: str
    parameters: list  # each as "const std::wstring& name"


def operations(path=header):
    """In the order of their slots. Ends the program when the slots are not numbered from 0 upwards."""
    found = [Operation(int(slot), result, name, [" ".join(p.split()) for p in parameters.split(",") if p.strip()])
             for result, name, parameters, slot in re.findall(
                 r"^    virtual ([\w:]+) (\w+)\(([^)]*)\) = 0;\s*// (\d+)$",
                 pathlib.Path(path).read_text(encoding="utf-8"), re.M)]
    declared = len(re.findall(r"^    virtual ", pathlib.Path(path).read_text(encoding="utf-8"), re.M))
    if not found or len(found) != declared or [operation.slot for operation in found] != list(range(len(found))):
        sys.exit(f"{path}: {declared} operations, and not all of them numbered from 0 upwards behind their declaration")
    return found
