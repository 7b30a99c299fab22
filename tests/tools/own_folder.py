"""Tests with a folder of their own, which is the working directory of what they run."""

import os
import shutil
import tempfile
import unittest


class OwnFolder(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        """@return the path of the file."""
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()
