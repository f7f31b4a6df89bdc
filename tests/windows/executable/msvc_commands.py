#!/usr/bin/env python3
"""The options with which an MSVC-like compiler is called: msvc_commands.py PROJECT

Configures PROJECT with clang-cl, which needs no Windows SDK for that, and reads compile_commands.json. Exit code 77 if
clang-cl or another tool of LLVM is missing.
"""

import json
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SKIPPED = 77
PROJECT, TOOLS = None, {}  # set by main
# The first that exists is used.
NAMES = {"clang-cl": ("clang-cl", "clang-cl-14"), "lld-link": ("lld-link", "lld-link-14"),
         "llvm-rc": ("llvm-rc", "llvm-rc-14"), "llvm-mt": ("llvm-mt", "llvm-mt-14")}
WANTED = ("/W4", "/WX", "/permissive-", "/guard:cf", "-D_CRT_SECURE_NO_WARNINGS")
RUN_TIME = re.compile(r"[-/]M[TD]d?")


def tool(name):
    folders = [str(path) for path in Path("/usr/lib").glob("llvm-*/bin")]
    return next((found for one in NAMES[name] for path in (None, *folders) if (found := shutil.which(one, path=path))), None)


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        # CMake gets the wrong processor; the compiler's own target is used.
        cls.build = {machine: cls.configure(machine, target, processor) for machine, target, processor in (
            ("arm64", "aarch64-pc-windows-msvc", "AMD64"), ("amd64", "x86_64-pc-windows-msvc", "ARM64"))}

    @classmethod
    def configure(cls, machine, target, processor):
        zlib, build = Path(cls.folder.name) / "zlib", Path(cls.folder.name) / machine
        zlib.mkdir(exist_ok=True)
        (zlib / "zlib.h").touch()
        (zlib / "crc32.c").touch()
        options = {
            **dict.fromkeys(("CMAKE_C_COMPILER", "CMAKE_CXX_COMPILER"), TOOLS["clang-cl"]),
            **dict.fromkeys(("CMAKE_C_COMPILER_TARGET", "CMAKE_CXX_COMPILER_TARGET"), target),
            **{"CMAKE_LINKER": TOOLS["lld-link"], "CMAKE_RC_COMPILER": TOOLS["llvm-rc"], "CMAKE_MT": TOOLS["llvm-mt"]},
            **{"CMAKE_SYSTEM_NAME": "Windows", "CMAKE_SYSTEM_PROCESSOR": processor, "CMAKE_BUILD_TYPE": "RelWithDebInfo"},
            **{"CMAKE_TRY_COMPILE_TARGET_TYPE": "STATIC_LIBRARY", "VANTORD_ZLIB_SOURCE": zlib},
        }
        command = ["cmake", "-G", "Ninja", "-S", PROJECT, "-B", build, *(f"-D{name}={value}" for name, value in options.items())]
        done = subprocess.run(command, capture_output=True, text=True)
        assert done.returncode == 0, done.stdout + done.stderr
        return build

    def test_every_source_uses_the_static_run_time(self):
        for build in self.build.values():
            commands = json.loads((build / "compile_commands.json").read_text())
            found = {Path(one["file"]).name: RUN_TIME.findall(one["command"]) for one in commands if not one["file"].endswith(".rc")}
            self.assertIn("crc32.c", found)
            self.assertGreater(len(found), 30)
            self.assertEqual({}, {file: options for file, options in found.items() if options not in (["-MT"], ["/MT"])})

    def test_every_source_of_the_service_is_compiled_with_all_warnings_as_errors_and_control_flow_guard(self):
        for build in self.build.values():
            commands = json.loads((build / "compile_commands.json").read_text())
            service = [one["command"].split() for one in commands if "/vantord/" in one["file"]]
            self.assertGreater(len(service), 30)
            for words in service:
                self.assertEqual([], [option for option in WANTED if option not in words])

    def test_the_program_loads_dlls_of_the_system_only_and_is_ready_for_shadow_stacks(self):
        for machine, build in self.build.items():
            text = (build / "build.ninja").read_text()
            link = re.search(r"^build Vantord\.exe: .*?^  LINK_FLAGS = ([^\n]*)", text, re.M | re.S)[1].split()
            for option in ("/guard:cf", "/DEPENDENTLOADFLAG:0x800", "/Brepro"):
                self.assertIn(option, link)
            # ARM64 has no such option.
            self.assertEqual(machine == "amd64", "/CETCOMPAT" in link)

    def test_the_machine_is_the_compilers(self):
        for machine, build in self.build.items():
            self.assertIn(f"[DefaultInstall.NT{machine}]", (build / "inf" / "standalone.inf").read_text())


if __name__ == "__main__":
    PROJECT = Path(sys.argv[1])
    TOOLS = {name: tool(name) for name in NAMES}
    if None in TOOLS.values():
        print("not installed: " + ", ".join(name for name, path in TOOLS.items() if path is None))
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
