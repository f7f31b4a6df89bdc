#!/usr/bin/env python3
"""The workflows for a public CI, which has not run them: are they well formed, and do their commands exist?"""

import json
import re
import subprocess
import sys
import unittest
from pathlib import Path

try:
    import jsonschema
    import yaml
except ImportError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

ROOT = Path(__file__).resolve().parents[2]
PRESETS = json.loads((ROOT / "CMakePresets.json").read_text())
FILES = sorted((ROOT / ".github" / "workflows").glob("*.yml"))

STEP = {
    "type": "object",
    "properties": {
        "name": {"type": "string"},
        "uses": {"type": "string", "pattern": r"^[\w-]+/[\w-]+@v\d+$"},
        "with": {"type": "object", "additionalProperties": {"type": ["string", "boolean", "integer"]}},
        "run": {"type": "string"},
        "shell": {"enum": ["cmd"]},
        "if": {"type": "string"},
    },
    "oneOf": [{"required": ["uses"]}, {"required": ["run"], "not": {"required": ["with"]}}],
    "additionalProperties": False,
}
JOB = {
    "type": "object",
    "properties": {
        "runs-on": {"type": "string"},
        "container": {"type": "string"},
        "needs": {"type": ["string", "array"], "items": {"type": "string"}},
        "if": {"type": "string"},
        "timeout-minutes": {"type": "integer", "maximum": 360},
        "env": {"type": "object"},
        "strategy": {
            "type": "object",
            "properties": {
                "fail-fast": {"type": "boolean"},
                "matrix": {"type": "object", "additionalProperties": {"type": "array", "minItems": 1}},
            },
            "additionalProperties": False,
        },
        "steps": {"type": "array", "items": STEP, "minItems": 1},
    },
    "required": ["runs-on", "steps"],
    "additionalProperties": False,
}
WORKFLOW = {
    "type": "object",
    "properties": {
        "name": {"type": "string"},
        "on": {"type": "object", "minProperties": 1},
        "jobs": {"type": "object", "additionalProperties": JOB, "minProperties": 1},
    },
    "required": ["name", "on", "jobs"],
    "additionalProperties": False,
}


# What vcpkg documents of its manifests, as far as one is written here.
MANIFEST = {
    "type": "object",
    "properties": {
        "name": {"type": "string", "pattern": "^[a-z0-9]+(-[a-z0-9]+)*$"},
        "version": {"type": "string", "pattern": r"^[0-9]+(\.[0-9]+)*$"},
        "dependencies": {"type": "array", "items": {"type": "string", "pattern": "^[a-z0-9-]+$"}},
        "builtin-baseline": {"type": "string", "pattern": "^[0-9a-f]{40}$"},
    },
    "required": ["name", "version", "dependencies", "builtin-baseline"],
    "additionalProperties": False,
}


class Loader(yaml.SafeLoader):
    """Without YAML 1.1's way with `on`, which is a key here and no truth value; a key that comes twice is an error."""

    def construct_mapping(self, node, deep=False):
        keys = [self.construct_object(key, deep=deep) for key, _ in node.value]
        if len(keys) != len(set(keys)):
            raise yaml.constructor.ConstructorError(None, None, f"a key comes twice: {keys}", node.start_mark)
        return super().construct_mapping(node, deep)


Loader.yaml_implicit_resolvers = {
    first: [(tag, pattern) for tag, pattern in resolvers if tag != "tag:yaml.org,2002:bool" or first in "tTfF"]
    for first, resolvers in yaml.SafeLoader.yaml_implicit_resolvers.items()
}


