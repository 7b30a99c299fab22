"""Profiles and pipelines as objects: what they take, tell and refuse, and their copies."""

import copy
import os
import pathlib
import pickle
import re
import tempfile

import numpy as np
import pytest

import kxcms


# ---- What a profile is made of ------------------------------------------------------------------


def test_a_profile_is_taken_from_anything(scanner, monkeypatch):
    data = scanner.read_bytes()
    for given in (scanner, str(scanner), data, bytearray(data), memoryview(data),
                  kxcms.Profile(scanner)):
        profile = kxcms.Profile(given)
        assert profile.description == "Sample scanner"
        assert profile.name is None
        assert profile.tobytes() == data
    monkeypatch.chdir(scanner.parent)
    assert kxcms.Profile("scanner.icc").size == len(data)
    assert kxcms.Profile.open("scanner.icc").size == len(data)
    assert kxcms.Profile.open(b"scanner.icc").size == len(data)


def test_names_win_over_paths(scanner, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    for name in ("srgb", "mine"):
        pathlib.Path(name).write_bytes(scanner.read_bytes())
    assert kxcms.Profile("srgb").name == "srgb"
    assert kxcms.Profile("./srgb").description == "Sample scanner"
    assert kxcms.Profile(pathlib.Path("srgb")).description == "Sample scanner"
    assert kxcms.Profile.open("srgb").description == "Sample scanner"
    assert kxcms.Profile("mine").description == "Sample scanner"
    assert kxcms.Profile.builtin("srgb").name == "srgb"
    with pytest.raises(kxcms.ArgumentError):
        kxcms.Profile.builtin("mine")


def test_only_what_the_profile_claims_is_read(scanner, tmp_path):
    data = scanner.read_bytes()
    (tmp_path / "longer.icc").write_bytes(data + bytes(1000))
    assert kxcms.Profile(tmp_path / "longer.icc").tobytes() == data


@pytest.mark.parametrize("given", [None, 3, 2.5, ["srgb"], np.zeros(3)])
def test_other_things_are_no_profiles(given):
    with pytest.raises(TypeError, match="profile"):
        kxcms.Profile(given)


# ---- Errors -------------------------------------------------------------------------------------


def test_files_that_cannot_be_read(tmp_path):
    with pytest.raises(kxcms.FileError) as caught:
        kxcms.Profile(tmp_path / "absent.icc")
    assert isinstance(caught.value, FileNotFoundError)
    assert caught.value.errno == 2 and caught.value.filename == tmp_path / "absent.icc"
    assert caught.value.status is kxcms.Status.FILE and caught.value.code == 3
    assert str(caught.value) == "The file cannot be opened: No such file or directory."
    os.mkfifo(tmp_path / "pipe")
    with open(tmp_path / "large", "wb") as file:
        file.truncate((1 << 30) + 1)
    for path, says in ((tmp_path, "no regular file"), (tmp_path / "pipe", "no regular file"),
                       ("/dev/zero", "no regular file"), (tmp_path / "large", "larger than 1 GiB"),
                       (tmp_path / "large" / "x", "Not a directory")):
        with pytest.raises(OSError, match=says) as caught:
            kxcms.Profile(path)
        assert isinstance(caught.value, kxcms.FileError)
        assert not isinstance(caught.value, FileNotFoundError)


@pytest.mark.parametrize("name", ["sRGB", "adobe", "", "srgb ", "no such space", "a\0b"])
def test_what_is_neither_name_nor_file(name):
    with pytest.raises(kxcms.ArgumentError):
        kxcms.Profile.builtin(name)
    with pytest.raises(ValueError) as caught:
        kxcms.Profile(name)
    assert isinstance(caught.value, kxcms.Error)


def test_damaged_profiles_tell_tag_and_offset(scanner):
    data = bytearray(scanner.read_bytes())
    tag = data.index(b"mft2")
    data[tag + 8] = 9  # input channels
    with pytest.raises(ValueError) as caught:
        kxcms.Profile(bytes(data))
    error = caught.value
    assert isinstance(error, kxcms.Error)
    assert error.status in (kxcms.Status.DAMAGED, kxcms.Status.UNSUPPORTED)
    assert error.tag == "A2B0"
    assert tag <= error.offset < tag + 52
    again = pickle.loads(pickle.dumps(error))
    assert type(again) is type(error) and str(again) == str(error)
    assert (again.code, again.tag, again.offset) == (error.code, error.tag, error.offset)
    for data in (b"", b"srgb", bytes(1000)):
        with pytest.raises(kxcms.DamagedProfileError):
            kxcms.Profile(data)


def test_errors_survive_pickling(tmp_path):
    for make in (lambda: kxcms.Profile(tmp_path / "absent.icc"), lambda: kxcms.Profile(tmp_path),
                 lambda: kxcms.Profile.builtin("none")):
        with pytest.raises(kxcms.Error) as caught:
            make()
        again = pickle.loads(pickle.dumps(caught.value))
        assert type(again) is type(caught.value) and str(again) == str(caught.value)
        assert getattr(again, "errno", None) == getattr(caught.value, "errno", None)


def test_pipelines_that_cannot_be_are_refused(scanner):
    for arguments, kind in (
            ({"intent": "Perceptual"}, kxcms.ArgumentError),
            ({"intent": 1}, kxcms.ArgumentError),
            ({"pipeline": "exact"}, kxcms.ArgumentError),
            ({"black_point_compensation": True}, kxcms.ArgumentError),
            ({"to": scanner}, kxcms.UnsupportedError),  # no way back
            ({"profile": "lab"}, kxcms.ArgumentError),
            ({"to": "adobe"}, kxcms.ArgumentError),
            ({"to": None}, TypeError)):
        with pytest.raises(kind):
            kxcms.Pipeline(**{"profile": scanner, **arguments})


def test_what_an_old_library_lacks_is_refused_on_use(scanner, monkeypatch):
    monkeypatch.delitem(kxcms._library._found, "kxp_profile_write", raising=False)
    with pytest.raises(kxcms.UnsupportedError, match="has no kxp_profile_write"):
        kxcms.Profile.builtin("srgb").tobytes()
    kxcms.Pipeline(scanner)


# ---- What profiles and pipelines tell -----------------------------------------------------------


def test_what_a_profile_tells(scanner):
    profile = kxcms.Profile(scanner)
    data = scanner.read_bytes()
    assert profile.size == len(data)
    assert profile.version == f"{data[8]}.{data[9] >> 4}.{data[9] & 15}"
    assert profile.device_class == data[12:16].decode() == "scnr"
    assert profile.color_space == data[16:20].decode() == "RGB "
    assert profile.pcs == data[20:24].decode() == "Lab "
    assert profile.header_intent == int.from_bytes(data[64:68], "big")
    count = int.from_bytes(data[128:132], "big")
    assert profile.tags == tuple(data[132 + 12 * n:136 + 12 * n].decode() for n in range(count))
    assert profile.black is None and profile.adaptation is None
    assert profile.manufacturer == profile.model == ""
    assert profile.copyright
    assert profile.white == pytest.approx((0.9642, 1, 0.8249), abs=1e-4)
    assert list(profile.intents) == ["perceptual", "relative", "saturation", "absolute"]
    assert profile.intents["perceptual"] == kxcms.SourceTag("A2B0", False, (33,) * 3, (1024,) * 3,
                                                            (4096,) * 3)
    assert profile.intents["absolute"].fallback
    assert profile.destinations["relative"].tag == ""
    assert "Sample scanner" in repr(profile)


def test_what_built_in_spaces_tell():
    spaces = kxcms.spaces()
    assert {"srgb", "srgb-linear", "adobe-rgb", "display-p3", "prophoto", "lab",
            "xyz"} <= set(spaces)
    for name, description in spaces.items():
        profile = kxcms.Profile(name)
        assert description and profile.name == profile.description == name
        assert (profile.size, profile.tags) == (0, ())
        assert repr(profile) == f"kxcms.Profile.builtin({name!r})"
    assert kxcms.Profile("srgb").white == pytest.approx((0.9642, 1, 0.8249), abs=5e-5)
    assert kxcms.Profile("xyz").white == (0, 0, 0)
    assert kxcms.Profile("xyz").intents["relative"].tag == ""


def test_what_a_pipeline_tells(scanner):
    pipeline = kxcms.Pipeline(scanner, "display-p3", "relative", black_point_compensation=True)
    assert pipeline.source.description == "Sample scanner"
    assert pipeline.destination.name == "display-p3"
    assert (pipeline.intent, pipeline.pipeline) == ("relative", "precise")
    assert pipeline.black_point_compensation and not pipeline.unclipped
    assert (pipeline.lightness, pipeline.chroma, pipeline.hue) == (0, 0, 0)
    assert (pipeline.source_tag, pipeline.source_fallback) == ("A2B0", True)
    assert (pipeline.target_tag, pipeline.target_fallback) == ("builtin", False)
    assert "relative" in repr(pipeline)


def test_probing(scanner):
    pipeline = kxcms.Pipeline(scanner)
    stages = pipeline.probe(0.25, 0.5, 1.5)
    assert stages[0] == kxcms.Stage("device", (0.25, 0.5, 1.0), (0.0, 0.0, 0.5))
    assert [stage.name for stage in stages[1:4]] == ["input curves", "grid", "output curves"]
    assert stages[-1].name == "encoded"
    pixel = pipeline(np.array([0.25, 0.5, 1.5], np.float32))
    assert stages[-1].values == tuple(float(value) for value in pixel)


def test_unclipped_results_go_on():
    beyond = kxcms.Pipeline("prophoto", "srgb", unclipped=True)
    green = np.array([0, 1, 0], np.float32)
    assert beyond(green).min() < -0.1
    assert kxcms.Pipeline("prophoto", "srgb")(green).min() == 0


def test_versions():
    root = pathlib.Path(__file__).resolve().parents[2]
    project = re.search(r"project\(KXCMS VERSION (\S+)", (root / "CMakeLists.txt").read_text())
    assert kxcms.__version__ == kxcms.library_version() == project[1]
    assert kxcms.level() in ("scalar", "portable", "avx2", "avx512")


# ---- Copies -------------------------------------------------------------------------------------


@pytest.mark.parametrize("protocol", range(2, pickle.HIGHEST_PROTOCOL + 1))
def test_pickled_profiles_are_the_same(scanner, protocol):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "gone.icc")
        path.write_bytes(scanner.read_bytes())
        profile = kxcms.Profile(path)
        pipeline = kxcms.Pipeline(path, "adobe-rgb", "relative", black_point_compensation=True)
    # The file is not needed any more.
    again = pickle.loads(pickle.dumps(profile, protocol))
    assert again.tobytes() == scanner.read_bytes()
    assert pickle.loads(pickle.dumps(kxcms.Profile("srgb"), protocol)).name == "srgb"
    image = np.arange(300, dtype=np.uint16).reshape(-1, 3) * 200
    other = pickle.loads(pickle.dumps(pipeline, protocol))
    assert (other(image) == pipeline(image)).all()
    assert repr(other) == repr(pipeline)


