#!/usr/bin/env python3
"""Tablets from images and collections, and their way back into an image: import_test.py PROGRAM"""

import json
import os
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile
from pathlib import Path

import windows_image as windows

PROGRAM = str(Path(sys.argv.pop(1)).resolve())
ARCHIVE = "Windows/System32/modem_core/VZW.bin"
SYSTEM = f"{windows.CONFIG}/SYSTEM"
CSC = "HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services\\Vantord\\Parameters\\CSC"

for needed in ("wimlib-imagex", "hivexregedit"):
    if shutil.which(needed) is None:
        print(f"skipped: {needed} is not installed")
        sys.exit(77)


class ImportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.base = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        subprocess.run([PROGRAM, "init", cls.base / "fresh", "--small"], check=True, stdout=subprocess.DEVNULL)
        windows.make_volume(cls.base / "fresh", cls.base / "volume")

    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        shutil.copytree(self.base / "fresh", self.folder / "fresh")
        shutil.copytree(self.base / "volume", self.folder / "volume")

    def run_program(self, *words, code=0, environment=None):
        done = subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True, timeout=120, cwd=self.folder,
                              env={**os.environ, **(environment or {})}, check=False)
        self.assertEqual(done.returncode, code, f"{words}: {done.stdout}{done.stderr}")
        return done

    def json(self, *words, code=0):
        return json.loads(self.run_program(*words, "--json", code=code).stdout)

    def taken(self, document, unknown):
        return next((one["taken"] for one in document["assumed"] if one["unknown"] == unknown), None)

    def attributes(self, tablet, path):
        try:
            return int(os.getxattr(self.folder / tablet / "C" / path, "user.DOSATTRIB"), 16)
        except OSError:  # a file system without them
            lines = (self.folder / tablet / "attributes.txt").read_text(encoding="utf-8").splitlines()
            return next(int(line.split("\t")[0], 16) for line in lines if line.endswith("\tC:\\" + path.replace("/", "\\")))