def problems(text):
    """What is wrong with a workflow; nothing, where it is fine."""
    workflow = yaml.load(text, Loader)
    found = [error.message for error in jsonschema.Draft202012Validator(WORKFLOW).iter_errors(workflow)]
    if found:
        return found
    words = set(re.findall(r"^word_(\w+)\(\)", (ROOT / "dev").read_text(), re.M))
    for name, job in workflow["jobs"].items():
        matrix = job.get("strategy", {}).get("matrix", {})
        needs = job.get("needs", [])
        for needed in [needs] if isinstance(needs, str) else needs:
            if needed not in workflow["jobs"]:
                found.append(f"{name} needs {needed}, which is missing")
        for used in re.findall(r"matrix\.(\w+)", str(job)):
            if used not in matrix:
                found.append(f"{name} uses matrix.{used}, which is missing")
        for command in (step["run"] for step in job["steps"] if "run" in step):
            for word in re.findall(r"\./dev (\S+)", command.replace("${{ matrix.word }}", "{matrix}")):
                for one in matrix["word"] if word == "{matrix}" else [word]:
                    if one not in words:
                        found.append(f"{name}: ./dev has no word {one}")
            presets = {preset["name"] for preset in PRESETS["buildPresets"]}
            for preset in re.findall(r"--preset (\S+)", command.replace("${{ matrix.preset }}", "{matrix}")):
                for one in matrix["preset"] if preset == "{matrix}" else [preset]:
                    if one not in presets:
                        found.append(f"{name}: no preset {one}")
            for script in re.findall(r"python3 (\S+)", command):
                if not (ROOT / script).is_file():
                    found.append(f"{name}: {script} is missing")
    return found


class WorkflowsTest(unittest.TestCase):
    def test_every_workflow_is_well_formed_and_names_commands_that_exist(self):
        self.assertEqual([file.name for file in FILES], ["ci.yml", "nightly.yml", "windows.yml"])
        for file in FILES:
            with self.subTest(file=file.name):
                self.assertEqual(problems(file.read_text()), [])

    def test_each_says_that_it_has_never_run(self):
        for file in FILES:
            self.assertIn("has never run", file.read_text())

    def test_mistakes_are_found(self):
        text = (ROOT / ".github/workflows/ci.yml").read_text()
        for right, wrong, said in (
            ("[run, test]", "[run, tests]", "no word tests"),
            ("matrix.word", "matrix.words", "matrix.words"),
            ("    steps:", "    step:", "step"),
            ("actions/checkout@v4", "actions/checkout", "checkout"),
            ("    runs-on:", "    needs: nothing\n    runs-on:", "nothing"),
            ("run: ./dev", "run: cmake --preset no-such-preset && ./dev", "no-such-preset"),
        ):
            with self.subTest(wrong=wrong):
                self.assertIn(right, text)
                self.assertIn(said, " ".join(problems(text.replace(right, wrong))))
        with self.assertRaises(yaml.YAMLError):
            problems(text.replace("runs-on:", "runs-on: a\n    runs-on:"))


class VisualStudioTest(unittest.TestCase):
    def test_cmake_knows_the_presets(self):
        done = subprocess.run(["cmake", "--list-presets=all"], cwd=ROOT, capture_output=True, text=True, check=True)
        for preset in ("windows-msvc-arm64", "windows-msvc-x64"):
            self.assertIn(f'"{preset}"', done.stdout)

    def test_each_takes_the_static_libraries_of_its_machine(self):
        presets = {preset["name"]: preset for preset in PRESETS["configurePresets"]}
        for machine in ("arm64", "x64"):
            preset = presets[f"windows-msvc-{machine}"]
            self.assertEqual(machine, preset["architecture"]["value"])
            self.assertEqual(f"{machine}-windows-static", preset["cacheVariables"]["VCPKG_TARGET_TRIPLET"])

    def test_the_manifest_is_well_formed_and_has_the_projects_version(self):
        manifest = json.loads((ROOT / "vcpkg.json").read_text())
        self.assertEqual([], [error.message for error in jsonschema.Draft202012Validator(MANIFEST).iter_errors(manifest)])
        version = re.search(r"project\(Vantord VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
        self.assertEqual(version, manifest["version"])
        self.assertIn("zlib", manifest["dependencies"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
