"""The rules of Microsoft's pages for INF files that the INFs of this package could break: faults(text).

Each rule names its page below https://learn.microsoft.com/windows-hardware/drivers/. The numbers are those with which
InfVerif reports the fault (devtest/inf-validation-errors-and-warnings). InfVerif itself is not available here; these
rules are written from the pages and have not been compared with it.
"""

import re
from collections import Counter

from inf import Inf

ARCHITECTURES = ("ntx86", "ntamd64", "ntarm", "ntarm64")
# Directives whose parts name sections, by the kind of the section that holds them.
SECTION_NAMES = {"copyfiles", "delfiles", "addreg", "delreg", "addtrigger", "needs"}
KNOWN = {"version", "sourcedisksnames", "sourcedisksfiles", "destinationdirs", "manufacturer", "strings"}
SERVICE_KEYS = ("servicetype", "starttype", "errorcontrol", "servicebinary")
GUID = re.compile(r"\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\}", re.I)
# Folders below %SystemRoot% and the driver store.
SYSTEM_FOLDERS = {"10", "11", "12", "13"}
# Windows 10 version 2004.
TRIGGERS_SINCE = 19041


def faults(text):
    """Everything that is wrong, one line each."""
    inf = Inf(text)
    return [fault for rule in RULES for fault in rule(inf)]


def architectures(inf):
    """Those that the names of sections are decorated with, in lower case."""
    parts = (part for name in inf.sections for part in name.split(".")[1:])
    return {part for part in parts if part in ARCHITECTURES}


def entries(inf, kind):
    """[(name, decorated)] of the sections DefaultInstall or DefaultUninstall, without their parts such as .Services."""
    names = [name for name in inf.sections if name.split(".")[0] == kind]
    return [(name, len(name.split(".")) > 1 and name.split(".")[1] in ARCHITECTURES)
            for name in names if not name.endswith(".services")]


def _models(inf):
    """[(models section, target)] as [Manufacturer] lists them; the target is empty for an undecorated one."""
    for _, (name, *targets) in inf.lines("manufacturer"):
        yield from ((f"{name}.{target}".lower(), target.lower()) for target in targets) if targets else [(name.lower(), "")]


def _installed(inf):
    """Install sections of devices: those that the models name, with the architecture of the models."""
    for models, target in _models(inf):
        for _, parts in inf.lines(models):
            plain, decorated = parts[0].lower(), f"{parts[0]}.{target.split('.')[0]}".lower()
            yield decorated if decorated in inf.sections else plain


def _services(inf):
    """[(service install section, its section .Services)]"""
    for name in inf.sections:
        if name.endswith(".services"):
            yield from ((parts[2].lower(), name) for parts in inf.get(name, "addservice") if len(parts) > 2)


def _references(inf):
    """[(section that is named, what names it)]"""
    for models, _ in _models(inf):
        yield models, "Manufacturer"
    for section in _installed(inf):
        yield section, "Models"
        yield f"{section}.services", "DDInstall"
    for kind in ("defaultinstall", "defaultuninstall"):
        for name, _ in entries(inf, kind):
            yield name, kind
            if f"{name}.services" in inf.sections:
                yield f"{name}.services", kind
    for name, _ in _services(inf):
        yield name, "AddService"
    for section, lines in inf.sections.items():
        for key, parts in lines:
            if key in SECTION_NAMES:
                yield from ((part.lower(), key) for part in parts if not part.startswith("@"))


# install/inf-version-section; develop/creating-a-primitive-driver ("The Version section must be complete")
def version_is_complete(inf):
    found = dict(inf.lines("version"))
    if found.get("signature", [""])[0].lower() not in ("$windows nt$", "$chicago$"):
        yield "1001: [Version] has no signature of Windows"
    for key in ("class", "provider"):
        if not found.get(key, [""])[0]:
            yield f"[Version] has no {key}"
    if not GUID.fullmatch(found.get("classguid", [""])[0]):
        yield "[Version] has no classguid"
    if not found.get("catalogfile", [""])[0].endswith(".cat"):
        yield "1233: [Version] names no catalog, so it cannot be signed"
    date, version = (found.get("driverver", []) + ["", ""])[:2]
    if not re.fullmatch(r"\d\d/\d\d/\d{4}", date) or not re.fullmatch(r"\d+(\.\d+){3}", version):
        yield "[Version] has no driverver of the form mm/dd/yyyy,w.x.y.z"
    if found.get("pnplockdown") != ["1"]:
        yield "[Version] does not set pnplockdown to 1"
    if found.get("provider", [""])[0].lower() == "microsoft":
        yield "1204: the provider is Microsoft"


# devtest/inf-validation-errors-and-warnings; install/inf-defaultinstall-section
def device_or_not(inf):
    if "manufacturer" in inf.sections and entries(inf, "defaultinstall"):
        yield "1212: both [Manufacturer] and [DefaultInstall]"
    if "manufacturer" not in inf.sections and not entries(inf, "defaultinstall"):
        yield "neither [Manufacturer] nor [DefaultInstall]: nothing to install"


# develop/creating-a-primitive-driver (decorated; DefaultUninstall only with LegacyUninstall)
def primitive_driver(inf):
    for kind in ("defaultinstall", "defaultuninstall"):
        for name, decorated in entries(inf, kind):
            if not decorated:
                yield f"[{name}] has no architecture"
    for name, _ in entries(inf, "defaultuninstall"):
        if inf.get(name, "legacyuninstall") != [["1"]]:
            yield f"[{name}] has no LegacyUninstall=1"


# install/inf-manufacturer-section (decoration, models for each target); 2223
def models_are_decorated(inf):
    for section, target in _models(inf):
        if target.split(".")[0] not in ARCHITECTURES:
            yield f"2223: the models [{section}] have no architecture"


