"""One-token changes of a C++ source as clang-format lays it out, for scripts/mutate."""

import re
from typing import NamedTuple


class Mutant(NamedTuple):
    file: str
    line: int  # from 1 on
    kind: str
    before: str  # the line
    after: str


NUMBER = r"(?<![\w.'])(\d+\.\d+F?|\d+)(?![\w.'])"

# What a match of the pattern may become; operators have a space on both sides, brackets of templates and pointers not.
EXCHANGES = [
    ("comparison", r"(?<= )<(?= )", ["<=", ">="]),
    ("comparison", r"(?<= )>(?= )", [">=", "<="]),
    ("comparison", r"(?<= )<=(?= )", ["<", ">"]),
    ("comparison", r"(?<= )>=(?= )", [">", "<"]),
    ("comparison", r"(?<= )==(?= )", ["!="]),
    ("comparison", r"(?<= )!=(?= )", ["=="]),
    ("arithmetic", r"(?<= )\+(?= )", ["-"]),
    ("arithmetic", r"(?<= )-(?= )", ["+"]),
    ("arithmetic", r"(?<= )\*(?= )", ["/"]),
    ("arithmetic", r"(?<= )/(?= )", ["*"]),
    ("arithmetic", r"(?<= )%(?= )", ["/"]),
    ("arithmetic", r"(?<= )\+=(?= )", ["-=", "="]),
    ("arithmetic", r"(?<= )-=(?= )", ["+=", "="]),
    ("arithmetic", r"(?<= )\*=(?= )", ["/="]),
    ("arithmetic", r"\+\+", ["--"]),
    ("arithmetic", r"(?<=std::)min(?=[(<])", ["max"]),
    ("arithmetic", r"(?<=std::)max(?=[(<])", ["min"]),
    ("bits", r"(?<= )&(?= )", ["|"]),
    ("bits", r"(?<= )\|(?= )", ["&"]),
    ("bits", r"(?<= )<<(?= )", [">>"]),
    ("bits", r"(?<= )>>(?= )", ["<<"]),
    ("logic", r"(?<= )&&(?= )", ["||"]),
    ("logic", r"(?<= )\|\|(?= )", ["&&"]),
    ("logic", r"!(?=[\w(:])", [""]),
    ("constant", r"\btrue\b", ["false"]),
    ("constant", r"\bfalse\b", ["true"]),
    ("constant", r"\bS_OK\b", ["S_FALSE", "E_FAIL"]),
    ("constant", r"\bS_FALSE\b", ["S_OK"]),
    ("constant", r"\bTRUE\b", ["FALSE"]),
    ("constant", r"\bFALSE\b", ["TRUE"]),
]

WHOLE_STATEMENT = re.compile(r"^\s+((?:::)?[\w:.>\-\[\]]+\(.*\)|[\w.>\-\[\]*]+ [-+*/|&]?= .*|\+\+[\w.>\-]+|break|continue);$")
CONDITION = re.compile(r"\bif \((?P<condition>[^;]*)\) \{$")
RESULT = re.compile(r"\breturn (?P<result>[^{;][^;]*);$")
NEIGHBOURS = re.compile(r"(?<=[(,] |.\()([\w.\[\]>-]+), ([\w.\[\]>-]+)(?=[,)])")
UNTOUCHED = re.compile(r"^\s*(#|using\b|template\b|static_assert\b|namespace\b|class\b|struct\b|extern\b|union\b)")


def without_comments(text):
    """The text with comments, literals and lines of the preprocessor blanked, every character in its place."""
    pattern = r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'"
    return re.sub(pattern, lambda match: re.sub(r"[^\n]", "~", match.group()), text, flags=re.S)


def changed_numbers(literal):
    if "." in literal:
        suffix = "F" if literal.endswith("F") else ""
        value = float(literal.rstrip("F"))
        return [f"{value + 1}{suffix}"] + ([f"{value - 1}{suffix}"] if value >= 1 else [])
    value = int(literal)
    return [str(value + 1)] + ([str(value - 1)] if value else [])


def changes_of_line(code, line):
    """[(kind, changed line)]; `code` is the line without its comments and literals."""
    found = []

    def put(kind, start, end, text):
        found.append((kind, line[:start] + text + line[end:]))

    for kind, pattern, replacements in EXCHANGES:
        for match in re.finditer(pattern, code):
            for text in replacements:
                put(kind, match.start(), match.end(), text)
    for match in re.finditer(NUMBER, code):
        for text in changed_numbers(match.group()):
            put("constant", match.start(), match.end(), text)
    for match in NEIGHBOURS.finditer(code):
        first, second = line[match.start(1) : match.end(1)], line[match.start(2) : match.end(2)]
        if first != second:
            put("swap", match.start(), match.end(), f"{second}, {first}")
    if match := CONDITION.search(code):
        put("negation", match.start("condition"), match.end("condition"), f"!({line[match.start('condition') : match.end('condition')]})")
    if match := RESULT.search(code):
        put("result", match.start("result"), match.end("result"), "{}")
    return found


def mutants_of(file, text):
    """All mutants of a source."""
    lines = text.splitlines()
    found = []
    before = ";"  # what the code ended with before the line
    for number, (line, code) in enumerate(zip(lines, without_comments(text).splitlines()), 1):
        code = code.rstrip("~ ")
        if code and not UNTOUCHED.match(code):
            changes = changes_of_line(code, line)
            if before[-1] in ";{}:" and WHOLE_STATEMENT.match(code):
                changes.append(("removal", re.match(r"\s*", line).group() + ";"))
            found += [Mutant(file, number, kind, line, changed) for kind, changed in changes]
        before = code.strip() or before
    return found
