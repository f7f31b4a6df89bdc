"""The rules of this project's sources. Each takes all sources and yields (path, line, message) of each offence."""

import re

from calls import arguments, literal
from functions import functions
from source import DELIBERATE, line_of

LINES_PER_FILE = 400
LINES_PER_FUNCTION = 70

# The rooms of each wing, lowest first. A room may include itself and every room of a lower line; rooms of one line do not
# see each other.
LAYERS = {
    "vantord": (
        ("common",),
        ("radio", "uefi", "device", "crash", "unzip"),
        ("modem",),
        ("service",),
    ),
    "sim": (
        ("tablet/base",),
        ("tablet/kernel",),
        ("tablet/drive", "tablet/registry", "tablet/devices", "tablet/system"),
        ("tablet/description",),
        ("tablet/machine",),
        ("tablet/folder",),
        ("winapi",),
    ),
    "cli": (
        ("base",),
        ("samples", "export"),
        ("import",),
        ("boot", "validate"),
        ("output", "archive"),
        ("select", "sweep"),
        ("report", "compare"),
        ("run", "bundle", "explain", "check", "world"),
        ("story",),
        ("commands",),
        ("",),
    ),
    "kit": (
        ("result",),
        ("machine",),
        ("check",),
        ("service",),
        ("questions",),
        ("run",),
        ("",),
    ),
}
# Whom a wing may include besides itself.
WINGS = {
    "vantord": (),
    "sim": (),
    "cli": ("vantord", "sim", "kit"),
    "kit": ("vantord", "tests"),
    "tests": ("vantord", "sim", "cli", "bench", "kit"),
    "bench": ("vantord", "sim", "cli", "tests"),
    "cmake": (),
}
# The one include from the simulation to the service: the radio library's declarations, which both must share.
SHARED_DECLARATIONS = {("sim/winapi", "vantord/radio/kavrilproxy.h")}

