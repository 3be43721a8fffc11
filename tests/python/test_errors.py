"""The model's errors reach Python as the class of the tamble.Error family
that matches theirs, with the model's text, code and source position."""

import numpy
import pytest

import tamble


def open_missing(session, tmp_path, stub):
    session.open(tmp_path / "missing.tif")


def stub_failure(session, tmp_path, stub):
    stub.run("fail")


def damaged_project(session, tmp_path, stub):
    (tmp_path / "run.vur").write_text("[images]\nwind_on_sens_file=nowhere.tif\n")
    session.open_project(tmp_path / "run.vur")


@pytest.mark.parametrize(
    "cause, cls, builtin, code, words",
    [
        (open_missing, tamble.FileError, OSError, 4, "missing.tif"),
        (damaged_project, tamble.FileError, OSError, 4, "run.vur:2: [images] wind_on_sens_file"),
        (stub_failure, tamble.StateError, RuntimeError, 8, "stub failure"),
    ],
)
def test_model_errors_keep_their_class_and_text(tmp_path, cause, cls, builtin, code, words):
    import os
    path = os.environ.get("TAMBLE_STUB_PLUGIN")
    if path is None:
        pytest.skip("no stand-in plug-in")
    with tamble.Session(plugin=path if cause is stub_failure else None) as s:
        with pytest.raises(cls) as raised:
            cause(s, tmp_path, s)
    error = raised.value
    assert isinstance(error, tamble.Error) and isinstance(error, builtin)
    assert error.code == code and type(error).code == code
    assert words in str(error)
    assert error.file.endswith(".cpp") and error.line > 0


def test_conversion_needs_a_project(session):
    session.add_image("a", numpy.zeros((4, 4), numpy.float32))
    with pytest.raises(tamble.HostError, match="no project is open"):
        session.convert()


@pytest.mark.parametrize(
    "cls, base", [(tamble.IndexError, IndexError), (tamble.DimError, ValueError),
                  (tamble.AlgoError, RuntimeError), (tamble.HostError, ValueError)])
def test_every_class_is_caught_as_tamble_error_and_as_its_builtin(cls, base):
    assert issubclass(cls, tamble.Error) and issubclass(cls, base)
