#!/usr/bin/env python3
"""Plants offences in a small project and looks whether the rules find each of them, and nothing else."""

import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.append(str(Path(__file__).resolve().parents[1] / "pages"))

import messages  # noqa: E402
import style  # noqa: E402
from functions import functions  # noqa: E402
from rules import LAYERS, RULES  # noqa: E402
from source import Source, load  # noqa: E402

# A project that keeps every rule, close to what each of them refuses.
CLEAN = {
    "README.md": "# Parts of a tablet\nPart 12 and part of 3.1, by the UEFI specification; /home/workshop/; work/, roots/.\n",
    "vantord/common/error.h": "#pragma once\ninline void RaiseError(DWORD error) { throw error; }\n",
    "vantord/common/log.cpp": (
        '#include "vantord/common/error.h"\n'
        "// throw is for RaiseError; L\"\" and wchar_t are for nobody; #ifdef _WIN32 neither; __LINE__ is no tag.\n"
        'const WCHAR* k = TEXT("throw L\'x\' __LINE__ wchar_t");\n'
        "int const big = 1'000'000;\n"
        "Pair const pair{.first = 1, .second = big ? 2 : 3};  // no __attribute__ here\n"
        "auto const read = [&](int a) { return ::Read({a, big}) && a; };\n"
        "int First() {\n  return read[0];\n}\n"
        "#define LOG(zone, ...) Log(zone, __VA_ARGS__)\n"
        "A(const A&) = delete;\nvoid DebugPrint(const WCHAR* format, ...);\n"
        'void G() { DebugPrintZone(Z, TEXT("%S: %-5.2d %08lx %%"), F(a, b), c, *d); DebugPrint(format, c); }\n'
        "#if defined(VANTORD_SMALL)\n#endif\n"
    ),
    "vantord/device/port.cpp": '#include <windows.h>\n\n#include "vantord/common/error.h"\n#include "vantord/device/port.h"\n',
    "vantord/radio/client.h": '#include "vantord/common/error.h"\n',
    "vantord/modem/modem.cpp": (
        '#include "vantord/radio/client.h"\n#include "vantord/unzip/unzip.h"\n'
        "/// Deliberate: It says nothing,\n/// ever. Expected: a message.\n/// Test: Modem.SaysNothing,\n/// quiet.story\n"
        "void Start() { throw -1; }\n"
    ),
    "vantord/service/vantord.cpp": '#include "vantord/modem/modem.h"\n#include "vantord/radio/client.h"\n',
    "sim/winapi/include/windows.h": "#pragma once\n",
    "sim/winapi/files.cpp": '#include <windows.h>\n\n#include "sim/winapi/call.h"\n#include "sim/tablet/drive/drive.h"\n',
    "sim/tablet/drive/drive.cpp": '#include <cstdint>\n\n#include "sim/tablet/drive/drive.h"\n',
    "cli/run/run.cpp": '#include "vantord/service/vantord.h"\n#include "sim/tablet/drive/drive.h"\n',
    "tests/modem/modem_test.cpp": (
        '#include "vantord/modem/modem.h"\n'
        "TEST_F(Modem, SaysNothing) { Sleep(10); scheduler.Sleep(x.time()); }\n"
        "TEST(Modem, ASecondStartSaysNothing) {}\n"
    ),
    "tests/stories/quiet.story": "quiet\n",
}

PICTURE = "".join(f"<text>{room}</text>\n" for layers in LAYERS.values() for room in sum(layers, ()))
CLEAN["docs/images/architecture.svg"] = PICTURE.replace(">tablet/drive<", ">drive<")

LONG_FUNCTION = "void F() {\n" + "  G();\n" * 69 + "}\n"

