"""The examples of docs/python.md run as they stand, each in an empty folder
with the interpreter of the tests."""

import pathlib
import subprocess
import sys

import pytest

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"


def python_blocks(text):
    blocks, block = [], None
    for line in text.splitlines():
        if block is None and line.strip() == "```python":
            block = []
        elif block is not None and line.strip() == "```":
            blocks.append("\n".join(block) + "\n")
            block = None
        elif block is not None:
            block.append(line)
    return blocks


BLOCKS = python_blocks(PAGE.read_text())


def test_the_page_has_its_worked_example():
    assert any("tamble.synth" in b and "session.convert()" in b for b in BLOCKS)


@pytest.mark.parametrize("block", BLOCKS, ids=[f"block{i}" for i in range(len(BLOCKS))])
def test_example_runs(block, tmp_path):
    done = subprocess.run([sys.executable, "-c", block], cwd=tmp_path, capture_output=True,
                          text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    assert done.stderr == ""  # nothing printed behind the example's back
