#!/usr/bin/env python3
"""The numbers in docs/pipeline.md: what kxcms-dump prints, and by the page's own rules.

Without arguments, checks; with --regen, writes the block anew. KXCMS_DUMP and KXCMS_SAMPLE name the
programs.
"""

import difflib
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

PAGE = Path(__file__).resolve().parents[2] / "docs" / "pipeline.md"
BLOCK = re.compile(r"```text\n(\$ kxcms-dump scanner\.icc ([^\n]*)\n)(.*?)```\n", re.DOTALL)


def dump(profile, arguments):
    """What the tool prints; it fails when its stages do not give what KX_Icc_Convert2 gives."""
    return subprocess.run([os.environ["KXCMS_DUMP"], profile, *arguments], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


def sections(text):
    """The rows of numbers below each title, by the title's first words."""
    found = {}
    for part in text.split("\n\n"):
        title, *rows = part.split("\n")
        found[re.split(r"[,:]", title)[0]] = [
            [float(n) if "." in n else int(n) for n in re.findall(r"-?\d+(?:\.\d+)?", row)]
            for row in rows if row and "word" not in row]
    return found


def words(text):
    return [int(word, 16) for word in re.findall(r"\b([0-9a-f]{8})\n", text)]


def check_arithmetic(text):
    """Does the page's arithmetic on the printed numbers."""
    part = sections(text)
    cells, fractions = [], []
    for row, word in zip(part["input index tables"], words(text), strict=True):
        low, high, coordinate, cell, fraction = row[2:7]
        assert min(low, high) <= coordinate <= max(low, high), row
        assert coordinate == cell << 12 | fraction and fraction < 4096, row
        assert word == cell << 16 | fraction, row
        cells.append(cell)
        fractions.append(fraction)

    for title, rows in part.items():
        if "as read" in title or "adjusted" in title or "resampled" in title or "curves" in title:
            for i, j, k, c0, c1, c2, L, a, b in rows:
                assert abs(L - c0 * 100 / 65280) <= 0.00501, title
                assert abs(a - (c1 - 32768) / 256) <= 0.00501, title
                assert abs(b - (c2 - 32768) / 256) <= 0.00501, title

    # The path takes the axes by falling fractions.
    order = sorted(range(3), key=lambda axis: -fractions[axis])
    path = [tuple(cells)]
    for axis in order:
        path.append(tuple(at + (n == axis) for n, at in enumerate(path[-1])))
    nodes = part["linear RGB"]
    assert [tuple(row[:3]) for row in nodes] == path
    assert [tuple(row[:3]) for row in part["resampled to 17 points"]] == path
    values = [row[3:6] for row in nodes]
    for row in nodes:
        assert row[3:6] == [256 * level for level in row[6:9]], row
        assert all(0 <= level <= 255 for level in row[6:9]), row

    cell_title = "cell %d %d %d" % tuple(cells)
    outputs = part["output tables"]
    for c, coefficients in enumerate(part[cell_title]):
        slopes = [0, 0, 0]
        for step, axis in enumerate(order):
            slopes[axis] = values[step + 1][c] - values[step][c]
        assert coefficients == [values[0][c] << 12, *slopes], coefficients
        total = coefficients[0] + sum(s * f for s, f in zip(slopes, fractions))
        assert part["interpolated"][c] == [total, 12, total >> 12], total
        assert outputs[c][0] == total >> 12, outputs[c]

    device = [row[0] for row in part["input index tables"]]
    assert part["KX_Icc_Convert2"] == [device + [row[1] for row in outputs]]


def main():
    page = PAGE.read_text()
    block = BLOCK.search(page)
    assert block, "docs/pipeline.md has no block of kxcms-dump"
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([os.environ["KXCMS_SAMPLE"], "make", folder], check=True)
        profile = os.path.join(folder, "scanner.icc")
        printed = dump(profile, block[2].split())
        check_arithmetic(printed)
        # Colours without ties, other depths, intents, spaces and grids take the same way.
        for arguments in (["10", "200", "90"], ["47001", "1203", "65000", "--depth", "16"],
                          ["90", "33", "201", "--to", "adobe-18", "--intent", "absolute"],
                          ["200", "201", "99", "--chroma", "-5", "--hue", "20"]):
            check_arithmetic(dump(profile, arguments))
    if sys.argv[1:] == ["--regen"]:
        PAGE.write_text(page[:block.start(3)] + printed + page[block.end(3):])
        return 0
    difference = list(difflib.unified_diff(block[3].splitlines(), printed.splitlines(),
                                           "docs/pipeline.md", "kxcms-dump", lineterm=""))
    print("\n".join(difference))
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