class ImageTest(ImportTest):
    def test_a_wim_becomes_a_tablet_with_attributes(self):
        windows.make_image(self.folder / "volume", self.folder / "install.wim", "Home",
                           {ARCHIVE: 0x23, "Windows/System32/modem_core": 0x12})
        document = self.json("import", "install.wim", "t", "--sales-code", "VZW")
        self.assertEqual(document["name"], "install.wim, image 1: Home")
        self.assertIsNone(self.taken(document, "hidden, system and read-only files"))
        self.assertEqual(self.attributes("t", ARCHIVE), 0x23)
        self.assertEqual(self.attributes("t", "Windows/System32/modem_core"), 0x12)
        self.assertEqual(self.json("run", "t")["deployment"], "deployed")
        self.assertEqual((self.folder / "t/C" / ARCHIVE).read_bytes(), (self.folder / "volume" / ARCHIVE).read_bytes())
        self.assertEqual([f.name for f in self.folder.iterdir() if "making" in f.name], [])

    def test_the_second_image_of_an_esd(self):
        windows.make_image(self.folder / "volume", self.folder / "one.wim", "One")
        windows.merge(self.folder / "volume" / SYSTEM, "SYSTEM",
                      f'Windows Registry Editor Version 5.00\n\n[{CSC}]\n"KOX"="KOR.bin"\n')
        windows.wimlib("append", self.folder / "volume", self.folder / "one.wim", "Two", "second")
        windows.wimlib("export", self.folder / "one.wim", "all", self.folder / "two.esd", "--compress=LZMS", "--solid")
        first = self.json("import", "two.esd", "first", "--sales-code", "KOX")
        self.assertEqual(self.taken(first, "which image"), "1 of 2")
        self.json("import", "two.esd", "second", "--index", "2", "--sales-code", "KOX")
        self.assertEqual(self.json("select", "first")["archive"]["name"], "VZW.bin")
        self.assertEqual(self.json("select", "second")["archive"]["name"], "KOR.bin")
        error = self.json("import", "two.esd", "third", "--index", "3", code=3)["error"]
        self.assertEqual(error["problem"], "has no image 3")
        self.assertEqual(error["next"], "choose one with --index: 1 One, 2 Two")

    def test_damaged_files_and_a_missing_program_are_named(self):
        windows.make_image(self.folder / "volume", self.folder / "install.wim")
        data = (self.folder / "install.wim").read_bytes()
        (self.folder / "cut.wim").write_bytes(data[:len(data) // 2])
        self.assertIn("cut.wim: wimlib-imagex cannot read it: ", self.run_program("import", "cut.wim", "t", code=3).stderr)
        without = self.run_program("import", "install.wim", "t", code=3, environment={"PATH": "/nowhere"}).stderr
        self.assertIn("install the package wimtools", without)
        self.assertFalse((self.folder / "t").exists())

    def test_an_image_of_4_gigabytes_takes_little_time_and_memory(self):
        windows.wimlib("capture", self.folder / "volume", self.folder / "large.wim", "Large", "--compress=none")
        enlarge(self.folder / "large.wim", 4 << 30)
        begin = time.monotonic()
        self.json("import", "large.wim", "t", "--sales-code", "VZW")
        seconds = time.monotonic() - begin
        used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss >> 10
        print(f"4 GB: {seconds:.2f} s, {used} MB", file=sys.stderr)
        self.assertLess(seconds, 10)
        self.assertLess(used, 200)


def enlarge(wim, size):
    """Moves what follows the files' data to the end of a file of this size: a hole, as of one more file, is between."""
    data = wim.read_bytes()
    blobs = struct.unpack_from("<Q", data, 56)[0]
    shift = (size - len(data)) & ~7
    head = bytearray(data[:208])
    for at in (56, 80):  # the table of the files' data, the description
        struct.pack_into("<Q", head, at, struct.unpack_from("<Q", head, at)[0] + shift)
    with open(wim, "r+b") as out:
        out.write(head)
        out.truncate(blobs)
        out.seek(blobs + shift)
        out.write(data[blobs:])


class CollectionTest(ImportTest):
    """As collect-tablet.cmd and collect-tablet.ps1 write it; under Wine the first of them does."""

    def collect(self, name="collected", key="SYSTEM\\CurrentControlSet"):
        folder = self.folder / name
        (folder / "registry").mkdir(parents=True)
        shutil.copytree(self.folder / "fresh/C", folder / "C")
        (folder / "collect-tablet.txt").write_bytes(b"collect-tablet 1\r\nmode=running\r\npartner=running\r\n")
        shutil.copytree(self.folder / "fresh/efi", folder / "efi")
        hive, _, below = key.partition("\\")
        text = "Windows Registry Editor Version 5.00\n\n"
        text += f"[HKEY_LOCAL_MACHINE\\{hive}\\Select]\n\"Current\"=dword:00000001\n"
        text += f"\n[HKEY_LOCAL_MACHINE\\{key}\\Services\\Pelt]\n"
        for file in sorted((self.folder / "fresh/registry").glob("*.reg")):
            text += "".join(file.read_text(encoding="utf-8").splitlines(keepends=True)[1:])
        text = text.replace("\\SYSTEM\\CurrentControlSet\\", f"\\{hive}\\{below}\\")
        text = text.replace("HKEY_LOCAL_MACHINE\\SOFTWARE", "HKEY_LOCAL_MACHINE\\" + hive.replace("SYSTEM", "SOFTWARE"))
        (folder / "registry/10.reg").write_bytes(b"\xff\xfe" + text.replace("\n", "\r\n").encode("utf-16-le"))
        path = "\\" + ARCHIVE.replace("/", "\\")
        (folder / "files.txt").write_bytes(f"--ah-----:1:-:{path}\r\nd--------:0:-:\\Windows\r\n".encode())
        return folder

    def test_a_folder_becomes_the_tablet_it_was_collected_on(self):
        self.collect()
        document = self.json("import", "collected", "t")
        self.assertIsNone(self.taken(document, "the sales code"))
        self.assertIsNone(self.taken(document, "the state of the partner service"))
        self.assertEqual(self.attributes("t", ARCHIVE), 0x22)
        self.assertEqual(json.loads((self.folder / "t/tablet.json").read_text())["partner"]["state"], "running")
        run, original = self.json("run", "t"), self.json("run", "fresh")
        self.assertEqual(run["archive"]["path"], original["archive"]["path"])
        self.assertEqual(run["deployment"], original["deployment"])

    def test_a_zip_file_is_as_good_with_either_separator(self):
        folder = self.collect()
        self.json("import", "collected", "t")
        for name, separator, top in (("tar.zip", "/", "./"), ("shell.zip", "\\", ""), ("wrapped.zip", "/", "collected/")):
            with zipfile.ZipFile(self.folder / name, "w") as archive:
                for file in folder.rglob("*"):
                    entry = zipfile.ZipInfo("x")
                    entry.filename = top + str(file.relative_to(folder)).replace("/", separator)
                    if file.is_dir():
                        entry.filename += separator
                    archive.writestr(entry, b"" if file.is_dir() else file.read_bytes())
            self.json("import", name, name + ".t")
            self.assertTrue(self.json("diff", "t", name + ".t")["equal"])

    def test_hives_of_a_drive_that_is_not_running_are_renamed(self):
        self.collect()
        self.collect("offline", "VantordCollectSYSTEM\\ControlSet001")
        self.json("import", "collected", "t")
        self.json("import", "offline", "other")
        self.assertTrue(self.json("diff", "t", "other")["equal"])

    def test_what_was_left_out_is_listed(self):
        folder = self.collect()
        (folder / "C" / ARCHIVE).unlink()
        with open(folder / "collect-tablet.txt", "ab") as out:
            out.write(b"identifiers=left out\r\n")
        document = self.json("import", "collected", "t")
        self.assertEqual(self.taken(document, f"the content of C:\\{ARCHIVE}, 1 bytes".replace("/", "\\")),
                         "the file is missing")
        self.assertIsNotNone(self.taken(document, "users and device instances"))

    def test_what_is_wrong_is_refused_with_its_place(self):
        folder = self.collect()
        (folder / "files.txt").write_text("d--------:0:-:\\Windows\nodd\n")
        error = self.json("import", "collected", "t", code=3)["error"]
        self.assertEqual(error["place"], "collected/files.txt:2")
        (folder / "collect-tablet.txt").write_text("collect-tablet 2\n")
        self.assertIn("collect-tablet.txt:1: is not \"collect-tablet 1\"", self.run_program("import", "collected", "t", code=3).stderr)
        for name, expected in (("../up", "leads out of it"), ("/up", "leads out of it"), ("manifest.json", "is a bundle"),
                               ("else", "odd.zip: has no collect-tablet.txt")):
            with zipfile.ZipFile(self.folder / "odd.zip", "w") as archive:
                archive.writestr(name, b"{}")
            self.assertIn(expected, self.run_program("import", "odd.zip", "t", code=3).stderr)
        self.assertFalse((self.folder / "t").exists())


class VolumeTest(ImportTest):
    def test_an_ntfs_volume_has_attributes(self):
        image, mounted = self.folder / "ntfs.img", self.folder / "mounted"
        mounted.mkdir()
        with open(image, "wb") as out:
            out.truncate(64 << 20)
        try:
            subprocess.run(["mkntfs", "-F", "-q", "-f", str(image)], check=True, capture_output=True)
            subprocess.run(["ntfs-3g", str(image), str(mounted)], check=True, capture_output=True)
        except (OSError, subprocess.CalledProcessError) as error:
            self.skipTest(f"no NTFS volume can be mounted here: {error}")
        try:
            shutil.copytree(self.folder / "volume", mounted, dirs_exist_ok=True)
            os.setxattr(mounted / ARCHIVE, "system.ntfs_attrib_be", struct.pack(">I", 0x27))
            self.json("import", mounted, "t")
        finally:
            subprocess.run(["umount", str(mounted)], check=True)
        self.assertEqual(self.attributes("t", ARCHIVE), 0x27)


class ExportTest(ImportTest):
    def export(self, *words):
        return self.json("export", "t", "-o", "out", *words)

    def setUp(self):
        super().setUp()
        try:
            os.setxattr(self.folder, "user.DOSATTRIB", b"0x10")
        except OSError:
            self.skipTest("the volume of this test keeps its attributes in extended attributes")

    def apply(self):
        """Puts what was exported into the volume."""
        for name, hive in (("system.reg", "SYSTEM"), ("software.reg", "SOFTWARE")):
            text = self.folder / "out" / name
            if text.exists():
                windows.merge(self.folder / "volume" / windows.CONFIG / hive, hive, text.read_text(encoding="utf-8"))
        for line in (self.folder / "out/files.txt").read_text(encoding="utf-8").splitlines()[1:]:
            change, letters, size, _, path = line.split("\t")
            relative = path[3:].replace("\\", "/")
            target = self.folder / "volume" / relative
            if change == "gone":
                target.unlink()
                continue
            if size == "folder":
                target.mkdir(exist_ok=True)
            else:
                shutil.copyfile(self.folder / "t/C" / relative, target)
            number = sum({"R": 1, "H": 2, "S": 4, "A": 0x20}.get(letter, 0) for letter in letters)
            os.setxattr(target, "user.DOSATTRIB", f"{number + (16 if size == 'folder' else 0):#x}".encode())

    def test_a_tablet_that_was_not_touched_has_nothing_to_export(self):
        self.json("import", "volume", "t")
        document = self.export()
        self.assertEqual(document["registry"], [])
        self.assertEqual(document["files"], [])

    def test_what_was_edited_comes_back_from_the_image(self):
        self.json("import", "volume", "t", "--sales-code", "KOX")
        (self.folder / "t/registry/50-mine.reg").write_text(
            "Windows Registry Editor Version 5.00\n\n"
            "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC]\n"
            '"KOX"="KOR.bin"\n"ATT"=-\n'
            "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\New\\Below]\n\"ä\"=\"ü\"\n"
            "[-HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\ImageID]\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State]\n"
            '"ImageState"="IMAGE_STATE_UNDEPLOYABLE"\n', encoding="utf-8")
        archives = self.folder / "t/C/Windows/System32/modem_core"
        (archives / "KOR.bin").write_bytes((archives / "ATT.bin").read_bytes())
        os.setxattr(archives / "KOR.bin", "user.DOSATTRIB", b"0x22")
        (archives / "ATT.bin").unlink()
        changes = {Path(f["path"].replace("\\", "/")).name: f["change"] for f in self.export()["files"]}
        self.assertEqual(changes, {"KOR.bin": "changed", "ATT.bin": "gone"})
        text = (self.folder / "out/system.reg").read_text(encoding="utf-8")
        self.assertIn("\\ControlSet001\\Services\\Vantord\\New\\Below]", text)
        self.assertNotIn("CurrentControlSet", text)
        self.apply()
        self.json("import", "volume", "again", "--sales-code", "KOX")
        self.assertTrue(self.json("diff", "t", "again")["equal"])

    def test_what_a_run_changed_comes_back_from_the_image(self):
        self.json("import", "volume", "t", "--sales-code", "VZW")
        self.json("run", "t", "--in-place")
        self.assertIn("new", {f["change"] for f in self.export()["files"]})
        self.apply()
        self.json("import", "volume", "again", "--sales-code", "VZW")
        difference = self.json("diff", "t", "again")
        self.assertTrue(difference["equal"], difference)

    def test_tablets_that_were_not_imported_are_compared_with_another(self):
        shutil.copytree(self.folder / "fresh", self.folder / "t")
        self.assertIn("--since", self.run_program("export", "t", "-o", "out", code=3).stderr)
        self.run_program("run", "t", "--in-place")
        self.export("--since", "fresh", "--control-set", "3", "--utf16")
        text = (self.folder / "out/system.reg").read_bytes()
        self.assertTrue(text.startswith(b"\xff\xfe"))
        self.assertIn("\\ControlSet003\\Control\\Class\\", text.decode("utf-16"))
        self.assertIn("exists already", self.run_program("export", "t", "-o", "out", "--since", "fresh", code=3).stderr)


if __name__ == "__main__":
    unittest.main(verbosity=1)
