#!/usr/bin/env python3
"""Tests that the package's INFs follow the rules, and that each rule finds its fault: test_inf_rules.py FOLDER.

FOLDER is the package. A planted fault is one change of a real INF.
"""

import sys
import unittest
from pathlib import Path

import inf_rules
from inf import Inf

PACKAGE = None  # set by main
COMPONENT, TRIGGER, STANDALONE = "component", "component-trigger", "standalone"
ARCHITECTURES = {0xAA64: {"ntarm64"}, 0x8664: {"ntamd64"}}


def text(name):
    return (PACKAGE / name / "vantord.inf").read_bytes().decode("ascii").replace("\r\n", "\n")


def machine(program):
    header = int.from_bytes(program[0x3C:0x40], "little")
    return int.from_bytes(program[header + 4 : header + 6], "little")


class Package(unittest.TestCase):
    def test_every_inf_follows_the_rules(self):
        for name in (COMPONENT, TRIGGER, STANDALONE):
            self.assertEqual([], inf_rules.faults(text(name)), name)

    def test_there_is_no_other_inf(self):
        found = {str(file.relative_to(PACKAGE)) for file in PACKAGE.rglob("*.inf")}
        self.assertEqual({f"{name}/vantord.inf" for name in (COMPONENT, TRIGGER, STANDALONE)}, found)

    def test_each_driver_package_is_for_the_machine_of_its_program(self):
        for name in (COMPONENT, TRIGGER, STANDALONE):
            program = (PACKAGE / name / "Vantord.exe").read_bytes()
            self.assertEqual(ARCHITECTURES[machine(program)], inf_rules.architectures(Inf(text(name))), name)


