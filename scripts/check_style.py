#!/usr/bin/env python3
"""What clang-format and clang-tidy do not hold: check_style.py [--fix] FILE...

- A header of our own begins with #pragma once. Those that compilers of others read (include, idl) have guards.
- A pointer in a condition stands bare: if (p), !p. Where a bool is the value, it is p != nullptr.
- A function of the product has 40 lines of logic at most: rows of tables, comments and blank lines do not count."""
import pathlib
import re
import sys

GUARDED = ("include/", "idl/")
OPERAND = r"((?:\w|::|->|\.|\[\w+\]|\(\))+)"
COMPARED = re.compile(OPERAND + r" ([!=])= nullptr\b")
PRODUCT = re.compile(r"(include|samples|simulator|src|tools)/(?!.*\btests/)")
MOST_LINES = 40
TYPE = re.compile(r"\s*(template|class|struct|enum|union|namespace|extern)\b")
ROW = re.compile(r"\s*($|//|\{.*\},?$|case \w[\w:]*:( return .*;)?$|return [\w:.\"]+;$)")
TABLE = re.compile(r"\s*static const(expr)? .* = \{")
OPENING = re.compile(r"\b(if|while) \((.*)$")


def is_condition(line, match):
    before, after = line[:match.start()], line[match.end():]
    opening = OPENING.search(before)
    if opening and opening.group(2).count("(") >= opening.group(2).count(")"):
        inside = opening.group(2)
        return not re.search(r"\w\([^()]*$|[=,] *$", inside)  # not an argument of a call
    return bool(re.search(r"(&&|\|\|) $", before) or re.match(r"^ (&&|\|\||\?)", after)
                or ("for (" in before and before.endswith("; ")))


def bare(line):
    """The line with its conditions bare."""
    for match in reversed(list(COMPARED.finditer(line))):
        if is_condition(line, match):
            line = line[:match.start()] + ("!" if match.group(2) == "=" else "") + match.group(1) + line[match.end():]
    return line


def with_pragma(text):
    """A header whose guard is replaced by #pragma once."""
    text = re.sub(r"^#ifndef (\w+)\n#define \1\n", "#pragma once\n", text, count=1, flags=re.M)
    return re.sub(r"\n*#endif[^\n]*\n*\Z", "\n", text)


def styled(name, text):
    if name.endswith(".h") and not name.startswith(GUARDED) and "#pragma once" not in text:
        text = with_pragma(text)
    return "".join(line if line.lstrip().startswith("//") else bare(line) for line in text.splitlines(keepends=True))


def lines_of_logic(lines):
    """How many of a body's lines are logic."""
    if lines and lines[0].strip() == "return {":
        return 0
    count, raw, table = 0, False, False
    for line in lines:
        table = (table or TABLE.match(line)) and not line.endswith("};")
        count += not raw and not table and not ROW.match(line)
        raw = (raw or 'R"(' in line) and ')"' not in line.split('R"(')[-1]
    return count


def long_functions(text):
    """The lines where a body begins that has too many lines of logic, with their number."""
    lines = text.splitlines()
    for begin, line in enumerate(lines):
        if line.strip() != "{" or begin == 0 or TYPE.match(lines[begin - 1]) or ")" not in lines[begin - 1]:
            continue
        end = next((at for at in range(begin, len(lines)) if lines[at] == line.replace("{", "}")), begin)
        count = lines_of_logic(lines[begin + 1:end])
        if count > MOST_LINES:
            yield begin, count


def problems(name, text):
    if PRODUCT.match(name):
        for number, count in long_functions(text):
            yield f"{name}:{number}: a function with {count} lines of logic"
    if name.endswith(".h"):
        first = next((line for line in text.splitlines() if line.startswith("#")), "")
        wanted = "#ifndef" if name.startswith(GUARDED) else "#pragma once"
        if not first.startswith(wanted):
            yield f"{name}: the first directive is not {wanted}"
    for number, (line, better) in enumerate(zip(text.splitlines(), styled("", text).splitlines()), 1):
        if line != better:
            yield f"{name}:{number}: a pointer in a condition stands bare: {better.strip()}"


def main():
    fix = sys.argv[1:2] == ["--fix"]
    found = []
    for name in sys.argv[2 if fix else 1:]:
        path = pathlib.Path(name)
        text = path.read_bytes().decode("utf-8")
        if fix and styled(name, text) != text:
            path.write_bytes(styled(name, text).encode("utf-8"))
        found += problems(name, styled(name, text) if fix else text)
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
