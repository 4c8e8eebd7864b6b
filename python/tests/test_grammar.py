"""The package is one for Python 3.9 and later: its grammar is that of 3.9, also where only a later Python is at hand."""

import ast
import shutil
import subprocess
from pathlib import Path

import pytest

PACKAGE = Path(__file__).resolve().parent.parent / "vekr"
FILES = sorted(PACKAGE.rglob("*.py"))
# Debian has one more Python, PyPy's, which is a 3.9. It has no numpy there, but cffi: what stands below numpy runs.
PYPY = shutil.which("pypy3")
BELOW_NUMPY = """
import sys, types
for path in sys.argv[2:]:
    compile(open(path, encoding="utf-8").read(), path, "exec")
package = types.ModuleType("vekr")
package.__path__ = [sys.argv[1]]
sys.modules["vekr"] = package
from vekr import _header, _native, errors
assert len(_header.functions(_native.header)) == 51
assert errors.status_text(-6).startswith("vekErrSize")
version = _native.raw.vekrGetLibVersion()
assert version.major > 0
floats = _native.ffi.new("float[6]")
_native.raw.vekrSetBoundBox_32f(_native.ffi.new("float[]", [1, 2, 3, 4, 0, 2]), 2, floats)
assert all(abs(a - b) < 1e-3 for a, b in zip(floats, [1, 0, 2, 4, 2, 3]))  # the box is widened a little
print(sys.version_info[:2])
"""


@pytest.mark.parametrize("path", FILES, ids=lambda path: path.relative_to(PACKAGE).as_posix())
def test_the_grammar_is_that_of_python_3_9(path):
    tree = ast.parse(path.read_text(encoding="utf-8"), str(path), feature_version=(3, 9))
    # Annotations may be written as later Pythons have them, as they are not evaluated.
    futures = [node for node in tree.body if isinstance(node, ast.ImportFrom) and node.module == "__future__"]
    annotated = any(isinstance(node, (ast.AnnAssign, ast.arg)) and node.annotation for node in ast.walk(tree))
    assert not annotated or any(name.name == "annotations" for node in futures for name in node.names)


@pytest.mark.process
@pytest.mark.skipif(PYPY is None, reason="pypy3 is not installed")
def test_another_python_compiles_all_and_runs_what_needs_no_numpy():
    done = subprocess.run([PYPY, "-c", BELOW_NUMPY, str(PACKAGE), *map(str, FILES)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert tuple(map(int, done.stdout.strip("()\n").split(","))) >= (3, 9)
