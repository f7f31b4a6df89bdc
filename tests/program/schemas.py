#!/usr/bin/env python3
"""Holds the program's JSON documents against their schemas: check.py PROGRAM SCHEMAS

Makes tablets, asks the program for documents of every kind, and validates each. A schema that no document was held
against counts as failed, and so does one that takes a document with a key too many. Exit code 1 when something does not
fit, 77 when python3-jsonschema is missing.
"""

import json
import os
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is missing")
    sys.exit(77)

ROOT = Path(__file__).resolve().parents[2]
SECONDS = 60
SELECT = "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\n"
MARK = "SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83"


class Checker:
    def __init__(self, program, schemas):
        self.program = program
        self.validators, self.seen, self.failures = {}, {}, []
        for path in sorted(Path(schemas).glob("*.schema.json")):
            schema = json.loads(path.read_text(encoding="utf-8"))
            jsonschema.Draft202012Validator.check_schema(schema)
            self.validators[path.name.removesuffix(".schema.json")] = jsonschema.Draft202012Validator(schema)

    def fail(self, text):
        self.failures.append(text)
        print(f"FAILED  {text}")

    def run(self, *arguments):
        return subprocess.run([self.program, *arguments], capture_output=True, text=True, timeout=SECONDS)

    def hold(self, name, document, what):
        self.seen[name] = self.seen.get(name, 0) + 1
        errors = sorted(self.validators[name].iter_errors(document), key=lambda error: list(error.path))
        for error in errors[:3]:
            self.fail(f"{what}: not as {name} has it: {list(error.path)}: {error.message[:300]}")
        if not errors and not list(self.validators[name].iter_errors({**document, "one_key_more": 1})):
            self.fail(f"{what}: {name} also takes what it should not")

    def ask(self, name, code, *arguments):
        """Runs a command with --json and holds the one document that it must print."""
        what = " ".join(arguments)
        result = self.run(*arguments, "--json")
        if result.returncode != code or result.stderr:
            self.fail(f"{what}: exit code {result.returncode}, not {code}; standard error: {result.stderr[:200]!r}")
        try:
            document = json.loads(result.stdout)
        except json.JSONDecodeError as error:
            return self.fail(f"{what}: no single JSON document: {error}")
        if document.get("exit_code") != code:
            self.fail(f"{what}: says exit code {document.get('exit_code')}, not {code}")
        return self.hold(name, document, what)


def odd_archives(folder):
    """Archives that lint has much to say of."""
    with zipfile.ZipFile(folder / "odd.zip", "w") as archive:
        for name in ("../up", "empty", "NUL:", "sub\\x", "X", "x", "dot."):
            archive.writestr(name, b"" if name == "empty" else b"content")
        archive.writestr("bz", b"content", zipfile.ZIP_BZIP2)
    (folder / "none.zip").write_bytes(b"this is no archive")
    with zipfile.ZipFile(folder / "hangs.zip", "w") as archive:
        archive.writestr("a", b"a")
        archive.writestr("b", b"b")
    damaged = bytearray((folder / "hangs.zip").read_bytes())
    damaged[damaged.index(b"PK\x01\x02")] = 0
    (folder / "hangs.zip").write_bytes(damaged)
    with zipfile.ZipFile(folder / "device.zip", "w") as archive:
        archive.writestr("NUL", b"content")


def collected(name):
    """The least that an import takes."""
    Path(name, "C").mkdir(parents=True)
    Path(name, "registry").mkdir()
    Path(name, "collect-tablet.txt").write_text("collect-tablet 1\n", encoding="utf-8")
    Path(name, "registry", "10.reg").write_text(
        SELECT + '"Current"=dword:00000001\n[HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001]\n', encoding="utf-8")


def runs(check):
    for sample in ("fresh", "wifi-only", "already-deployed", "crashed-modem", "crashed-nobody-logged-on",
                   "crashed-two-sessions", "oobe-then-desktop", "no-amss-driver"):
        check.run("init", sample, "--small", "--sample", sample)
        check.ask("run", 0, "run", sample)
    check.ask("run", 0, "run", "fresh", "--save", "kept")
    check.ask("run", 6, "run", "wifi-only", "--until", "5")
    check.ask("run", 0, "run", "fresh", "--fault", "ReadFile@3:ERROR_CRC")
    check.ask("run", 0, "run", "fresh", "--cut-at", "1200")
    check.ask("fault-list", 0, "fault", "list")
    check.ask("error", 3, "run", "nowhere")
    check.ask("error", 2, "run", "fresh", "--untill", "5")
    check.ask("error", 2, "rum")
    check.run("run", "fresh", "--events", "events.jsonl", "--calls")
    kinds = set()
    for number, line in enumerate(Path("events.jsonl").read_text(encoding="utf-8").splitlines(), 1):
        event = json.loads(line)
        # Hundreds of calls are alike: the first of each kind and thread, and every fiftieth, will do.
        key = (event["kind"], event["thread"], event.get("name"))
        if key not in kinds or number % 50 == 0:
            check.hold("event", event, f"events.jsonl:{number}")
        kinds.add(key)
    missing = {"trace", "status", "event", "debugger", "call"} - {kind for kind, *_ in kinds}
    if missing:
        check.fail(f"events.jsonl: no events of the kinds {sorted(missing)}")


