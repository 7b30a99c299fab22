"""report, compare and certificate: the documents of the command, and its refusals."""

import json
import os
import pickle
import stat
import subprocess

import numpy
import PIL.Image
import pytest

import kxcms

COMMAND = os.environ["KXCMS_COMMAND"]
ADOBE = "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc"  # icc-profiles-free


@pytest.fixture
def folder(tmp_path, monkeypatch):
    subprocess.run([os.environ["KXCMS_SAMPLE"], "make", tmp_path], check=True,
                   stdout=subprocess.DEVNULL)
    monkeypatch.chdir(tmp_path)
    return tmp_path


def told(folder, *arguments):
    """@return what the command writes as JSON"""
    path = folder / "told.json"
    subprocess.run([COMMAND, *arguments, "--json", path], check=True, stdout=subprocess.DEVNULL)
    return json.loads(path.read_text())


def test_report(folder):
    page = folder / "-page.html"
    found = kxcms.report("scanner.icc", page, to="adobe-rgb", intent="relative",
                         image=["scan-8.tif", "scan-16.tif"], compare=ADOBE)
    assert found == told(folder, "report", "--to", "adobe-rgb", "--intent", "relative", "--image",
                         "scan-8.tif", "--image", "scan-16.tif", "--compare", ADOBE, "-o",
                         "other.html", "scanner.icc")
    assert page.read_bytes() == (folder / "other.html").read_bytes()
    assert [image["bits"] for image in found["profiles"][0]["images"]] == [8, 16]
    before = sorted(os.listdir(folder))
    assert [profile["name"] for profile in kxcms.report(["scanner.icc", ADOBE])["profiles"]] == [
        "scanner.icc", "compatibleWithAdobeRGB1998.icc"]
    assert sorted(os.listdir(folder)) == before


def test_stars(folder):
    """Grey patches that are 2 and 5 away from what the space says of them in L*."""
    rows = "".join(f"{n} {50 + n} {50 + n} {50 + n} {lightness} 0 0\n"
                   for n, lightness in ((0, 53.39 + 2), (1, 54.29 - 5)))
    (folder / "chart.ti3").write_text(
        "CTI3\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B LAB_L LAB_A LAB_B\n"
        f"END_DATA_FORMAT\nBEGIN_DATA\n{rows}END_DATA\n")
    (folder / "srgb.icc").write_bytes(kxcms.Profile("srgb").tobytes())
    for least, failed in ((1, False), (4, True)):
        found = kxcms.report("srgb.icc", chart="chart.ti3", fail_below=least)
        assert found["failed"] is failed
        assert found["profiles"][0]["charts"][0]["count"] == 2
    assert "failed" not in kxcms.report("srgb.icc", chart="chart.ti3")


def test_compare(folder):
    dice = numpy.random.default_rng(9)
    first = dice.integers(0, 250, (20, 30, 3), numpy.uint8)
    space = kxcms.Profile("srgb").tobytes()
    for name, pixels in (("a.png", first), ("b.png", first + dice.integers(0, 5, first.shape,
                                                                           numpy.uint8))):
        PIL.Image.fromarray(pixels).save(name, icc_profile=space)
    found = kxcms.compare("a.png", folder / "b.png", difference="d.png", limit=0.1)
    labs = [kxcms.Pipeline("srgb", "lab", intent="relative")(
        numpy.asarray(PIL.Image.open(name)) / numpy.float32(255)) for name in ("a.png", "b.png")]
    difference = kxcms.delta_e_2000(*labs)
    assert found["mean"] == pytest.approx(difference.mean(), abs=1e-3)
    assert found["largest"] == pytest.approx(difference.max(), abs=1e-3)
    assert found["isWithinLimit"] is False
    assert PIL.Image.open("d.png").size == (30, 20)
    assert kxcms.compare("a.png", "a.png", limit=0)["isWithinLimit"] is True
    assert kxcms.compare(ADOBE, ADOBE)["kind"] == "profiles"


def test_certificate(folder):
    found = kxcms.certificate("scanner.icc", "certificate.txt", sample=3000, intent="relative",
                              black_point_compensation=True)
    assert found == told(folder, "certificate", "--sample", "3000", "--intent", "relative",
                         "--black-point-compensation", "scanner.icc")
    assert found["library"]["sha256"] in (folder / "certificate.txt").read_text()


@pytest.mark.parametrize("call, status, message", [
    (lambda: kxcms.report("none.icc"), 4, "profile none.icc: No such file or directory"),
    (lambda: kxcms.report(ADOBE, "none/page.html"), 6,
     "cannot write none/page.html: its folder does not exist"),
    (lambda: kxcms.report(ADOBE, to="nowhere.icc"), 2, "unknown space nowhere.icc; known: srgb, "),
    (lambda: kxcms.compare("-a.tif", "b.tif"), 3, "-a.tif: No such file or directory"),
    (lambda: kxcms.compare("scan-8.tif", "small.png", assume="srgb"), 5,
     "images of different sizes cannot be compared: "),
    (lambda: kxcms.certificate("scanner.icc", pipeline="fast"), 2, "unknown pipeline fast; "),
])
def test_refused(folder, call, status, message):
    PIL.Image.new("RGB", (3, 2)).save("small.png")
    with pytest.raises(kxcms.CommandError) as refused:
        call()
    assert refused.value.status == status
    assert refused.value.message.startswith(message)
    assert "\n" not in refused.value.message
    again = pickle.loads(pickle.dumps(refused.value))
    assert (again.status, again.message) == (refused.value.status, refused.value.message)


def test_where_the_command_is(folder, monkeypatch):
    """KXCMS_COMMAND alone where it is set, else PATH."""
    script = folder / "bin" / "kxcms"
    script.parent.mkdir()
    script.write_text('#!/bin/sh\necho \'{"mean": 7}\'\n')
    script.chmod(script.stat().st_mode | stat.S_IXUSR)
    monkeypatch.setenv("PATH", str(script.parent), prepend=os.pathsep)
    with pytest.raises(kxcms.CommandError):
        kxcms.compare("a", "b")
    monkeypatch.delenv("KXCMS_COMMAND")
    assert kxcms.compare("a", "b") == {"mean": 7}
    monkeypatch.setenv("KXCMS_COMMAND", str(folder / "nothing"))
    with pytest.raises(FileNotFoundError):
        kxcms.compare("a", "b")
    monkeypatch.delenv("KXCMS_COMMAND")
    monkeypatch.setenv("PATH", str(folder))
    with pytest.raises(FileNotFoundError, match="KXCMS_COMMAND"):
        kxcms.compare("a", "b")
