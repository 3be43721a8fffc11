"""A project's conversion from Python against the truth of a synthetic run:
by single stages on a run without noise, motion or lens, where the maps come
back to single precision, and by the whole scenario on an ordinary run."""

import numpy
import pytest

import tamble

STAGES = ["dark-frame-subtraction", "b-convert/flat-field-correction", "field-calculation"]


def judged(found, truth):
    """The pixels valid in both images."""
    return ~found.bkgr & found.roi & ~truth.bkgr & truth.roi


@pytest.fixture(scope="module")
def exact_run(tmp_path_factory):
    folder = tmp_path_factory.mktemp("exact")
    return tamble.synth(folder, size=128, noise=0, motion=0, distortion=0, depth="float",
                        markers=0)


@pytest.mark.parametrize("name", ["Irefe_Isens", "Pressure", "Cp"])
def test_stages_give_the_true_map_to_single_precision(exact_run, name):
    with tamble.Session() as s:
        s.open_project(exact_run["project"])
        for stage in STAGES:
            s.run(stage)
        found = s.results()[name]
        truth = s.open(exact_run["truth"][name], name="truth")
        valid = judged(found, truth)
        assert valid.sum() > 0.1 * valid.size  # the model fills a good part of the frame
        scale = numpy.abs(truth.field[valid]).max()
        error = numpy.abs(found.field[valid] - truth.field[valid]).max() / scale
        assert error < 1e-5  # a few roundings of 32-bit floats


def test_conversion_of_a_run_against_its_truth(tmp_path):
    run = tamble.synth(tmp_path, size=384, seed=2)
    assert run["paint"] == "double" and (run["width"], run["height"]) == (384, 384)
    with tamble.Session() as s:
        s.open_project(run["project"])
        assert {"wind_off_sens", "wind_on_sens", "wind_off_refe", "wind_on_refe"} <= set(s.images())
        report = s.convert()
        results = s.results()
        assert set(results) == {"Irefe_Isens", "Pressure", "P_Pstat", "Cp"}
        truth = s.open(run["truth"]["Cp"], name="truth")
        cp = results["Cp"]
        valid = judged(cp, truth)
        rms = numpy.sqrt(numpy.mean((cp.field[valid] - truth.field[valid]) ** 2))
        # The documented accuracy of a run with noise and motion is a few
        # hundredths in Cp; a tenth would mean a stage went wrong.
        assert rms < 0.1
        saved = s.open(tmp_path / "wind_on_sens_Cp.imp", name="saved")
        numpy.testing.assert_array_equal(saved.field, cp.field)
    stages = [k for k in report if k != "Computational time"]
    assert stages[0] == "Dark subtraction" and len(stages) == 15
    assert sum(report[k] for k in stages) <= report["Computational time"] + 0.001 * len(stages)


@pytest.mark.parametrize(
    "parameters, words",
    [({"m_no_such_key": 1}, "no stage of the conversion has this key"),
     ({"m_diameter": 5}, "is a key of several stages; name one"),
     ({"m_CB01_Dark": 7}, "enter a number between")])
def test_stage_parameters_are_checked_before_anything_runs(exact_run, parameters, words):
    with tamble.Session() as s:
        s.open_project(exact_run["project"])
        with pytest.raises(tamble.HostError, match=words):
            s.convert(**parameters)
        assert "Cp" not in s.results()


@pytest.mark.parametrize(
    "options, words",
    [({"paint": "oil"}, "paint"), ({"size": 10}, "size"), ({"colour": 1}, "colour")])
def test_synthetic_run_options_are_checked(tmp_path, options, words):
    with pytest.raises(ValueError, match=words):
        tamble.synth(tmp_path, **options)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("paint, noted", [(None, True), ("P", False), ("T", False)])
def test_a_single_paints_kind_is_asked_by_keyword(tmp_path, paint, noted):
    run = tamble.synth(tmp_path, paint="single", size=64, markers=0)
    with tamble.Session() as s:
        told = s.open_project(run["project"], paint=paint)
    assert any("a single paint, taken as pressure paint" in t for t in told) == noted
