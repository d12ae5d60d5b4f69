"""The Python module against the command-line tool: the same directories, fields and texts as
lumeno dump, the same datasets as lumeno iptc, and edits written as lumeno annotate writes them."""
import os
import shutil
import subprocess

import pytest

import lumeno

DATA = os.environ["LUMENO_TEST_DATA"]
TOOL = os.environ["LUMENO_TOOL"]
SAMPLE = os.path.join(DATA, "sample.jpg")


def tool(*args):
    return subprocess.run([TOOL, *args], check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("name", ["sample.jpg", "sample.tif", "camera/Canon.jpg", "camera/Nikon.jpg",
                                  "camera/GPS.jpg", "camera/Olympus.jpg"])
def test_shown_fields_print_the_dump(name):
    path = os.path.join(DATA, name)
    image = lumeno.open(path)
    printed = []
    for ifd in image.ifds:
        printed.append("== " + ifd.name)
        printed += [f"{f.name}: {f.text}" for f in ifd.fields if f.shown]
    names = iter(ifd.name for ifd in image.ifds)
    expected = []
    for line in tool("dump", path).splitlines():
        if line.startswith("-----------"):
            expected.append("== " + next(names))
        elif line:
            expected.append(line)
    assert printed == expected


def test_values_of_each_kind():
    image = lumeno.open(SAMPLE)
    primary = image.ifds[0]
    assert primary.name == "Primary Image" and primary.id == 1
    make = primary["make"]
    assert (make.tag, make.type, make.count, make.value, make.text) == (271, "ASCII", 5, "Acme", "Acme")
    assert primary["Orientation"].value == 1
    assert primary["XResolution"].value == 72.0 and isinstance(primary["XResolution"].value, float)
    assert image.ifd("exif")["ExifVersion"].value == [ord(c) for c in "0232"]
    assert image.ifd("EXIF")["ExposureBiasValue"].value < 0
    with pytest.raises(KeyError):
        primary["No such field"]
    with pytest.raises(KeyError):
        image.ifd("No such IFD")


def test_iptc_xmp_and_values_are_the_tools():
    image = lumeno.open(SAMPLE)
    expected = {}
    for line in tool("iptc", SAMPLE).splitlines():
        name, _, text = line.partition("\t")
        expected.setdefault(name, []).append(text)
    assert image.iptc == expected
    assert image.iptc_value("Keyword") == "sunrise; lake"
    # The packet as the file holds it.
    assert image.xmp.startswith("<?xpacket") and image.xmp.encode() in open(SAMPLE, "rb").read()
    assert image.xmp.rstrip("\n") == tool("xmp", SAMPLE).rstrip("\n")
    assert image.values["Title"] == "Morning light"
    assert image.values["Make"] == "Acme"
    with pytest.raises(ValueError):
        image.iptc_value("Favourite colour")


def test_set_iptc_and_save(tmp_path):
    path = str(tmp_path / "edit.jpg")
    shutil.copyfile(SAMPLE, path)
    image = lumeno.open(path)
    before = open(path, "rb").read()

    with pytest.raises(ValueError):
        image.set_iptc("Favourite colour", "blue")
    with pytest.raises(lumeno.Error):
        image.set_iptc("City", "x" * 200)  # longer than City may be
    assert not image.modified
    assert open(path, "rb").read() == before

    image.set_iptc("Keyword", ["dawn", "water"])
    image.set_iptc("Caption", "Two\nlines")
    image.set_iptc("City", None)
    assert image.modified and image.iptc["Keyword"] == ["sunrise", "lake"]
    image.save()
    assert not image.modified
    assert image.iptc["Keyword"] == ["dawn", "water"]
    assert "City" not in image.iptc
    shown = tool("iptc", path)
    assert "Keyword\tdawn\nKeyword\twater\n" in shown and "Caption\tTwo\\rlines" in shown  # a line break is stored as IPTC stores it
    # The rest of the file came through the rewrite, and its XMP follows the record.
    assert [d.name for d in lumeno.open(path).ifds] == [d.name for d in lumeno.open(SAMPLE).ifds]
    assert "dawn" in lumeno.open(path).xmp


def test_files_that_cannot_be_read(tmp_path):
    with pytest.raises(OSError):
        lumeno.open(str(tmp_path / "missing.jpg"))
    junk = tmp_path / "junk.jpg"
    junk.write_bytes(b"\xff\xd8\xff\xe1\x00\x02not much of a picture")
    with pytest.raises(lumeno.Error):
        lumeno.open(str(junk))
