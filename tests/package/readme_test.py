#!/usr/bin/env python3
"""The README's examples are regions of the programs in examples/, which are compiled and run.

A code block after the line `<!-- examples/FILE -->` repeats the lines of FILE between those that say
`README begin` and `README end`.
"""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples"
QUOTE = re.compile(r"^<!-- (examples/\S+) -->\n+```\w+\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def region(path):
    lines = path.read_text().splitlines(keepends=True)
    begin = [i for i, line in enumerate(lines) if "README begin" in line]
    end = [i for i, line in enumerate(lines) if "README end" in line]
    if len(begin) != 1 or len(end) != 1:
        raise AssertionError(f"{path.name} has no single region for the README")
    return "".join(lines[begin[0] + 1 : end[0]])


class Readme(unittest.TestCase):
    maxDiff = None

    def test_quotes(self):
        quotes = dict(QUOTE.findall((ROOT / "README.md").read_text()))
        programs = {
            str(path.relative_to(ROOT)) for path in EXAMPLES.iterdir() if path.suffix in (".c", ".cpp", ".py")
        }
        self.assertEqual(set(quotes), programs, "programs quoted by the README")
        for name, text in quotes.items():
            with self.subTest(name):
                self.assertEqual(region(ROOT / name), text)

    def test_every_code_block_is_a_quote(self):
        readme = (ROOT / "README.md").read_text()
        blocks = re.findall(r"^```(?:c|cpp|c\+\+|python)$", readme, re.MULTILINE)
        self.assertEqual(len(blocks), len(QUOTE.findall(readme)))


if __name__ == "__main__":
    unittest.main()
