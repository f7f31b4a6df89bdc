#!/usr/bin/env python3
"""The Debian package of the program, unpacked and used: package_test.py CPACK BUILD_FOLDER SCRATCH_FOLDER"""

import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

CPACK, BUILD, SCRATCH = sys.argv[1], Path(sys.argv[2]).resolve(), Path(sys.argv[3]).resolve()
ROOT = Path(__file__).resolve().parents[2]

for needed in ("dpkg-shlibdeps", "dpkg-deb", "readelf"):
    if shutil.which(needed) is None:
        print(f"skipped: {needed} is not installed")
        sys.exit(77)


def output(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True, cwd=SCRATCH, timeout=120).stdout


def files_below(folder):
    return {str(file.relative_to(folder)): file.read_bytes() for file in folder.rglob("*") if file.is_file()}


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(SCRATCH, ignore_errors=True)
        SCRATCH.mkdir(parents=True)
        output(CPACK, "--config", str(BUILD / "CPackConfig.cmake"), "-B", str(SCRATCH / "made"))
        (cls.package,), (cls.archive,) = (SCRATCH / "made").glob("*.deb"), (SCRATCH / "made").glob("*.tar.gz")
        output("dpkg-deb", "-x", str(cls.package), "root")
        cls.root = SCRATCH / "root"
        cls.program = cls.root / "usr/bin/vantord-tablet"

    def test_the_program_boots_a_tablet_from_there(self):
        output(str(self.program), "init", "tablet", "--small", "--sample", "crashed-modem")
        self.assertIn("the service stopped", output(str(self.program), "run", "tablet", "--quiet", "--cut-at", "150"))

    def test_it_depends_on_each_library_that_the_program_loads(self):
        depends = output("dpkg-deb", "-f", str(self.package), "Depends")
        loaded = re.findall(r"\(NEEDED\).*\[(\w+)[.-]", output("readelf", "-d", str(self.program)))
        packages = {"libarchive": "libarchive13", "libcrypto": "libssl3", "libfmt": "libfmt9", "libhivex": "libhivex0", "libz": "zlib1g",
                    "libstdc++": "libstdc++6", "libgcc_s": "libgcc-s1"}
        self.assertIn("libfmt", loaded)
        for library in loaded:
            self.assertIn(packages.get(library, "libc6"), depends)

    def test_page_completion_schemas_and_lnav_format_come_along(self):
        share = self.root / "usr/share"
        for file in ("man/man1/vantord-tablet.1", "bash-completion/completions/vantord-tablet",
                     "zsh/site-functions/_vantord-tablet", "fish/vendor_completions.d/vantord-tablet.fish",
                     "lnav/formats/vantord/vantord_events.json"):
            self.assertGreater((share / file).stat().st_size, 0)
        self.assertEqual(files_below(share / "vantord/schemas"), files_below(ROOT / "docs/schemas"))

    def test_the_program_is_stripped_and_its_symbols_carry_its_build_id(self):
        self.assertNotIn(".debug_", output("readelf", "-SW", str(self.program)))
        built = BUILD / "vantord-tablet"
        self.assertIn(".debug_line", output("readelf", "-SW", str(built)))
        identifiers = [re.search(r"Build ID: (\w+)", output("readelf", "-n", str(file))) for file in (self.program, built)]
        self.assertTrue(all(identifiers))
        self.assertEqual(identifiers[0].group(1), identifiers[1].group(1))

    def test_the_archive_holds_the_same_files(self):
        (SCRATCH / "archive").mkdir()
        output("tar", "-xf", str(self.archive), "-C", "archive", "--strip-components=1")
        (folder,) = [file.parent.parent for file in (SCRATCH / "archive").rglob("bin/vantord-tablet")]
        self.assertEqual(files_below(folder), files_below(self.root / "usr"))

    def test_version_names_the_commit(self):
        said = output(str(self.program), "--version")
        self.assertRegex(said, r"^vantord-tablet \d+\.\d+\.\d+ \(commit (unknown|[0-9a-f]{7,} of \d{4}-\d\d-\d\d)\)\n$")
        version = output("dpkg-deb", "-f", str(self.package), "Version").strip()
        self.assertTrue(said.startswith(f"vantord-tablet {version} "))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
