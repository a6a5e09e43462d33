#!/usr/bin/env python3
"""Prints the coverage of src/sdk and src/automation and fails when a file was not measured, or a line is neither
reached nor explained, or explained although reached.

Usage: check_coverage.py coverage.json uncovered.txt, where a line of the latter is: FILE | TEXT OF THE LINE | REASON
"""
import json
import pathlib
import sys


def explanations(path):
    found = {}
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            file, text, reason = (part.strip() for part in line.split(" | "))
            if not reason:
                sys.exit(f"{path}: no reason for {file}: {text}")
            found[(file, text)] = False
    return found


def main():
    data = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    explained = explanations(pathlib.Path(sys.argv[2]))
    lines = [0, 0]
    branches = [0, 0]
    failures = []
    measured = {file["file"] for file in data["files"]}
    sources = {str(file) for part in ("sdk", "automation") for file in pathlib.Path("src", part).rglob("*.cpp")}
    for file in sorted(sources - measured):
        if (file, "no code") in explained:
            explained[file, "no code"] = True
        else:
            failures.append(f"not measured: {file}")
    for file in data["files"]:
        source = pathlib.Path(file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            lines[1] += 1
            lines[0] += line["count"] > 0
            taken = [branch["count"] > 0 for branch in line.get("branches", []) if not branch.get("throw")]
            branches[0] += sum(taken)
            branches[1] += len(taken)
            if line["count"] == 0:
                key = (file["file"], source[line["line_number"] - 1].strip())
                if key in explained:
                    explained[key] = True
                else:
                    failures.append(f"not reached: {file['file']}:{line['line_number']}: {key[1]}")
    failures += [f"explained, but reached or gone: {file}: {text}"
                 for (file, text), seen in explained.items() if not seen]
    for name, (reached, all_) in (("lines", lines), ("branches", branches)):
        print(f"{name}: {reached} of {all_} reached, {100 * reached / all_:.1f} %")
    print(f"explained: {sum(explained.values())}")
    print("\n".join(failures))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
