"""What the C header says: declarations for cffi, and the texts beside them.

Everything is read from the header itself, so that the package cannot drift away from the library.
"""

from __future__ import annotations

import re
from typing import Dict, List, NamedTuple, Tuple


class Parameter(NamedTuple):
    """One parameter of a function."""

    name: str
    type: str
    is_written: bool  # a pointer, or a list of pointers, to what is not const


class Function(NamedTuple):
    """One function: its declaration in one line, its comment, its parameters."""

    name: str
    declaration: str
    result: str
    parameters: Tuple[Parameter, ...]
    comment: str


_COMMENT = re.compile(r"/\*.*?\*/", re.S)
_CPLUSPLUS = re.compile(r"^#ifdef __cplusplus$.*?^#endif$", re.S | re.M)
_DIRECTIVE = re.compile(r"^[ \t]*#.*$", re.M)
_FUNCTION = re.compile(r"(/\*(?:(?!\*/).)*\*/\s*)?VEKR_API ([^;()]*?)(\w+)\(([^)]*)\);", re.S)
_SECTION = re.compile(r"/\* -{20,}.*?\*/", re.S)
_STATUS = re.compile(r"(vek(?:Ok|Warn\w+|Err\w+)) = (-?\d+)\s*,?\s*(?:/\*(.*?)\*/)?", re.S)


def declarations(text: str) -> str:
    """Return what cffi parses: comments, directives, ``VEKR_API`` and what is for C++ alone taken away."""
    text = _COMMENT.sub("", text)
    text = _CPLUSPLUS.sub("", text)
    return _DIRECTIVE.sub("", text).replace("VEKR_API", "")


def _flat(text: str) -> str:
    return " ".join(text.split())


def _without_star(line: str) -> str:
    line = line.strip()
    if not line.startswith("*"):
        return line
    return line[2:] if line.startswith("* ") else line[1:]


def _plain_comment(comment: str) -> str:
    return "\n".join(_without_star(line) for line in comment.strip()[2:-2].splitlines()).strip()


def _parameter(text: str) -> Parameter:
    text = _flat(text)
    match = re.fullmatch(r"(.*?)(\w+)", text)
    assert match is not None, text
    kind, name = match.group(1).strip(), match.group(2)
    # `const T *p` and `const T *const *p` are read; `T *p` and `T *const *p` are written.
    return Parameter(name, kind, "*" in kind and not kind.startswith("const "))


def functions(text: str) -> Dict[str, Function]:
    """Return the functions that the header declares, in its order; one comment may stand before several."""
    found: Dict[str, Function] = {}
    comment = ""
    for match in _FUNCTION.finditer(text):
        if match.group(1):
            comment = _plain_comment(match.group(1))
        elif next(reversed(found)).endswith("GetBufSize"):  # a family that its section's comment tells of
            comment = _plain_comment(_SECTION.findall(text, 0, match.start())[-1])
        result, name, arguments = match.group(2).strip(), match.group(3), match.group(4)
        parameters: List[Parameter] = []
        if arguments.strip() != "void":
            parameters = [_parameter(part) for part in arguments.split(",")]
        declaration = _flat(f"{match.group(2)}{name}({arguments});")
        found[name] = Function(name, declaration, result, tuple(parameters), comment)
    return found


def statuses(text: str) -> Dict[int, Tuple[str, str]]:
    """Return name and meaning of each status."""
    block = text[text.index("vekOk = 0") : text.index("typedef struct VekLibVersion")]
    return {int(value): (name, _flat(meaning)) for name, value, meaning in _STATUS.findall(block)}
