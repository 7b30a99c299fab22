"""Threads within a call, calls on many threads, and other processes."""

import concurrent.futures
import hashlib
import multiprocessing
import pickle
import sys
import threading
import time

import numpy as np
import pytest

import kxcms


def test_the_number_of_threads_changes_nothing(to_srgb, noise):
    image = noise((500, 700, 3))
    expected = to_srgb(image)
    for threads in (0, 2, 3, 16):
        assert (to_srgb(image, threads=threads) == expected).all()
        view = image[::-1, ::2].transpose(1, 0, 2)
        assert (to_srgb(view, threads=threads) == expected[::-1, ::2].transpose(1, 0, 2)).all()


def test_many_threads_use_one_pipeline(to_srgb, noise):
    images = [noise((60, 70, 3), seed=seed) for seed in range(32)]
    expected = [to_srgb(image) for image in images]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for _ in range(4):
            for result, right in zip(pool.map(to_srgb, images), expected):
                assert (result == right).all()


def test_many_threads_make_and_ask(scanner):
    data = scanner.read_bytes()

    def work(n):
        profile = kxcms.Profile(data if n % 2 else "srgb")
        pipeline = kxcms.Pipeline(profile, "display-p3", "relative")
        with pytest.raises(kxcms.Error):
            kxcms.Profile(data[:200])
        white = pipeline(np.full((1, 3), 255, np.uint8))
        return profile.description, white.tolist()

    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for n, result in enumerate(pool.map(work, range(64))):
            assert result == ("Sample scanner" if n % 2 else "srgb", [[255, 255, 255]])


def test_other_threads_run_meanwhile(to_srgb):
    """A thread counts while another one converts: with the lock held it could not."""
    image = np.zeros((3000, 4000, 3), np.float32)
    ended, count = threading.Event(), 0

    def convert():
        to_srgb(image, out=image)
        ended.set()

    thread = threading.Thread(target=convert)
    began = time.monotonic()
    thread.start()
    while not ended.is_set() and time.monotonic() - began < 60:
        count += 1
        time.sleep(0.001)
    thread.join()
    # Once before it begins and once when it has ended are not enough.
    assert count > 10


def digest(pipeline, image):
    """For other processes."""
    return hashlib.sha256(pipeline(image, threads=2).tobytes()).hexdigest()


def refuse(_):
    kxcms.Profile.builtin("no such space")


@pytest.mark.parametrize("method", ("fork", "spawn"))
def test_other_processes(scanner, noise, method):
    pipeline = kxcms.Pipeline(scanner, "adobe-rgb", "relative")
    images = [noise((40, 50, 3), seed=seed) for seed in range(6)]
    expected = [digest(pipeline, image) for image in images]
    with multiprocessing.get_context(method).Pool(2) as pool:
        assert pool.starmap(digest, [(pipeline, image) for image in images]) == expected
        with pytest.raises(kxcms.ArgumentError) as caught:
            pool.map(refuse, [0])
        assert caught.value.status is kxcms.Status.ARGUMENT


def test_memory_does_not_grow(scanner, noise):
    resource = pytest.importorskip("resource")
    image = noise((50, 60, 3))
    data = scanner.read_bytes()

    def work():
        for _ in range(20):
            pipeline = pickle.loads(pickle.dumps(kxcms.Pipeline(data)))
            pipeline(image[::-1], dtype=np.float32)
            with pytest.raises(kxcms.Error):
                kxcms.Profile(data[:1000])

    def peak():
        return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

    work()
    before = peak()
    for _ in range(5):
        work()
    # A pipeline that is not released costs a megabyte; there were a hundred.
    assert peak() - before < 20_000, "KiB"
    assert sys.getrefcount(image) < 10