class PlantedFaults(unittest.TestCase):
    """Each test plants one fault and expects that fault alone."""

    def plant(self, name, old, new, *expected):
        original = text(name)
        self.assertEqual(1, original.count(old), f"{old!r} in {name}")
        found = inf_rules.faults(original.replace(old, new))
        self.assertEqual(len(expected), len(found), found)
        for part, fault in zip(expected, found):
            self.assertIn(part, fault)

    def architecture(self):
        return next(iter(inf_rules.architectures(Inf(text(COMPONENT))))).replace("nt", "NT")

    def plant_end(self, name, added, *expected):
        self.plant(name, "[Strings]\n", added + "\n[Strings]\n", *expected)

    def test_version(self):
        plant = lambda *arguments: self.plant(COMPONENT, *arguments)  # noqa: E731
        plant("$WINDOWS NT$", "$Linux$", "1001")
        plant("Class       = SoftwareComponent\n", "", "no class")
        plant("{5c4c3332-344d-483c-8739-259e934c9cc8}", "{5c4c3332}", "no classguid")
        plant("Provider    = %Provider%\n", "Provider    =\n", "no provider")
        plant("CatalogFile = vantord.cat\n", "", "1233")
        plant('Provider    = "Vantord"', 'Provider    = "Microsoft"', "1204")
        plant("PnpLockdown = 1\n", "", "pnplockdown")
        plant("DriverVer   = ", "DriverVer   = 2026-", "no driverver")

    def test_a_device_and_a_default_install(self):
        own = f"[DefaultInstall.{self.architecture()}]\nCopyFiles = Vantord_Files\n"
        self.plant_end(COMPONENT, own, "1212")

    def test_nothing_to_install(self):
        faults = inf_rules.faults(text(STANDALONE).replace("[DefaultInstall.", "[Install."))
        self.assertIn("neither [Manufacturer] nor [DefaultInstall]: nothing to install", faults)

    def test_an_undecorated_default_install(self):
        self.plant_end(STANDALONE, "[DefaultInstall]\nCopyFiles = Vantord_Files\n", "[defaultinstall] has no architecture")

    def test_an_uninstall_that_windows_would_execute(self):
        self.plant(STANDALONE, "LegacyUninstall = 1\n", "", "has no LegacyUninstall", "1302", "1302")

    def test_undecorated_models(self):
        faults = inf_rules.faults(text(COMPONENT).replace(f", {self.architecture()}\n", "\n", 1).replace(
            f"[Vantord_Models.{self.architecture()}]", "[Vantord_Models]"))
        self.assertIn("2223: the models [vantord_models] have no architecture", faults)

    def test_a_second_architecture(self):
        self.plant_end(STANDALONE, "[DefaultInstall.NTx86]\nCopyFiles = Vantord_Files\n", "2 architectures")

    def test_a_section_that_does_not_exist(self):
        self.plant(COMPONENT, "AddReg        = Vantord_Registry", "AddReg        = Vantord_Registri",
                   "1203: addreg names [vantord_registri]", "2083: nothing names [vantord_registry]")

    def test_a_section_that_two_directives_name(self):
        self.plant(STANDALONE, "DelFiles = Vantord_Removed_Files\n", "DelFiles = Vantord_Files\n",
                   "2083: nothing names [vantord_removed_files]", "1205: [vantord_files]")

    def test_a_file_without_a_source(self):
        self.plant(COMPONENT, "[SourceDisksFiles]\nVantord.exe = 1\n", "[SourceDisksFiles]\n", "1230: Vantord.exe")
        self.plant(COMPONENT, "Vantord.exe = 1\n", "Vantord.exe = 2\n", "disk 2")

    def test_a_file_outside_of_the_system(self):
        faults = inf_rules.faults(text(COMPONENT).replace("DefaultDestDir = 11", "DefaultDestDir = 24"))
        self.assertEqual(2, len(faults))
        self.assertIn("1306", faults[0])
        self.assertIn("copied to another folder", faults[1])

    def test_a_string_that_is_not_defined(self):
        self.plant(COMPONENT, 'Disk        = "Vantord package"\n', "", "1235: %disk%")

    def test_a_key_outside_of_the_service(self):
        self.plant(COMPONENT, "HKR,Parameters,,0x00000010", r"HKLM,SOFTWARE\Vantord,,0x00000010", "1304")

    def test_no_function_driver_or_two(self):
        self.plant(COMPONENT, "AddService = ,2\n", "", "associates 0 services")
        self.plant(COMPONENT, "AddService = Vantord, , ", "AddService = Vantord, 2, ", "associates 2 services")

    def test_an_incomplete_service(self):
        for line, key in (("ServiceType   = 0x10\n", "servicetype"), ("StartType     = 2\n", "starttype"),
                          ("ErrorControl  = 1\n", "errorcontrol")):
            self.plant(COMPONENT, line, "", f"has no {key}")
        self.plant(COMPONENT, "%11%\\Vantord.exe", "%11%\\Vantor.exe", "not a file that is copied")
        self.plant(COMPONENT, "%11%\\Vantord.exe", "%13%\\Vantord.exe", "copied to another folder than %13%")

    def test_a_start_on_demand_that_nobody_demands(self):
        self.plant(COMPONENT, "StartType     = 2", "StartType     = 3", "nothing starts it")
        self.plant(TRIGGER, "StartType     = 3", "StartType     = 2", "starts without it")

    def test_a_trigger_that_is_none(self):
        self.plant(TRIGGER, "Action      = 1", "Action      = 2", "is no start")
        self.plant(TRIGGER, "{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}", "modem", "no class of device interfaces")

    def test_a_trigger_for_a_windows_that_ignores_it(self):
        faults = inf_rules.faults(text(TRIGGER).replace("...19041", "...18362"))
        self.assertEqual(1, len(faults), faults)
        self.assertIn("ignores AddTrigger", faults[0])

    def test_a_component_that_removes_files(self):
        self.plant(COMPONENT, "AddService = ,2\n", "AddService = ,2\nDelService = Vantord\n", "1302")


if __name__ == "__main__":
    PACKAGE = Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
