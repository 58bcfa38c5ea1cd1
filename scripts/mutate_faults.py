# SPDX-License-Identifier: MIT OR GPL-2.0
"""The small faults that can be planted in a source, found by patterns in its text."""
import bisect
import hashlib
import re
import shutil
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build/mutate"
TREE = WORK / "source"  # a copy, so that the tree may be edited during a run
FOLDERS = ("ifc/ifc_util", "ifc/records", "ifc/ifc_cmd", "ruleset", "engine")

Fault = namedtuple("Fault", "file line start end new what key")


def take_copy():
    """The times of the files stay, so that only what has changed is built again."""
    shutil.rmtree(TREE, ignore_errors=True)
    shutil.copytree(ROOT, TREE, symlinks=True,
                    ignore=lambda folder, _: ("build", ".git") if Path(folder) == ROOT else ())


def sources(wanted):
    """The sources of these files and folders. No word: all."""
    all_files = [str(path.relative_to(TREE)) for folder in FOLDERS for path in sorted((TREE / folder).iterdir())
                 if path.suffix in (".cpp", ".h")]
    for word in wanted:
        if not any(file == word or file.startswith(word.rstrip("/") + "/") for file in all_files):
            raise SystemExit(f"mutate: no source '{word}'; accepted are ifc, ruleset, engine, and folders and files of "
                             "these")
    return [file for file in all_files
            if not wanted or any(file == w or file.startswith(w.rstrip("/") + "/") for w in wanted)]


def blanked(text):
    """The text with comments, strings, preprocessor lines and static assertions as spaces, at the same offsets."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    text = re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', blank, text, flags=re.S)
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)
    return re.sub(r"\bstatic_assert\(.*?\);", blank, text, flags=re.S)


def number(match):
    digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)(\w*)", match.group().replace("'", "")).groups()
    value = int(digits, 0)
    shown = hex if digits[:2].lower() == "0x" else str
    return [shown(value + 1) + suffix] + ([shown(value - 1) + suffix] if value > 0 else [])


def swapped(match):
    return [match.group().replace(match[1] + match[2] + match[3], match[3] + match[2] + match[1])] \
        if match[1] != match[3] else []


OTHER = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
         "&&": ("||",), "||": ("&&",), "+": ("-",), "-": ("+",), "<<": (">>",), ">>": ("<<",), "&": ("|",),
         "|": ("&",), "^": ("|",), "|=": ("&=", "="), "&=": ("|=",), "+=": ("-=",), "-=": ("+=",), "*": ("+",),
         "%": ("/",), "/": ("*",)}
OPERATOR = "|".join(re.escape(sign) for sign in sorted(OTHER, key=len, reverse=True))
VALUE = r"[\w.>\[\]*&-]+"
# Each kind: a name, a pattern, and what may stand in place of the match.
KINDS = (
    ("operator", re.compile(rf"(?<=\s)({OPERATOR})(?=\s)"), lambda match: OTHER[match.group()]),
    ("constant", re.compile(r"(?<![\w.'])(?:0[xX][\da-fA-F]+|\d[\d']*)[uUlL]*(?![\w.'])"), number),
    ("condition negated", re.compile(r"(?<=\bif )\((?!constexpr)([^;{}\n]*)\)(?=( \[\[\w+\]\])?( \{)?\n)"),
     lambda match: [f"(!({match[1]}))"]),
    ("statement dropped", re.compile(r"(?<=\n)[ \t]+(?:\(void\))?[\w.\[\]>*+-]+(?:<[^;<>]*>)?"
                                     r"(?:\([^;{}]*\)|(?: [-+|&^<>*/%]*= [^;{}]*)|\+\+|--|)"
                                     r"(?:\.\w+\([^;{}]*\))*;(?=\n)"),
     lambda match: [";" + "\n" * match.group().count("\n")]),
    ("arguments swapped", re.compile(rf"(?<=[\w>]\()({VALUE})(, )({VALUE})(?=[,)])"), swapped),
    ("arguments swapped", re.compile(rf"(?<=, )({VALUE})(, )({VALUE})(?=[,)}}])"), swapped),
    ("fields swapped", re.compile(rf"(?<=[{{])({VALUE})(, )({VALUE})(?=[,}}])"), swapped),
    ("answer turned", re.compile(r"(?<=return )(true|false)(?=;)"),
     lambda match: ["false" if match.group() == "true" else "true"]),
)


def faults_of(file):
    """All faults of a source, in its order."""
    text = (TREE / file).read_text()
    code = blanked(text)
    version = hashlib.sha1(text.encode()).hexdigest()[:10]
    line_ends = [match.start() for match in re.finditer("\n", text)]
    found = []
    for kind, pattern, others in KINDS:
        for match in pattern.finditer(code):
            old = text[match.start():match.end()]
            if re.match(r"\s*(break|continue|return|case|using|public|private)\b", old):
                continue
            for new in others(match):
                line = 1 + bisect.bisect_left(line_ends, match.start() + len(old) - len(old.lstrip()))
                shown = " ".join(old.split())
                what = f"{kind}: {shown}" + (f" -> {new}" if new.strip(" ;\n") else "")
                key = f"{file}@{version}:{match.start()}:{hashlib.sha1((kind + new).encode()).hexdigest()[:6]}"
                found.append(Fault(file, line, match.start(), match.end(), new, what, key))
    return sorted(set(found), key=lambda fault: (fault.start, fault.new))