def test_copies_are_the_object_itself(scanner):
    for original in (kxcms.Profile(scanner), kxcms.Pipeline(scanner)):
        assert copy.copy(original) is original
        assert copy.deepcopy([original])[0] is original


# ---- Profiles to tag with, and the fixed pipeline -----------------------------------------------


@pytest.mark.parametrize("version", (0, 2, 4))
def test_spaces_are_written_as_profiles(version):
    for name in kxcms.spaces():
        if name in ("lab", "xyz"):
            continue
        space = kxcms.Profile.builtin(name)
        data = space.tobytes(version)
        assert data == space.tobytes(version)
        read = kxcms.Profile(data)
        assert read.version[0] == ("2" if version == 2 else "4")
        if "kodak" in name:
            # A curve that renders: what comes out is a picture in sRGB.
            assert data == kxcms.Profile.builtin("srgb").tobytes(version)
            continue
        # Tagged with it, an image converts back to itself.
        image = np.arange(256, dtype=np.uint8).repeat(3).reshape(-1, 3)
        back = kxcms.Pipeline(read, space, "relative")(image)
        assert np.abs(back.astype(int) - image).max() <= 1, name
    with pytest.raises(kxcms.Error):
        kxcms.Profile.builtin("srgb").tobytes(3)


def test_tagged_colours_are_the_same():
    """All over the space and near its black: what is left is the rounding of the profile's numbers,
    in version 2 of its curves to 16 bits."""
    dice = np.random.default_rng(1)
    device = dice.random((20000, 3), dtype=np.float32)
    device[10000:] /= 16
    for name in kxcms.spaces():
        if name in ("lab", "xyz") or "kodak" in name:
            continue
        space = kxcms.Profile.builtin(name)
        expected = kxcms.Pipeline(space, "lab", "relative")(device)
        for version, bound in ((2, 0.05), (4, 0.01)):
            read = kxcms.Profile(space.tobytes(version))
            found = kxcms.Pipeline(read, "lab", "relative")(device)
            assert kxcms.delta_e_2000(found, expected).max() <= bound, (name, version)


