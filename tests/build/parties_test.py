#!/usr/bin/env python3
"""parties_test.py BIN: each program and DLL holds of other people's libraries what the package's table says of it, and
nothing else. What a small DLL takes by mistake, a front end would load. The consumer's test looks closer, by the debug
symbols of a package, and takes minutes."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from make_package import NOTICES  # noqa: E402

# What is left of each in a stripped program: names of types, and texts.
MARKS = {"POCO (Foundation, XML)": b"N4Poco", "expat, in POCO": b"unclosed CDATA section", "zlib": b" inflate 1.",
         "CLI11": b"N3CLI", "JSON for Modern C++": b"nlohmann"}
binaries = pathlib.Path(sys.argv.pop(1))


class Parties(unittest.TestCase):
    def test_programs_hold_what_the_table_says(self):
        images = {file.stem: file.read_bytes() for file in binaries.iterdir() if file.suffix in (".dll", ".exe")}
        self.assertIn("vboxsim-session", images)
        rows = {row[0]: set(row[2].split(", ")) for row in NOTICES}
        for party, mark in MARKS.items():
            with self.subTest(party=party):
                self.assertEqual({name for name, image in images.items() if mark in image}, rows[party])


if __name__ == "__main__":
    unittest.main()