# Per rule: files that break it, and in how many places each.
PLANTED = {
    "includes_run_one_way": [
        ("vantord/common/a.cpp", '#include "vantord/device/port.h"\n', 1),
        ("vantord/common/a.cpp", '#include <sim/tablet/drive/drive.h>\n', 1),
        ("vantord/device/a.cpp", '#include "vantord/unzip/unzip.h"\n', 1),
        ("vantord/modem/a.cpp", '#include "vantord/service/vantord.h"\n', 1),
        ("vantord/service/a.cpp", '#include "sim/winapi/call.h"\n#include "cli/run/run.h"\n', 2),
        ("vantord/radio/a.cpp", '#include "vantord/modem/modem.h"\n', 1),
        ("vantord/service/a.cpp", '#include "vantord.h"\n', 1),
        ("vantord/service/a.cpp", '#include "vantord/service/../tablet/drive.h"\n', 1),
        ("sim/tablet/base/a.cpp", '#include "vantord/common/error.h"\n#include "sim/winapi/call.h"\n', 2),
        ("sim/winapi/a.cpp", '#include "vantord/modem/modem.h"\n', 1),
        ("cli/base/a.cpp", '#include "tests/testing/fixture.h"\n', 1),
        ("extra/a.cpp", '#include "vantord/common/error.h"\n', 1),
    ],
    "the_tablet_knows_no_windows_headers": [("sim/tablet/base/a.h", "#include <windows.h>\n", 1)],
    "products_are_the_same_on_every_system": [
        ("vantord/unzip/a.cpp", "#ifdef _WIN32\n#endif\n", 1),
        ("vantord/crash/a.h", "#if defined(X) && \\\n    defined(__linux__)\n#elif _MSC_VER > 1\n#endif\n", 2),
    ],
    "wide_text_is_windows_own": [
        ("vantord/common/a.cpp", 'auto a = L"x"; auto b = L\'x\'; auto c = LR"(x)";\n', 3),
        ("vantord/common/a.h", "std::wstring a; wchar_t b; std::basic_ostream<WCHAR>& c; std::wstring_view d;\n", 4),
    ],
    "every_windows_compiler_takes_the_product": [
        ("vantord/common/a.h", "struct A { int b; } __attribute__((packed));\nint F() { return ({ 1; }); }\n", 2),
        ("vantord/unzip/a.cpp", "int a = b ?: c; __int128 d; typeof(a) e; char f[0];\n", 4),
        ("vantord/modem/a.cpp", "int a[] = {[2] = 3};\nvoid F() { switch (a[0]) { case 1 ... 3: asm(\"\"); } }\n", 3),
        ("vantord/crash/a.cpp", "#include_next <windows.h>\n#pragma GCC system_header\n#define F(a...) G(a)\n", 3),
        ("vantord/service/a.cpp", "#include <unistd.h>\n#define F(a, ...) G(a, ##__VA_ARGS__)\n", 2),
    ],
    "errors_are_raised_one_way": [
        ("vantord/modem/a.cpp", "void F() { throw 5u; }\nvoid G() { throw; }\nvoid H() { throw -12; }\n", 3),
        ("vantord/modem/a.cpp", "void F(DWORD error) { throw error; }\n", 1),
    ],
    "builds_do_not_depend_on_when_and_where": [("vantord/device/a.cpp", "int a = __LINE__; auto b = __DATE__ __TIME__;\n", 3)],
    "files_are_short": [
        ("sim/tablet/base/a.cpp", "//\n" * 401, 1),
        ("scripts/style/a.py", "#\n" * 401, 1),
        ("dev", "#\n" * 401, 1),
    ],
    "functions_are_short": [
        ("sim/tablet/base/a.cpp", LONG_FUNCTION, 1),
        ("tests/a_test.cpp", LONG_FUNCTION.replace("void F()", "TEST_F(Modem, StartsTwice)"), 1),
        ("vantord/common/a.cpp", "namespace {\nclass A : public B {\n public:\n  A() : b_{1}, c_(2) " + LONG_FUNCTION[8:] + "};\n}\n", 1),
        ("vantord/common/a.h", "template <typename T>\nauto F(T t) const -> std::vector<T> " + LONG_FUNCTION[8:], 1),
    ],
    "tests_neither_sleep_nor_look_at_the_clock": [
        ("tests/a_test.cpp", "void F() { std::this_thread::sleep_for(a); std::time(nullptr); }\n", 2),
        ("tests/testing/a.h", "using Clock = std::chrono::steady_clock;\n", 1),
    ],
    "known_limitations_name_tests_that_exist": [
        ("docs/promises.md", "kept (`Modem.SaysNothing`), `docs.Modem` and\n`Modem.SaysLittle`\n", 1),
    ],
    "deliberate_marks_are_whole": [
        ("vantord/unzip/a.cpp", "// Deliberate: x. Expected: y.\n// Test: Modem.SaysMore\n", 1),
        ("vantord/unzip/a.cpp", "// Deliberate: x. Expected: y.\n// Test: Modem.SaysNothing, loud.story\n", 1),
        ("vantord/unzip/a.h", "int a;\n/// Deliberate: x.\n/// Test: Modem.SaysNothing\nint b;\n", 1),
        ("vantord/unzip/a.cpp", "// Deliberate: x. Expected: y.\n", 1),
        ("vantord/unzip/a.cpp", "/* x. Kept on purpose:\n   y, see quiet.story */\n", 1),
    ],
    "closes_are_left_to_owners": [
        ("vantord/unzip/a.cpp", "void F() { ::CloseHandle(a); RegCloseKey(b); delete c; }\n", 3),
        ("vantord/unzip/a.h", "  ::FindClose(a);  // by hand: a flag decides\n  ::FindClose(b);\n", 1),
    ],
    "formats_match_their_arguments": [
        ("vantord/unzip/a.cpp", 'void F() { DebugPrint(TEXT("%S:%d : a %s"), "F", 1); }\n', 1),
        ("vantord/unzip/a.cpp", 'void F() { DebugPrintZone(ZONE, TEXT("%S:%d : 100 %%"), "F", 1, 2); }\n', 1),
        ("vantord/unzip/a.cpp", 'void F() { FormatWideTo(a, TEXT("%s\\\\%-*.*s%%%I64x"), b, 1, 2, c); }\n', 1),
        ("vantord/unzip/a.cpp", 'void F() { HelperDebugPrint(TEXT("none"), G(a, b)); }\n', 1),
    ],
    "the_project_speaks_for_itself": [
        ("docs/a.md", "See spec" + ".md, Par" + "t 4.2 of the\n// specif" + "ication\n", 3),
        ("cli/a.cpp", '// DEVELOP' + 'ERS\nauto a = "/wo' + 'rk/main"; auto b = "/ro' + 'ot/x"; // .lib' + 'rary\n', 4),
    ],
    "nothing_is_pending": [("sim/tablet/base/pending_drive.cpp", "\n", 1)],
    "the_picture_shows_every_room": [
        ("docs/images/architecture.svg", PICTURE.replace(">explain<", "><").replace(">tablet/drive<", "><"), 2),
    ],
}