SYSTEM_MACROS = re.compile(
    r"\b(?:_?WIN(?:32|64)|__(?:WIN32|WIN64|WINNT|WINDOWS)__|_?_?MINGW\w*|__CYGWIN__|_MSC_VER|_M_\w+|"
    r"_?_?linux_?_?|_?_?unix_?_?|__gnu_linux__|__APPLE__|__MACH__|_POSIX\w*|VANTORD_WINDOWS_H)\b"
)
WIDE = re.compile(
    r"""\bL["']|\bLR"|\bwchar_t\b|"""
    r"\bstd::(?:wstring\w*|w[io]?stringstream|w[io]?fstream|wcout|wcerr|wclog|wcin|basic_\w*stream\s*<\s*WCHAR)\b"
)
BUILD_MACROS = re.compile(r"\b__(?:LINE|DATE|TIME|TIMESTAMP|COUNTER)__\b")
# What GNU's compiler and those that follow it take, and MSVC does not.
GNU_WORDS = re.compile(
    r"\b__(?:attribute|extension|typeof|asm|label|real|imag|auto_type|int128|builtin_\w+|PRETTY_FUNCTION)(?:__)?\b|"
    r"\b(?:typeof|asm|alloca|ssize_t)\b|"
    r"\(\s*\{[^{}]*;|\?\s*:(?!:)|\bgoto\s*\*|\bcase\s+[^:;?]+\.\.\.|[{,]\s*\[\s*\w+\s*\]\s*=(?!=)|"
    r"(?:^|[;{])\s*(?!return\b)[\w:]+\s+\w+\s*\[\s*0\s*\]\s*;",
    re.M,
)
GNU_DIRECTIVES = re.compile(
    r"#\s*(?:include_next\b|import\b|ident\b|pragma\s+(?:GCC|clang)\b|include\s*<(?:bits/|unistd\.h|sys/|ext/))|"
    r"#\s*define\s+\w+\([^)]*\w\.\.\.|,\s*##\s*__VA_ARGS__"
)
CLOCKS = re.compile(
    r"\b(?:sleep_for|sleep_until|usleep|nanosleep|system_clock|steady_clock|high_resolution_clock|"
    r"clock_gettime|gettimeofday)\b|(?<![\w.>:])(?:std::|::)?(?:time|sleep)\s*\("
)
# Letters in brackets keep these patterns from finding themselves.
WORKPLACE = re.compile(
    r"\bspec\.m[d]\b|\b(?:readings|prototypes|anchors|design)\.m[d]\b|\bParts? [1-7]\.[1-9]\b|"
    r"\bthe[\s/*#]+specificatio[n]\b|/wor[k]/|/roo[t]/|\.librar[y]\b|\bshared/(?:tables|tools|hooks)\b|"
    r"\b(?:L{1,2}M|Claud[e]|Anthropi[c]|ChatGP[T]|AI (?:agent|assistant)s?)\b",
    re.I,
)
WORKPLACE_CASE = re.compile(r"\bDEVELOPER[S]\b")
TEST = re.compile(r"^\s*(?:TEST|TEST_F|TEST_P|TYPED_TEST)\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.M)
MARK = re.compile(r"\b(?:Deliberate:|Kept on purpose\b)")
CLOSE = re.compile(
    r"\b((?:CloseHandle|RegCloseKey|FindClose|CloseServiceHandle|SetupDiDestroyDeviceInfoList|LocalFree|HeapFree|"
    r"DestroyEnvironmentBlock)(?=\s*\()|(?<!=\s)delete\b)"
)
# The routines that take a format, and which of their arguments it is.
FORMATTED = re.compile(r"\b(DebugPrintZone|HelperDebugPrint|DebugPrint|FormatWideTo)\s*\(")
FORMATTED_AFTER = {"DebugPrintZone": 1, "HelperDebugPrint": 0, "DebugPrint": 0, "FormatWideTo": 1}
CONVERSION = re.compile(r"%[-+ #0]*(?:\*|\d+)?(?:\.(?:\*|\d+))?(?:hh|h|ll|l|w|I64|I32|I)?[a-zA-Z]")


def _matches(pattern, source, text):
    for match in pattern.finditer(text):
        yield source.path, line_of(text, match.start()), " ".join(match[0].split())


def _room(path):
    """(wing, room, layer) of a file's path; the layer is None where LAYERS does not list the room."""
    wing, _, rest = path.partition("/")
    folder = rest.rpartition("/")[0]
    for layer, rooms in enumerate(LAYERS.get(wing, ())):
        for room in rooms:
            if folder == room or (room and folder.startswith(room + "/")):
                return wing, room, layer
    return wing, folder, None


def _may_include(source_path, target_path):
    wing, room, layer = _room(source_path)
    target_wing, target_room, target_layer = _room(target_path)
    if (f"{wing}/{room}", target_path) in SHARED_DECLARATIONS:
        return True
    if wing != target_wing:
        return target_wing in WINGS[wing]
    return wing not in LAYERS or room == target_room or (target_layer is not None and target_layer < layer)


def includes_run_one_way(sources):
    for source in sources:
        if not source.is_cpp:
            continue
        wing, room, layer = _room(source.path)
        if wing in LAYERS and layer is None:
            yield source.path, 1, f"{wing}/{room}/ is not listed in LAYERS of scripts/style/rules.py"
            continue
        for line, name, quoted in source.includes:
            target = name.partition("/")[0]
            if wing not in WINGS:
                yield source.path, line, f"{wing}/ is not listed in WINGS of scripts/style/rules.py"
            elif ".." in name.split("/") or (quoted and target not in WINGS):
                yield source.path, line, f'"{name}" is not a path from the project\'s top folder'
            elif target in WINGS and not _may_include(source.path, name):
                yield source.path, line, f"{wing}/{room} may not include {name}"


def the_tablet_knows_no_windows_headers(sources):
    prefix = "sim/winapi/include/"
    headers = {source.path[len(prefix) :] for source in sources if source.path.startswith(prefix)}
    for source in sources:
        if source.path.startswith("sim/tablet/"):
            for line, name, _ in source.includes:
                if name in headers:
                    yield source.path, line, f"sim/tablet/ may not include <{name}>"


def products_are_the_same_on_every_system(sources):
    for source in sources:
        for line, text in source.directives if source.is_product else ():
            if re.match(r"#\s*(?:if|ifdef|ifndef|elif)\b", text) and SYSTEM_MACROS.search(text):
                yield source.path, line, f"asks for the operating system: {text}"


def wide_text_is_windows_own(sources):
    for source in sources:
        for path, line, text in _matches(WIDE, source, source.code) if source.is_product else ():
            yield path, line, f'{text}: write TEXT("...") and WCHAR'


def every_windows_compiler_takes_the_product(sources):
    for source in sources:
        if not source.is_product:
            continue
        for path, line, text in _matches(GNU_WORDS, source, source.code):
            yield path, line, f"{text} is not standard C++, and not every Windows compiler takes it"
        for line, text in source.directives:
            if GNU_DIRECTIVES.search(text):
                yield source.path, line, f"not every Windows compiler takes it: {text}"


def errors_are_raised_one_way(sources):
    for source in sources:
        if not source.is_product:
            continue
        allowed = r"-1|error" if source.path.endswith("/error.h") else r"-1"
        for match in re.finditer(rf"\bthrow\b(?!\s+(?:{allowed})\s*;)[^;]*", source.code):
            yield source.path, line_of(source.code, match.start()), f"{match[0]}: use RaiseError"


def builds_do_not_depend_on_when_and_where(sources):
    for source in sources:
        for path, line, text in _matches(BUILD_MACROS, source, source.code) if source.is_product else ():
            yield path, line, f"{text} changes from build to build"


def files_are_short(sources):
    for source in sources:
        lines = source.text.count("\n")
        if lines > LINES_PER_FILE and (source.is_cpp or source.path.endswith((".py", ".cmake")) or source.path == "dev"):
            yield source.path, lines, f"{lines} lines, {LINES_PER_FILE} are enough"


def functions_are_short(sources):
    for source in sources:
        for first, last, head in functions(source.code) if source.is_cpp else ():
            if last - first + 1 > LINES_PER_FUNCTION:
                yield source.path, first, f"{last - first + 1} lines, {LINES_PER_FUNCTION} are enough: {head[-80:]}"


def tests_neither_sleep_nor_look_at_the_clock(sources):
    for source in sources:
        if source.is_cpp and source.folder == "tests":
            for path, line, text in _matches(CLOCKS, source, source.code):
                yield path, line, f"{text} depends on the real clock"


def tests_of(sources):
    """ "Suite.Name" of every test that is written in C++. """
    return {f"{suite}.{name}" for source in sources if source.folder == "tests" for suite, name in TEST.findall(source.text)}


def known_limitations_name_tests_that_exist(sources):
    tests = tests_of(sources)
    for source in sources:
        if source.path != "docs/promises.md":
            continue
        for found in re.finditer(r"`([A-Z]\w+\.[A-Z]\w+)`", source.text):
            if found[1] not in tests:
                yield source.path, line_of(source.text, found.start()), f"no such test: {found[1]}"


def deliberate_marks_are_whole(sources):
    tests = tests_of(sources) | {source.path.rpartition("/")[2] for source in sources if source.path.endswith(".story")}
    for source in sources:
        for first, text in source.comments if source.is_cpp else ():
            whole = {mark.start(0): mark[3] for mark in DELIBERATE.finditer(text)}
            for mark in MARK.finditer(text):
                line = first + text.count("\n", 0, mark.start())
                names = whole.get(text.rfind("\n", 0, mark.start()) + 1)
                if mark[0] != "Deliberate:" or names is None:
                    yield source.path, line, f"{mark[0]} write Deliberate: ... Expected: ..., then a line Test: Suite.Name"
                for name in re.split(r",\s+", names or ""):
                    if name and name not in tests:
                        yield source.path, line, f"no such test: {name}"


def closes_are_left_to_owners(sources):
    for source in sources:
        if not source.is_product or source.path == "vantord/common/handles.h":
            continue
        for match in CLOSE.finditer(source.code):
            line = line_of(source.code, match.start())
            if "by hand:" not in source.text.split("\n")[line - 1]:
                yield source.path, line, f"{match[1]}: an owner of vantord/common/handles.h does it"


def formats_match_their_arguments(sources):
    for source in sources:
        for match in FORMATTED.finditer(source.without_comments) if source.is_product else ():
            parts = arguments(source.without_comments, match.end() - 1)
            parts = parts[FORMATTED_AFTER[match[1]] :]
            text = literal(parts[0])
            if text is None:
                continue  # a declaration, or a text that is passed on
            wanted = sum(1 + found[0].count("*") for found in CONVERSION.finditer(text.replace("%%", "")))
            if wanted != len(parts) - 1:
                line = line_of(source.text, match.start())
                yield source.path, line, f"{wanted} conversions and {len(parts) - 1} arguments: {text}"


def the_project_speaks_for_itself(sources):
    for source in sources:
        for pattern in (WORKPLACE, WORKPLACE_CASE):
            for path, line, text in _matches(pattern, source, source.text):
                yield path, line, f"{text}: say it without pointing outside of the project"


def nothing_is_pending(sources):
    for source in sources:
        if source.path.rpartition("/")[2].startswith("pending_"):
            yield source.path, 1, "is a placeholder for something missing"


def the_picture_shows_every_room(sources):
    for source in sources:
        if source.path == "docs/images/architecture.svg":
            for wing, layers in LAYERS.items():
                for room in sum(layers, ()):
                    if room and f">{room}<" not in source.text and f">{room.rpartition('/')[2]}<" not in source.text:
                        yield source.path, 1, f"the room {wing}/{room} is not in the picture"


RULES = (
    includes_run_one_way,
    the_tablet_knows_no_windows_headers,
    products_are_the_same_on_every_system,
    wide_text_is_windows_own,
    every_windows_compiler_takes_the_product,
    errors_are_raised_one_way,
    builds_do_not_depend_on_when_and_where,
    files_are_short,
    functions_are_short,
    tests_neither_sleep_nor_look_at_the_clock,
    known_limitations_name_tests_that_exist,
    deliberate_marks_are_whole,
    closes_are_left_to_owners,
    formats_match_their_arguments,
    the_project_speaks_for_itself,
    nothing_is_pending,
    the_picture_shows_every_room,
)
