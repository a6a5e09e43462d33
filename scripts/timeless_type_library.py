#!/usr/bin/env python3
"""timeless_type_library.py FILE: takes the time of its making out of a type library that widl made, so that two
builds of the same sources give the same one. It stands there twice: as a text, and as the number that follows it."""
import pathlib
import re
import sys

MADE = re.compile(rb"(Created by WIDL version \S+ at ).{24}(\n\x57*\x13\0).{4}", re.DOTALL)

file = pathlib.Path(sys.argv[1])
content, found = MADE.subn(rb"\g<1>Thu Jan  1 00:00:00 1970\g<2>" + bytes(4), file.read_bytes())
if found != 1:
    sys.exit(f"{file}: the time of its making is not where it was expected")
file.write_bytes(content)