def offences(files):
    sources = [Source(path, text) for path, text in sorted(files.items())]
    return [(rule.__name__, path) for rule in RULES for path, _, _ in rule(sources)]


class Rules(unittest.TestCase):
    def test_a_clean_project_breaks_none(self):
        self.assertEqual(offences(CLEAN), [])

    def test_each_planted_offence_is_found_where_it_is(self):
        for rule, plants in PLANTED.items():
            for path, text, count in plants:
                with self.subTest(rule=rule, text=text[:60]):
                    self.assertEqual(offences({**CLEAN, path: text}), [(rule, path)] * count)

    def test_each_rule_has_a_planted_offence(self):
        self.assertEqual([rule.__name__ for rule in RULES], list(PLANTED))

    def test_limits_are_exact(self):
        self.assertEqual(offences({**CLEAN, "sim/tablet/base/a.cpp": "//\n" * 400}), [])
        self.assertEqual(offences({**CLEAN, "sim/tablet/base/a.cpp": LONG_FUNCTION.replace("  G();\n", "", 1)}), [])

    def test_an_offence_comes_with_its_line(self):
        source = Source("vantord/common/a.cpp", "/* one\n   two */\nint a;\nauto b = L'x';\n")
        self.assertEqual([line for rule in RULES for _, line, _ in rule([source])], [4])