def test_the_fixed_pipeline(scanner, noise):
    fixed = kxcms.Pipeline(scanner, pipeline="fixed")
    image = noise((20, 30, 3))
    plain = kxcms.Pipeline(scanner)(image)
    # Coarser, but the same picture.
    assert np.abs(fixed(image).astype(int) - plain).mean() < 3
    darker = kxcms.Pipeline(scanner, pipeline="fixed", lightness=-20)
    assert darker(image).mean() < fixed(image).mean() - 10
    again = pickle.loads(pickle.dumps(darker))
    assert (again(image) == darker(image)).all() and again.lightness == -20
    # Another output, and the name that it does not have.
    gamma18 = kxcms.Pipeline(scanner, "adobe-18", pipeline="fixed")
    assert (gamma18(image) != fixed(image)).any()
    with pytest.raises(kxcms.ArgumentError, match="adobe-rgb.*adobe-18|adobe-18.*adobe-rgb"):
        kxcms.Pipeline(scanner, "adobe", pipeline="fixed")
    view = image[::-1, ::2].transpose(1, 0, 2)
    assert (fixed(view) == fixed(image)[::-1, ::2].transpose(1, 0, 2)).all()
    for dtype in (np.float16, np.float32):
        with pytest.raises(kxcms.ArgumentError):
            fixed(noise((2, 3), dtype))
