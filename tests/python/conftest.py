"""Fixtures of the Python package's tests: a session with the real plug-in
and one with the stand-in plug-in of the command line's tests, each with a
private store, and small images to work on."""

import os

import numpy
import pytest

import tamble


@pytest.fixture
def session():
    with tamble.Session() as s:
        yield s


@pytest.fixture
def stub_session():
    path = os.environ.get("TAMBLE_STUB_PLUGIN")
    if not path:
        pytest.skip("TAMBLE_STUB_PLUGIN names no stand-in plug-in")
    with tamble.Session(plugin=path) as s:
        yield s


def ramp(height=6, width=8, start=1.0):
    """Values that differ at every pixel, row after row."""
    return (numpy.arange(height * width, dtype=numpy.float32) + start).reshape(height, width)
