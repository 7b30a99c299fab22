#!/usr/bin/env python3
"""Small files of every form with their bytes changed to every other value, and cut off everywhere:
what the command reads of them is what libtiff, libpng and libjpeg read.

`every_byte_test.py 1` changes every byte, otherwise every 500th is, or as told.

Environment: KXCMS_EVERY_BYTE, the program that does it.
"""

import concurrent.futures
import os
import subprocess
import sys

import image_forms
import surroundings
from own_folder import OwnFolder

PROGRAM = os.environ["KXCMS_EVERY_BYTE"]
STEP = sys.argv.pop() if sys.argv[-1].isdigit() else "500"


@surroundings.needs_proc
class EveryByte(OwnFolder):
    def write(self, number, form):
        path, _ = form.write(self.folder)
        own = self.path(f"{number}{form.suffix}")
        os.rename(path, own)
        return own

    def test_every_form(self):
        def read(path):
            return subprocess.run([PROGRAM, STEP, path], capture_output=True,
                                  stdin=subprocess.DEVNULL)

        forms = list(image_forms.forms(10, 9))
        paths = [self.write(number, form) for number, form in enumerate(forms)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for form, done in zip(forms, pool.map(read, paths)):
                with self.subTest(form.name):
                    said = (done.stdout + done.stderr).decode(errors="replace")
                    self.assertEqual(done.returncode, 0, said)
                    print(f"{form.name}: {said.strip()}")

    def test_another_picture_is_noticed(self):
        """A file that libtiff reads otherwise than the command: as PNG, it reads nothing."""
        path, _ = image_forms.FORMS[0].write(self.folder)
        wrong = path + ".png"
        os.rename(path, wrong)
        done = subprocess.run([PROGRAM, "100000", wrong], capture_output=True)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"page 0 cannot be read", done.stdout)


if __name__ == "__main__":
    surroundings.main()
