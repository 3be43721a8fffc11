"""The package's type stub describes what the module has: every name and
method it declares exists, and every public one of the module is declared,
with the same keyword names."""

import ast
import inspect
import pathlib

import pytest

import tamble

STUB = ast.parse((pathlib.Path(tamble.__file__).parent / "__init__.pyi").read_text())
CLASSES = {n.name: n for n in STUB.body if isinstance(n, ast.ClassDef)}
FUNCTIONS = {n.name: n for n in STUB.body if isinstance(n, ast.FunctionDef)}


def declared(cls):
    return {n.name for n in cls.body if isinstance(n, ast.FunctionDef)}


def test_every_public_name_is_declared():
    # IndexError is declared but left out of `import *` (it would hide the builtin).
    assert set(tamble.__all__) | {"IndexError"} == set(CLASSES) | set(FUNCTIONS) | {"MARKER_DTYPE"}


@pytest.mark.parametrize("name", ["Session", "Image", "Command"])
def test_declared_methods_exist_and_public_ones_are_declared(name):
    cls = getattr(tamble, name)
    public = {m for m in vars(cls) if not m.startswith("_")}
    methods = {m for m in declared(CLASSES[name]) if not m.startswith("__")}
    assert methods == public


@pytest.mark.parametrize("method", ["run", "add_image", "open", "open_project", "parameters"])
def test_keyword_names_agree(method):
    stub = next(n for n in CLASSES["Session"].body
                if isinstance(n, ast.FunctionDef) and n.name == method)
    stub_names = [a.arg for a in stub.args.args + stub.args.kwonlyargs][1:]
    doc = getattr(tamble.Session, method).__doc__
    signature = doc.splitlines()[0]  # pybind11 puts the signature first
    for name in stub_names:
        if name not in ("answers", "image", "file"):  # run() takes these as **kwargs
            assert name + ":" in signature, (name, signature)