def others(check):
    odd_archives(Path())
    check.ask("select", 0, "select", "fresh")
    check.ask("select", 0, "select", "wifi-only")
    check.ask("select-matrix", 0, "select", "--matrix", "fresh")
    check.ask("lint", 0, "lint", "fresh/C/Windows/System32/modem_core/VZW.bin", "--tablet", "fresh")
    check.ask("lint", 5, "lint", "odd.zip", "none.zip", "hangs.zip", "device.zip")
    check.ask("error", 3, "lint", "missing.zip")
    check.ask("verify", 5, "verify", "fresh")
    check.ask("verify", 0, "verify", "kept")
    check.ask("verify", 5, "verify", "kept", "--archive", "none.zip")
    Path("kept", "efi", MARK).write_bytes(b"\7\0\0\0KOR")
    check.ask("diff", 5, "diff", "fresh", "kept")
    check.ask("diff", 0, "diff", "fresh", "fresh")
    check.ask("error", 3, "diff", "fresh", "nowhere")
    for file in sorted((ROOT / "tests" / "worlds").glob("*.zip")):
        check.ask("world", check.run("world", str(file)).returncode, "world", str(file))
        check.hold("kit-result", json.loads(zipfile.ZipFile(file).read("result.json")), file.name)
    Path("parts").mkdir()
    Path("parts", "qcdsp1v2850.mbn").write_bytes(b"firmware")
    check.ask("pack", 0, "pack", "parts", "new.bin")
    check.ask("error", 3, "pack", "parts", "new.bin")
    check.ask("diff-packages", 5, "diff", "new.bin", "odd.zip")
    check.ask("diff-packages", 0, "diff", "new.bin", "new.bin")
    check.ask("validate", 0, "validate", "fresh")
    Path("kept", "efi", "odd").write_bytes(b"")
    check.ask("validate", 3, "validate", "kept")
    check.ask("explain", 0, "explain", "events.jsonl", "--tablet", "fresh")
    lines = Path("events.jsonl").read_text(encoding="utf-8").splitlines()
    Path("cut.jsonl").write_text("\n".join(line for line in lines if "Unzipping" not in line), encoding="utf-8")
    check.ask("explain", 5, "explain", "cut.jsonl", "--tablet", "fresh")
    check.ask("error", 3, "explain", "odd.zip")
    check.ask("collect", 0, "collect", "fresh", "-o", "plain.zip")
    check.ask("collect", 0, "collect", "fresh", "-o", "redacted.zip", "--redact")
    check.ask("replay", 0, "replay", "plain.zip")
    check.ask("error", 3, "replay", "none.zip")
    collected("collected")
    check.ask("import", 0, "import", "collected", "imported")
    check.ask("error", 3, "import", "nowhere", "imported")
    Path("imported", "C", "new.txt").write_bytes(b"new")
    Path("imported", "registry", "50.reg").write_text(SELECT + '"Default"=dword:00000001\n', encoding="utf-8")
    check.ask("export", 0, "export", "imported", "-o", "exported")
    check.ask("error", 3, "export", "fresh", "-o", "exported")
    check.ask("sweep", 0, "sweep", "wifi-only", "--only", "schedule", "--schedules", "3")
    Path("a.story").write_text("# One.\n# Two.\n# Three.\ntablet wifi-only\nboot quietly\n", encoding="utf-8")
    check.ask("story", 5, "story", "a.story")
    check.run("story", "--rewrite", "a.story")
    check.ask("story", 0, "story", "a.story")


POLICY = {
    "$schema": "check-policy.schema.json",
    "schema": 1,
    "archives": {"codes": {"VZW": "VZW.bin", "*": "fail"}, "ids": {"ATT": "ATT.bin"}, "none": "VZW.bin"},
    "allow": [{"id": "archive-unused", "reason": "kept", "place": "OLD.bin"}],
    "free_bytes": 1000,
    "max_deployment_bytes": 1000,
    "versions": {"VZW.bin": {"modem_fw/release.txt": "2.0.1"}},
}


def checks(check):
    """A check with findings of many kinds, its SARIF, and its policy; the page's list against the program's."""
    check.run("init", "checked", "--small")
    check.ask("check", 0, "check", "checked")
    archives = Path("checked/C/Windows/System32/modem_core")
    (archives / "OLD.bin").write_bytes(b"old")
    (archives / "ATT.bin").write_bytes(Path("odd.zip").read_bytes())
    (archives / "KOR.bin").unlink()
    Path("checked/vantord-check.json").write_text(json.dumps(POLICY), encoding="utf-8")
    check.hold("check-policy", POLICY, "the policy")
    check.ask("check", 5, "check", "checked", "--sarif", "checked.sarif")
    check.ask("check", 3, "check", "checked", "nowhere")
    sarif = json.loads(Path("checked.sarif").read_text(encoding="utf-8"))
    check.hold("check-sarif", sarif, "checked.sarif")
    page = (Path(__file__).resolve().parents[2] / "docs" / "check.md").read_text(encoding="utf-8")
    for rule in sarif["runs"][0]["tool"]["driver"]["rules"]:
        row = f"| `{rule['id']}` | {rule['defaultConfiguration']['level']} | {rule['shortDescription']['text']} |"
        if row not in page:
            check.fail(f"docs/check.md lacks the row {row}")


def main(program, schemas):
    check = Checker(str(Path(program).resolve()), Path(schemas).resolve())
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        runs(check)
        others(check)
        checks(check)
        os.chdir("/")
    for name in check.validators:
        if not check.seen.get(name):
            check.fail(f"no document was held against {name}")
    print(f"{sum(check.seen.values())} documents, {len(check.validators)} schemas, {len(check.failures)} failures")
    return 1 if check.failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
