"""Reads an INF file as Windows setup does: sections of lines, whose parts are separated by commas."""

import re


class Inf:
    """Names of sections and keys are in lower case; %strings% are replaced.

    `used_strings` are the names of the strings that the lines contain, in lower case.
    """

    def __init__(self, text):
        self.sections = {}
        self.used_strings = set()
        lines = None
        for line in text.splitlines():
            line = self._without_comment(line).strip()
            if line.startswith("["):
                lines = self.sections.setdefault(line.strip("[]").lower(), [])
            elif line:
                key, equals, value = line.partition("=")
                lines.append((key.strip().lower(), self._parts(value)) if equals else (None, self._parts(line)))
        strings = {key: parts[0] for key, parts in self.sections.get("strings", [])}
        for name, lines in self.sections.items():
            self.sections[name] = [(self._fill(key, strings), [self._fill(one, strings) for one in parts]) for key, parts in lines]

    @staticmethod
    def _without_comment(line):
        return re.match(r'(?:[^;"]|"[^"]*")*', line)[0]

    @staticmethod
    def _parts(text):
        return [part.strip().strip('"') for part in re.findall(r'((?:[^,"]|"[^"]*")*)(?:,|$)', text.strip())[: text.count(",") + 1]]

    def _fill(self, text, strings):
        def replaced(match):
            self.used_strings.add(match[1].lower())
            return strings.get(match[1].lower(), match[0])

        # A number between percent signs is a folder of Windows (DIRID).
        return text and re.sub(r"%(\D\w*)%", replaced, text)

    def lines(self, section):
        return self.sections.get(section.lower(), [])

    def get(self, section, key):
        """All lines of that key, each as its parts."""
        return [parts for name, parts in self.lines(section) if name == key.lower()]

    def one(self, section, key):
        (parts,) = self.get(section, key)
        return parts

    def registry(self, section):
        """{(key below the service's, value's name): (flags, text)} of what AddReg writes there."""
        found = {}
        for _, parts in self.lines(section):
            root, key, name, flags, *value = parts + [""] * (4 - len(parts))
            assert root == "HKR", parts
            found[(key, name)] = (int(flags, 0), value[0] if value else None)
        return found
