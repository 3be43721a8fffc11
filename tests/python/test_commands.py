"""Running commands: every kind of parameter as a keyword, the image choice,
yes/no questions and file choices answered by keywords, and the host's
refusals of what does not fit the command."""

import numpy
import pytest

import tamble
from conftest import ramp

A = ramp()
B = numpy.full((6, 8), 4.0, numpy.float32)


NO_BACKGROUND = numpy.zeros(A.shape, bool)


@pytest.mark.parametrize(
    "command, parameters, expected, background",
    [
        # a float and a radio by its value
        ("arithmetic", {"m_constant": 2.5, "af": 3}, A * numpy.float32(2.5), NO_BACKGROUND),
        # the key without its m_ and the radio by its label
        ("arithmetic", {"constant": 2.5, "af": "Multiply"}, A * numpy.float32(2.5), NO_BACKGROUND),
        # an int given for a float
        ("arithmetic", {"m_constant": -3, "af": "Subtract"}, A + 3, NO_BACKGROUND),
        # NumPy's numbers
        ("arithmetic", {"m_constant": numpy.float32(0.5), "af": numpy.int64(4)},
         A / numpy.float32(0.5), NO_BACKGROUND),
        # check boxes as True/False
        ("cut-off-intensities",
         {"m_key_min": True, "m_key_max": True, "m_Cut_Min_Value": 10.0, "m_Cut_Max_Value": 20.0},
         numpy.clip(A, 10, 20), NO_BACKGROUND),
        ("cut-off-intensities",
         {"m_key_min": False, "m_key_max": True, "m_Cut_Max_Value": 20.0},
         numpy.minimum(A, 20), NO_BACKGROUND),
        # doubles: below low is background, above high is held at high
        ("filter-threshold", {"m_kind": "None", "m_low": 10.5, "m_high": 20.25},
         numpy.minimum(A, numpy.float32(20.25)), A < 10.5),
    ],
)
def test_parameters_reach_the_command(session, command, parameters, expected, background):
    image = session.add_image("a", A)
    session.run(command, **parameters)
    numpy.testing.assert_array_equal(image.field, expected)
    numpy.testing.assert_array_equal(image.bkgr, background)


def test_parameters_of_a_stored_record_are_kept_for_the_next_opening(session):
    session.add_image("a", A)
    session.run("median-filter", diameter=7, m_iter=2)
    assert session.parameters("median-filter") == {
        "Median Filter Parameters": {"m_diameter": 7, "m_iter": 2}}
    assert "m_diameter=7" in session.store.read_text()


@pytest.mark.parametrize(
    "operation, expected", [("Add", A + B), ("Subtract", A - B), ("Divide", A / B)])
def test_image_choice_by_name(session, operation, expected):
    session.add_image("b", B)
    first = session.add_image("a", A)
    session.run("image-arithmetic", oper=operation, image="b")
    numpy.testing.assert_array_equal(first.field, expected)
    numpy.testing.assert_array_equal(session.image("b").field, B)


@pytest.mark.parametrize(
    "answers, told",
    [([True, True], "answers: yes yes"), ([True, False], "answers: yes no"),
     ((False, True), "answers: no yes")])
def test_questions_take_the_answers_in_order(stub_session, answers, told):
    assert stub_session.run("ask-twice", answers=answers) == [told]


@pytest.mark.parametrize("policy, told", [("yes", "answers: yes yes"), ("no", "answers: no no")])
def test_unanswered_questions_follow_the_sessions_policy(policy, told):
    import os
    with tamble.Session(plugin=os.environ["TAMBLE_STUB_PLUGIN"], unanswered=policy) as s:
        assert s.run("ask-twice") == [told]


def test_files_are_given_in_the_order_asked(stub_session, tmp_path):
    read, write = tmp_path / "in.txt", tmp_path / "out.txt"
    assert stub_session.run("pick-files", file=[read, write]) == [f"read {read}, write {write}"]


def test_stub_parameters_and_guard(stub_session):
    image = stub_session.add_image("a", A)
    stub_session.run("scale-values", factor=1.5, steps=2)
    numpy.testing.assert_array_equal(image.field, A * numpy.float32(1.5) * numpy.float32(1.5))
    stub_session.add_image("narrow", numpy.ones((4, 1), numpy.float32))
    assert stub_session.run("scale-values") == ["Image Too Small"]
    numpy.testing.assert_array_equal(stub_session.image("narrow").field, numpy.ones((4, 1)))


@pytest.mark.parametrize(
    "command, keywords, words",
    [
        ("no-such-command", {}, "no-such-command"),
        ("median-filter", {"m_radius": 3}, "Unknown parameter 'm_radius'"),
        ("median-filter", {"diameter": 1000}, "enter a number between 3 and"),
        ("median-filter", {"diameter": [3]}, "'diameter' must be a number"),
        ("median-filter", {"answers": [True]}, "ran without asking for answers=[True]"),
        ("arithmetic", {"af": "Power"}, "af"),
        ("image-arithmetic", {}, "give image='NAME'"),
        ("image-arithmetic", {"image": "c"}, "no image named 'c'"),
    ],
)
def test_refusals_change_nothing(session, command, keywords, words):
    image = session.add_image("a", A)
    with pytest.raises((tamble.HostError, TypeError)) as refused:
        session.run(command, **keywords)
    assert words in str(refused.value)
    if "answers" not in keywords:  # a command that ran is refused after its work
        numpy.testing.assert_array_equal(image.field, A)


def test_unanswered_question_is_an_error_by_default(stub_session):
    with pytest.raises(tamble.HostError, match="unanswered question: Proceed"):
        stub_session.run("ask-twice")


def test_commands_tell_availability(session):
    def available():
        return {c.name: c.available for c in session.commands()}
    assert available()["median-filter"] is False
    session.add_image("a", A)
    assert available()["median-filter"] is True
    assert available()["reset-background"] is False  # no pixel is background
    with pytest.raises(tamble.HostError, match="is not available: bkgr_is_set"):
        session.run("reset-background")
    session.image("a").bkgr[0, 0] = True
    assert available()["reset-background"] is True


def test_notices_are_returned_and_logged(stub_session, caplog):
    import logging
    with caplog.at_level(logging.DEBUG, logger="tamble"):
        told = stub_session.run("ask-twice", answers=[False, False])
    assert told == ["answers: no no"]
    assert [r.getMessage() for r in caplog.records if r.levelno == logging.INFO] == [
        "notice: answers: no no"]
    assert any("question: Proceed?" in r.getMessage() for r in caplog.records)
