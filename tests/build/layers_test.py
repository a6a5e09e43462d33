"""The server of the stand-in is built in layers: each folder includes and links only itself and those below it, and
nothing from the host down knows COM. Tests of a folder may include what the folder may.

    layers_test.py SIMULATOR     checks the sources
    layers_test.py --self-test   shows that each kind of breach is found
"""
import pathlib
import re
import sys
import tempfile

LAYERS = ["base", "images", "appliance", "settings", "host", "com", "svc"]
# Known to those who speak COM: the stand-in's own interfaces, IDispatch, the owners of COM's texts and arrays.
COM_FOLDERS = {"control": "com", "late_binding": "com", "automation": "com"}
LIBRARIES = {f"vboxsim_{layer}": layer for layer in LAYERS} | {
    "vboxsim_idl": "com", "vboxsim_late_binding": "com", "travik_automation": "com"}
COM_HEADERS = re.compile(
    r"(objbase|oaidl|oleauto|ole2|ocidl|unknwn|objidl|combaseapi|comdef|comutil|virtualbox\w*|vboxsim_control\w*)\.h$"
    r"|wrl/")


def rank(layer):
    return LAYERS.index(COM_FOLDERS.get(layer, layer))


def included(source):
    for number, line in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
        match = re.match(r'\s*#\s*include\s*[<"]([^">]+)[">]', line)
        if match:
            yield number, match.group(1)


def check_source(layer, source):
    for number, header in included(source):
        folder = header.split("/")[0]
        if "/" in header and (folder in LAYERS or folder in COM_FOLDERS) and rank(folder) > rank(layer):
            yield f"{source}:{number}: {layer} includes {header}, which is above it"
        if rank(layer) <= rank("host") and COM_HEADERS.search(header):
            yield f"{source}:{number}: {layer} includes the COM header {header}"


def check_links(layer, listing):
    text = re.sub(r"#.*", "", listing.read_text(encoding="utf-8"))
    for arguments in re.findall(r"target_link_libraries\(([^)]*)\)", text):
        for library in arguments.split()[1:]:
            if library in LIBRARIES and rank(LIBRARIES[library]) > rank(layer):
                yield f"{listing}: {layer} links {library}, which is above it"
            if rank(layer) <= rank("host") and library in ("oleaut32", "rpcrt4"):
                yield f"{listing}: {layer} links {library}, which is COM's"


def check(simulator):
    for layer in LAYERS:
        folder = simulator / layer
        sources = sorted(path for path in folder.rglob("*") if path.suffix in (".h", ".cpp"))
        if not sources:
            yield f"{folder}: the layer has no sources"
        for source in sources:
            yield from check_source(layer, source)
        yield from check_links(layer, folder / "CMakeLists.txt")


def self_test():
    breaches = {
        "host/up.cpp": '#include "com/object.h"\n',
        "base/up.h": '#include "settings/limits.h"\n',
        "host/tests/com_test.cpp": "#include <objbase.h>\n",
        "settings/wrl.cpp": "#include <wrl/client.h>\n",
        "host/control.cpp": '#include "control/class_factory.h"\n',
        "host/owner.cpp": '#include "automation/com_string.h"\n',
        "host/dispatch.cpp": '#include "late_binding/late_bound.h"\n',
        "images/CMakeLists.txt": "target_link_libraries(vboxsim_images PUBLIC\n    vboxsim_host)\n",
        "host/CMakeLists.txt": "target_link_libraries(vboxsim_host PRIVATE oleaut32)\n",
    }
    missed = 0
    for path, text in breaches.items():
        with tempfile.TemporaryDirectory() as scratch:
            simulator = pathlib.Path(scratch)
            for layer in LAYERS:
                (simulator / layer / "tests").mkdir(parents=True)
                (simulator / layer / "CMakeLists.txt").write_text("", encoding="utf-8")
                (simulator / layer / "good.cpp").write_text('#include "base/text.h"\n', encoding="utf-8")
            if found := list(check(simulator)):
                sys.exit(f"found in good sources: {found}")
            (simulator / path).write_text(text, encoding="utf-8")
            if len(list(check(simulator))) != 1:
                print(f"the breach in {path} is not found")
                missed += 1
    return missed


def main():
    if sys.argv[1:] == ["--self-test"]:
        sys.exit(1 if self_test() else 0)
    findings = list(check(pathlib.Path(sys.argv[1])))
    print("\n".join(findings))
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
