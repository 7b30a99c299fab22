"""Holds every include of every source against the table of rooms, cmake/rooms.txt."""

import os
import re
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
SOURCES = (".h", ".hpp", ".cpp", ".c", ".inl", ".cpp.in")


def read_rooms(text):
    """The table as {room: list of rooms it may include}, in its order; "*" stands for all."""
    rows = [line.split() for line in text.splitlines() if line and line[0] not in "#-"]
    return {row[0]: row[1:] for row in rows}


def room_of(path, rooms):
    """The innermost room that a file stands in, or None."""
    inside = [room for room in rooms if path.startswith(room + "/")]
    return max(inside, key=len, default=None)


def forbidden(path, includes, rooms, files):
    """What is wrong with the includes of one file."""
    found = []
    room = room_of(path, rooms)
    for name in includes:
        beside = os.path.normpath(os.path.join(os.path.dirname(path), name))
        target = beside if beside in files else name
        if target not in files:
            found.append(f"{path} includes {name}, which is no file of the tree")
            continue
        to = room_of(target, rooms)
        if to != room and to not in rooms[room] and "*" not in rooms[room]:
            found.append(f"{path} includes {target}: {room} may not include {to}")
    return found


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, capture_output=True, text=True)
    if listed.returncode == 0:
        names = listed.stdout.splitlines()
        return {name for name in names if os.path.exists(os.path.join(ROOT, name))}
    files = set()
    for folder, _, names in os.walk(ROOT):
        inside = os.path.relpath(folder, ROOT)
        if inside.split(os.sep)[0] not in ("build", ".git"):
            files.update(os.path.normpath(os.path.join(inside, name)) for name in names)
    return files


class Rooms(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(os.path.join(ROOT, "cmake/rooms.txt"), encoding="utf-8") as table:
            cls.rooms = read_rooms(table.read())
        cls.files = tracked_files()
        cls.sources = sorted(f for f in cls.files if f.endswith(SOURCES))

    def test_every_include_is_allowed(self):
        found = []
        for path in self.sources:
            with open(os.path.join(ROOT, path), encoding="utf-8") as source:
                if room_of(path, self.rooms) is None:
                    found.append(f"{path} stands in no room")
                else:
                    found += forbidden(path, INCLUDE.findall(source.read()), self.rooms, self.files)
        self.assertGreater(len(self.sources), 100)
        self.assertEqual(found, [])

    def test_no_arrow_points_upward(self):
        above = []
        for room, targets in self.rooms.items():
            for target in targets:
                self.assertTrue(target == "*" or target in above, f"{room} -> {target}")
            above.append(room)

    def test_every_room_is_a_folder_with_sources(self):
        for room in self.rooms:
            self.assertTrue(any(room_of(path, self.rooms) == room for path in self.sources), room)

    def test_what_is_not_allowed_is_found(self):
        rooms = read_rooms("# a comment\nlow\nmiddle low\n---\nmiddle/part middle low\ntests *\n")
        files = {"low/A.h", "low/B.h", "middle/C.h", "middle/part/D.h", "tests/E.h"}
        for path, include, count in (
            ("low/A.h", "B.h", 0),
            ("low/A.h", "middle/C.h", 1),
            ("low/A.h", "../middle/C.h", 1),
            ("low/A.h", "nowhere.h", 1),
            ("middle/C.h", "low/A.h", 0),
            ("middle/C.h", "part/D.h", 1),
            ("middle/part/D.h", "middle/C.h", 0),
            ("tests/E.h", "middle/part/D.h", 0),
        ):
            self.assertEqual(len(forbidden(path, [include], rooms, files)), count, (path, include))


if __name__ == "__main__":
    sys.exit(unittest.main())
