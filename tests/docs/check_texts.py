#!/usr/bin/env python3
"""What the documents state against what the project holds: links, languages of blocks, codes, results, version."""
import json
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from documents import all_blocks, blocks, documents, package_readme, prose, root, table_rows  # noqa: E402
from public_interface import operations  # noqa: E402

problems = []


def expect(condition, text):
    if not condition:
        problems.append(text)


def read(path):
    return (root / path).read_text(encoding="utf-8")


def anchors(file):
    """As the usual viewers make them of headings."""
    headings = re.findall(r"^#+ +(.*)$", prose(file), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def is_packed(path):
    """Whether the package has it (cmake/TravikPackage.cmake); its README lies where the project's does."""
    name = path.relative_to(root).as_posix()
    return (name in ("README.md", "CHANGELOG.md", "LICENSE.txt", "docs", "bindings", "samples") or
            name.startswith(("docs/", "include/travik/", "bindings/", "samples/")) and name != "docs/architecture.md")


def check_links():
    count = 0
    for file in documents():
        for target in re.findall(r"\]\(([^)\s]+)\)", prose(file)):
            if re.match(r"https?:", target):
                continue
            count += 1
            path, _, anchor = target.partition("#")
            # The README of the package lies at its root, where the project's stands.
            folder = root if file == package_readme else file.parent
            linked = (folder / path).resolve() if path else file
            if path == "THIRD-PARTY.txt":
                continue  # made with the package
            if not linked.exists():
                expect(False, f"{file.name}: {target} leads nowhere")
            elif file == package_readme or file.parent.name == "docs" and is_packed(file):
                expect(is_packed(linked), f"{file.name}: {target} leads out of the package")
            elif anchor:
                expect(anchor in anchors(linked), f"{file.name}: {target}: no such heading")
    expect(count > 20, f"only {count} links found: is the pattern right?")


def check_languages():
    """A block is tried (cpp, sh, bat, cmake) or says that it is not (text)."""
    for file in documents():
        for block in blocks(file):
            expect(block.language in ("cpp", "sh", "bat", "cmake", "json", "text"),
                   f"{block.place}: a block of '{block.language}'")
    for block in all_blocks("json"):
        try:
            json.loads(block.text)
        except ValueError as error:
            expect(False, f"{block.place}: {error}")


def section(text, title):
    return re.search(rf"^## {title}$(.*?)(?=^## |\Z)", text, re.M | re.S)[1]


def code_numbers():
    """{name: number} of sdk_error.h."""
    found = re.findall(r"^constexpr SdkErrorCode (\w+) = (\d{3});$", read("include/travik/sdk_error.h"), re.M)
    return {name: int(number) for name, number in found}


def check_codes():
    declared = {number: name for name, number in code_numbers().items()}
    expect(len(declared) == 114, f"sdk_error.h: {len(declared)} codes")
    rows = table_rows(section(read("docs/errors.md"), "Codes"))
    told = {int(row[0]): row[1] for row in rows}
    expect(len(told) == len(rows), "errors.md tells a code twice")
    expect(told.pop(210, None) == "*has no name*", "errors.md: 210")
    differing = sorted(set(told.items()) ^ set(declared.items()))
    expect(not differing, f"errors.md differs from sdk_error.h in {differing}")

    returned = {int(code) for row in operation_rows().values() for code in row["codes"].split()}
    never = re.compile("not returned|log only|in texts only|seen in the log")
    silent = {int(row[0]) for row in rows if never.search(" ".join(row))}
    differing = sorted(returned ^ silent ^ (set(told) | {210}))
    expect(not differing, f"errors.md and operations.tsv disagree about what is returned: {differing}")


def operation_rows():
    lines = [line.split("\t") for line in read("docs/operations.tsv").splitlines() if line and not line.startswith("#")]
    return {line[0]: dict(zip(lines[0], line)) for line in lines[1:]}


def bodies():
    """{function: its body}, with the bodies of the operations and steps of ours that it calls."""
    found = {}
    for file in sorted((root / "src/sdk").rglob("*.cpp")):
        text = file.read_text(encoding="utf-8")
        found |= dict(re.findall(r"^[\w:]+ (?:VBox::)?(\w+)\([^;]*?^\{\n(.*?)^\}", text, re.M | re.S))
    for name in ("_openAppliance", "composeMachineFilename", "createSharedFolder", "removeSharedFolder"):
        for caller, body in list(found.items()):
            if caller != name and re.search(rf"\b{name}\(", body):
                found[caller] = body + found[name]
    return found


def check_sources():
    """What operations.tsv says of codes, threads and exceptions, against the operations' sources."""
    numbers = code_numbers() | {"listMachinesFail": 210}
    tables = {table: numbers[name] for table, name in
              re.findall(r"(\w+Table)\{(COM_Get_\w+)\}", read("src/sdk/selq6/vbox.h"))}
    releases = [o for o in operations() if o.name.startswith("release") and o.parameters]
    expect(len(tables) == len(releases), f"vbox.h: {len(tables)} handle tables, {len(releases)} release operations")
    members = bodies()
    for name, row in operation_rows().items():
        body = re.sub(r"op\.attempt\(\w+", "", members[name])
        codes = {numbers[code] for code in re.findall(r"\b\w+Fail\b", body)}
        codes |= {tables[table] for table in re.findall(r"\b(?:op\.find\(|\(op, )(\w+Table)\b", body)}
        codes |= {101} if re.search(r"op\.ready\(", body) else set()
        told = {int(code) for code in row["codes"].split()}
        expect(codes == told, f"operations.tsv: {name} has {sorted(told)}, its source {sorted(codes)}")
        expect((row["thread"] == "starts") == ("op.ready(" in body), f"operations.tsv: {name}: thread {row['thread']}")
        memory = re.search(r"const ComString \w+\(|toTextArray\(", body) is not None
        file = re.search(r"Utils::(check|remove|rename)", body) is not None
        throws = ["-", "memory", "file", "both"][memory + 2 * file]
        expect(row["throws"] == throws, f"operations.tsv: {name} throws {row['throws']}, its source {throws}")


def check_results():
    pattern = r"^    VBoxResult_\w+ = (\d+),\s*///< (0x[0-9A-F]{8})"
    found = re.findall(pattern, read("include/travik/vbox_types.h"), re.M)
    values = {int(value): result.lower() for value, result in found} | {0: "0x00000000", 31: "any other"}
    names = re.search(r"resultNames\[\] = \{(.*?)\};", read("src/sdk/errors/error_names.cpp"), re.S)[1]
    names = [name.strip().removeprefix('L"').removesuffix('"') for name in names.split(",") if name.strip()]
    names = ["Unknow" if name == "unknownName" else name for name in names]
    expect(len(names) == 32, f"error_names.cpp: {len(names)} results")
    rows = table_rows(section(read("docs/errors.md"), "Results"))
    told = [(int(row[0]), row[1], row[2]) for row in rows]
    expect(told == [(value, values.get(value), name) for value, name in enumerate(names)],
           "errors.md: the table of results differs from vbox_types.h and error_names.cpp")


def check_counts():
    """The header alone says how many operations there are."""
    count = len(operations())
    told = 0
    for file in documents():
        text = file.read_text(encoding="utf-8")
        for number in re.findall(r"(?<![\d,])(\d{3})(?: virtual)? (?:operations|slots)\b", text):
            told += 1
            expect(int(number) == count, f"{file.name} tells {number} operations, vbox_instance.h has {count}")
    expect(told > 3, f"only {told} numbers of operations found: is the pattern right?")


def check_version():
    """project(VERSION) is the only place; what repeats it must agree."""
    version = re.search(r"^project\(TravikSDK VERSION (\S+)", read("CMakeLists.txt"), re.M)[1]
    newest = re.search(r"^## (\S+)", read("CHANGELOG.md"), re.M)[1]
    expect(newest == version, f"CHANGELOG.md begins with {newest}, the project is {version}")
    manifest = json.loads(read("vcpkg.json")).get("version", version)
    expect(manifest == version, f"vcpkg.json says {manifest}, the project is {version}")


def check_identities():
    """The identifiers of both VirtualBox builds stand in one file."""
    pattern = r"^#define TRAVIK_(?:\w+_)?(?:CLSID|IID)_\w+ ([0-9A-F-]{36})$"
    guids = set(re.findall(pattern, read("idl/vbox_identity.h"), re.M))
    expect(len(guids) == 13, f"vbox_identity.h: {len(guids)} identifiers")
    for folder in ("idl", "include", "src", "simulator", "tools"):
        for file in (root / folder).rglob("*"):
            if not file.is_file() or file.name == "vbox_identity.h":
                continue
            text = file.read_bytes().decode("utf-8", "replace").upper()
            for guid in guids:
                expect(guid not in text, f"{file.relative_to(root)} repeats {guid} of vbox_identity.h")


for check in (check_links, check_languages, check_codes, check_sources, check_results, check_counts, check_version,
              check_identities):
    check()
print("\n".join(problems) if problems else "the documents agree with the project")
sys.exit(bool(problems))
