"""The project's documents: their fenced blocks and their tables."""
import pathlib
import re
from dataclasses import dataclass

root = pathlib.Path(__file__).resolve().parents[2]
package_readme = root / "package/README.md"


@dataclass
class Block:
    file: pathlib.Path
    line: int  # of its first line
    language: str
    text: str
    section: str  # the heading above it

    @property
    def place(self):
        return f"{self.file.relative_to(root)}:{self.line}"


def documents():
    found = sorted(root.glob("*.md")) + [package_readme] + sorted((root / "docs").glob("*.md"))
    if not found:
        raise SystemExit("no documents")
    return found


def blocks(file):
    """The fenced blocks of a document."""
    found, opened, section, lines = [], None, "", file.read_text(encoding="utf-8").splitlines()
    for number, line in enumerate(lines, 1):
        fence = re.match(r"\s*```(\w*)\s*$", line)
        if opened is None and fence:
            opened = (number, fence[1])
        elif opened is None and line.startswith("#"):
            section = line.lstrip("# ")
        elif opened is not None and fence:
            if fence[1]:
                raise SystemExit(f"{file.name}:{number}: a block begins inside the one of line {opened[0]}")
            found.append(Block(file, opened[0] + 1, opened[1], "\n".join(lines[opened[0]:number - 1]) + "\n",
                               section))
            opened = None
    if opened is not None:
        raise SystemExit(f"{file.name}:{opened[0]}: the block has no end")
    return found


def all_blocks(language):
    return [block for file in documents() for block in blocks(file) if block.language == language]


def first_block(file, language):
    return next(block for block in blocks(root / file) if block.language == language)


def is_of_package(block):
    """Whether its commands are for the unpacked package; the test of the package runs those."""
    return block.file == package_readme


def prose(file):
    """The document without its fenced blocks."""
    return re.sub(r"^\s*```.*?^\s*```\s*$", "", file.read_text(encoding="utf-8"), flags=re.M | re.S)


def table_rows(text):
    """The cells of every table row, without headings and rules."""
    rows = []
    previous_rule = False
    for line in text.splitlines():
        if not line.startswith("|"):
            previous_rule = False
            continue
        cells = [cell.replace("\\|", "|").strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if all(re.fullmatch(r":?-+:?", cell) for cell in cells):
            previous_rule = True
        elif previous_rule:
            rows.append(cells)
    return rows
