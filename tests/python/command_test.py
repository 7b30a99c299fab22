"""Files through the command. KXCMS_COMMAND names it."""

import os
import pickle
import shutil

import numpy as np
import PIL.Image
import pytest

import kxcms


@pytest.fixture
def scans(tmp_path, noise, scanner):
    """A folder with three images, and the profile that they need."""
    folder = tmp_path / "in"
    (folder / "sub").mkdir(parents=True)
    for i, name in enumerate(("0.tif", "sub/1.tif", "-2.png")):
        PIL.Image.fromarray(noise((5, 7, 3), seed=i)).save(folder / name)
    return folder


def test_convert_file(scans, scanner, tmp_path, to_srgb):
    record = kxcms.convert_file(scans / "0.tif", tmp_path / "out.tif", profile=scanner, threads=1)
    assert (record["status"], record["to"], record["pages"][0]["width"]) == ("converted", "srgb", 7)
    before = np.asarray(PIL.Image.open(scans / "0.tif"))
    np.testing.assert_array_equal(np.asarray(PIL.Image.open(tmp_path / "out.tif")), to_srgb(before))
    # Names of any kind.
    os.chdir(scans)
    for name in ("-2.png", b"-2.png"):
        kxcms.convert_file(name, b"-\xff.png", profile=scanner, black_point_compensation=True,
                           intent="relative")
    assert os.path.exists(b"-\xff.png")
    skipped = kxcms.convert_file("0.tif", tmp_path / "out.tif", profile=scanner, exists="skip")
    assert skipped["status"] == "skipped"


@pytest.mark.parametrize("options, status, message", [
    ({}, 4, "no profile is embedded"),
    ({"profile": "srgb", "to": "nowhere"}, 2, "unknown output space nowhere"),
    ({"profile": "srgb", "frob": True}, 2, "--frob"),
    ({"profile": "srgb", "hue": -3}, 2, "--lightness, --chroma and --hue are offsets"),
])
def test_refusals(scans, tmp_path, options, status, message):
    with pytest.raises(kxcms.CommandError, match=message) as refusal:
        kxcms.convert_file(scans / "0.tif", tmp_path / "out.tif", **options)
    assert refusal.value.status == status
    assert not refusal.value.message.startswith("kxcms:")
    assert not (tmp_path / "out.tif").exists()
    again = pickle.loads(pickle.dumps(refusal.value))
    assert (again.status, again.message) == (status, refusal.value.message)


def test_batch_and_verify(scans, scanner, tmp_path):
    out = tmp_path / "out"
    (scans / "bad.tif").write_bytes(b"no image")
    records = kxcms.batch(out, scans, profile=scanner, jobs=2)
    assert {record["file"]: record["status"] for record in records} == {
        "0.tif": "done", "sub/1.tif": "done", "-2.png": "done", "bad.tif": "failed"}
    # Again: what failed has a second result, and the last one counts.
    assert len(kxcms.batch(out, scans, profile=scanner)) == 4
    journal = out / "kxcms-journal.jsonl"
    assert len(kxcms.records(journal, journal)) == 8
    verdicts = {one["file"]: one["verdict"] for one in kxcms.verify(journal, reconvert=1.0)}
    assert verdicts == {"0.tif": "good", "sub/1.tif": "good", "-2.png": "good",
                        "bad.tif": "not-done"}
    os.remove(out / "0.tif")
    (out / "sub/1.tif").write_bytes(b"edited")
    verdicts = {one["file"]: one["verdict"] for one in kxcms.verify(journal, rehash=True)}
    assert verdicts == {"0.tif": "missing", "sub/1.tif": "differs", "-2.png": "good",
                        "bad.tif": "not-done"}


def test_batch_of_names_and_shards(scans, scanner, tmp_path):
    records = []
    for i in range(2):
        records += kxcms.batch(tmp_path / "out", scans, ["0.tif", "sub/1.tif"], profile=scanner,
                               shard=f"{i}/2")
    assert sorted(record["file"] for record in records) == ["0.tif", "sub/1.tif"]
    with pytest.raises(kxcms.CommandError) as stopped:
        kxcms.batch(tmp_path / "other", scans, profile=scanner, min_free="999T")
    assert stopped.value.status == 8
    with pytest.raises(kxcms.CommandError) as unreadable:
        kxcms.verify(tmp_path / "out/kxcms-journal-0-of-2.jsonl", scanner)
    assert unreadable.value.status == 3


def test_where_the_command_is(monkeypatch, tmp_path):
    real = os.environ["KXCMS_COMMAND"]
    assert kxcms.command() == real
    monkeypatch.delenv("KXCMS_COMMAND")
    monkeypatch.setenv("PATH", str(tmp_path))
    with pytest.raises(FileNotFoundError, match="KXCMS_COMMAND"):
        kxcms.command()
    shutil.copy(real, tmp_path / "kxcms")
    assert kxcms.command() == str(tmp_path / "kxcms")