class Functions(unittest.TestCase):
    def heads(self, text):
        return [(first, last, head) for first, last, head in functions(Source("a.cpp", text).code)]

    def test_initializers_types_and_lambdas_are_no_functions(self):
        self.assertEqual(self.heads("namespace a::b {\nint const x[] = {\n {1, F()},\n};\nstruct S {\n int y{0};\n};\n}\n"), [])
        self.assertEqual(self.heads('extern "C" {\nint F(int);\n}\nenum class E : int { a = (1) };\n'), [])
        self.assertEqual(self.heads("int F() {\n  auto g = [] {\n  };\n}\n"), [(1, 4, "int F()")])

    def test_directives_do_not_count_as_braces(self):
        self.assertEqual(self.heads("#define OPEN {\\\n {\nvoid F() {\n}\n"), [(3, 4, "void F()")])


class Program(unittest.TestCase):
    def run_in(self, files):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in files.items():
                file = Path(folder) / path
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text, encoding="utf-8")
            self.assertEqual(len(load(folder)), len([path for path in files if not path.startswith("build/")]))
            return style.main([folder])

    def test_exit_codes(self):
        self.assertEqual(self.run_in(CLEAN), 0)
        self.assertEqual(self.run_in({**CLEAN, "build/a.cpp": LONG_FUNCTION}), 0)
        self.assertEqual(self.run_in({**CLEAN, "sim/tablet/base/a.cpp": LONG_FUNCTION}), 1)
        self.assertEqual(self.run_in({"README.md": ""}), 1)


class Messages(unittest.TestCase):
    def listed(self, body):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "modem" / "a.cpp"
            file.parent.mkdir()
            file.write_text(f'constexpr char kName[] = "C::F";\nvoid Report(int x) {{\n{body}\n}}\n', encoding="utf-8")
            found = messages.of_file(file, Path(folder))
        return [(m["line"], m["module"], m["zone"], m["function"], m["number"], m["text"]) for m in found]

    def test_each_kind_of_call_is_listed(self):
        self.assertEqual(self.listed('DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : a (%d), b"), kName, 7, x);'),
                         [(3, "service", "ZONE_ERROR", "C::F", 7, "a (%d), b")])
        self.assertEqual(self.listed('HelperDebugPrint(\n  TEXT("%S : no number"), "G");'),
                         [(3, "helper", "always", "G", None, "no number")])
        self.assertEqual(self.listed('if (IsZoneOn(ZONE_INFO)) {\n HelperDebugPrint(TEXT("%S:%d : a"), "G", 1);\n}'),
                         [(4, "helper", "ZONE_INFO", "G", 1, "a")])
        self.assertEqual([m[-1] for m in self.listed('FunctionScope const scope("C::F");')], ["C::F: (+)", "C::F: (-)"])
        self.assertEqual(self.listed('WriteDebugger("x");'), [(3, "debugger", "always", "Report", None, "x")])

    def test_what_cannot_be_listed_is_refused_with_its_place(self):
        with self.assertRaisesRegex(ValueError, "a.cpp:3"):
            self.listed("DebugPrint(text, kName, 7);")

    def test_comments_send_nothing(self):
        self.assertEqual(self.listed('// DebugPrint(TEXT("%S:%d : a"), kName, 7);'), [])


if __name__ == "__main__":
    unittest.main()
