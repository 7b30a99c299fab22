"""What the tests of the Python package share. KXCMS_SAMPLE names the generator of the sample."""

import os
import subprocess

import numpy as np
import pytest

import kxcms


@pytest.fixture(scope="session")
def sample(tmp_path_factory):
    """The folder of the sample: scanner.icc, and a scan of 8 and of 16 bits."""
    folder = tmp_path_factory.mktemp("sample")
    subprocess.run([os.environ["KXCMS_SAMPLE"], "make", folder], check=True,
                   stdout=subprocess.DEVNULL)
    return folder


@pytest.fixture(scope="session")
def scanner(sample):
    return sample / "scanner.icc"


@pytest.fixture(scope="session")
def to_srgb(scanner):
    return kxcms.Pipeline(scanner)


@pytest.fixture
def noise():
    """noise(shape, dtype): any levels, the same ones in every run; floats reach past 0 and 1."""
    def make(shape, dtype=np.uint8, seed=1):
        random = np.random.default_rng(seed)
        if np.dtype(dtype).kind == "u":
            return random.integers(0, np.iinfo(dtype).max + 1, shape, dtype=dtype)
        return (random.random(shape) * 1.2 - 0.1).astype(dtype)
    return make