# A package is made for one machine: its folder holds one program.
def one_architecture(inf):
    found = sorted(architectures(inf))
    if len(found) != 1:
        yield f"one program, but {len(found)} architectures: {', '.join(found)}"


# devtest/inf-validation-errors-and-warnings
def sections_are_there_and_used(inf):
    named = list(_references(inf))
    for section, by in named:
        if section not in inf.sections:
            yield f"1203: {by} names [{section}], which does not exist"
    for section in sorted(inf.sections.keys() - {section for section, _ in named} - KNOWN):
        yield f"2083: nothing names [{section}]"
    directives = {section: {by for name, by in named if name == section} for section, _ in named}
    for section, by in directives.items():
        if len(by) > 1:
            yield f"1205: [{section}] is named by {' and '.join(sorted(by))}"


# install/inf-sourcedisksfiles-section, install/inf-destinationdirs-section; 1230, 1306
def files_have_a_source_and_a_target(inf):
    disks = {key for key, _ in inf.lines("sourcedisksnames")}
    sources = dict(inf.lines("sourcedisksfiles"))
    targets = dict(inf.lines("destinationdirs"))
    for section in {part.lower() for lines in inf.sections.values() for key, parts in lines if key == "copyfiles" for part in parts}:
        target = targets.get(section, targets.get("defaultdestdir", [""]))[0]
        if target not in SYSTEM_FOLDERS:
            yield f"1306: the files of [{section}] go to {target or 'no folder'}, not below the system's folder"
        for _, (file, *_) in inf.lines(section):
            if file.lower() not in sources:
                yield f"1230: {file} is not in [SourceDisksFiles]"
            elif sources[file.lower()][0] not in disks:
                yield f"{file} is on disk {sources[file.lower()][0]}, which [SourceDisksNames] does not have"


# install/inf-strings-section; 1235
def strings_are_defined(inf):
    for name in sorted(inf.used_strings - {key for key, _ in inf.lines("strings")}):
        yield f"1235: %{name}% is not in [Strings]"


# install/inf-addreg-directive; 1221, 1304
def registry_is_relative(inf):
    for parts in (parts for lines in inf.sections.values() for key, parts in lines if key == "addreg"):
        for section in parts:
            for _, (root, *_) in inf.lines(section):
                if root.upper() != "HKR":
                    yield f"1304: [{section}] writes below {root}, not below HKR"


# install/inf-addservice-directive ("exactly one associated service"); 1296
def devices_have_one_function_driver(inf):
    for section in _installed(inf):
        services = inf.get(f"{section}.services", "addservice")
        associated = [parts for parts in services if int((parts + ["", "0"])[1] or "0", 0) & 2]
        if len(associated) != 1:
            yield f"1296: [{section}.services] associates {len(associated)} services with the device"


# install/inf-addservice-directive (what a service install section must have, and where its program must be)
def services_are_complete(inf):
    copied = {file.lower() for lines in inf.sections.values() for key, parts in lines if key == "copyfiles"
              for part in parts for _, (file, *_) in inf.lines(part)}
    targets = dict(inf.lines("destinationdirs"))
    for section, _ in _services(inf):
        found = dict(inf.lines(section))
        for key in SERVICE_KEYS:
            if key not in found:
                yield f"[{section}] has no {key}"
        folder, _, file = found.get("servicebinary", [""])[0].partition("\\")
        if file and file.lower() not in copied:
            yield f"[{section}]: {file} is not a file that is copied"
        if file and folder.strip("%") not in {parts[0] for parts in targets.values()}:
            yield f"[{section}]: {file} is copied to another folder than {folder}"
        if "addtrigger" in found and found.get("starttype") != ["3"]:
            yield f"[{section}] has a trigger, but starts without it"
        if "addtrigger" not in found and found.get("starttype") == ["3"]:
            yield f"[{section}] has no trigger, so nothing starts it"


# install/inf-addservice-directive (AddTrigger), install/inf-manufacturer-section (build numbers)
def triggers_are_known_to_windows(inf):
    triggers = [part for section, _ in _services(inf) for parts in inf.get(section, "addtrigger") for part in parts]
    for section in triggers:
        found = dict(inf.lines(section))
        if found.get("triggertype") != ["1"] or found.get("action") != ["1"]:
            yield f"[{section}] is no start at the arrival of a device interface"
        if not GUID.fullmatch(found.get("subtype", [""])[0]):
            yield f"[{section}] has no class of device interfaces"
    for section, target in _models(inf):
        build = re.search(r"\.10\.0\.\.\.(\d+)$", target)
        if triggers and (not build or int(build[1]) < TRIGGERS_SINCE):
            yield f"[{section}] also installs on Windows before build {TRIGGERS_SINCE}, which ignores AddTrigger"


# install/inf-delservice-directive, install/inf-delfiles-directive: not valid in a universal or Windows driver; 1302
def removes_nothing(inf):
    for section, lines in inf.sections.items():
        base = section.removesuffix(".services")
        legacy = base.startswith("defaultuninstall.") and inf.get(base, "legacyuninstall") == [["1"]]
        counted = Counter(key for key, _ in lines if key in ("delservice", "delfiles", "delreg"))
        for key in counted if not legacy else ():
            yield f"1302: [{section}] has {key}, outside of a DefaultUninstall that Windows ignores"


RULES = (
    *(version_is_complete, device_or_not, primitive_driver, models_are_decorated, one_architecture),
    *(sections_are_there_and_used, files_have_a_source_and_a_target, strings_are_defined, registry_is_relative),
    *(devices_have_one_function_driver, services_are_complete, triggers_are_known_to_windows, removes_nothing),
)
