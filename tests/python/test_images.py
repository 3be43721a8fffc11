"""Images by name: layers as views that writes go through, new images from
arrays refused clearly when the arrays are not what an image holds, markers
as structured arrays."""

import numpy
import pytest

import tamble
from conftest import ramp


def test_a_write_through_the_view_is_seen_by_a_command(session):
    image = session.add_image("a", ramp())
    field = image.field
    field[2, 3] = 500.0
    session.run("arithmetic", m_constant=2.0, af="Multiply")
    expected = ramp()
    expected[2, 3] = 500.0
    numpy.testing.assert_array_equal(field, expected * 2.0)


@pytest.mark.parametrize("layer, value, fresh", [("bkgr", True, False), ("roi", False, True)])
def test_masks_are_bool_views_that_commands_honour(session, layer, value, fresh):
    image = session.add_image("a", ramp())
    mask = getattr(image, layer)
    assert mask.dtype == numpy.bool_ and mask.shape == (6, 8)
    assert (mask == fresh).all()
    mask[1, 1] = value  # the pixel is blocked either way
    session.run("arithmetic", m_constant=10.0, af="Add")
    expected = ramp() + 10.0
    expected[1, 1] = ramp()[1, 1]
    numpy.testing.assert_array_equal(image.field, expected)


def test_a_view_outlives_the_image_it_came_from(session):
    image = session.add_image("a", ramp())
    field = image.field
    session.run("image-resize", x_pixels=16, y_pixels=12, m_cp=0, m_int=0)  # new storage
    assert image.shape == (12, 16)
    # Blocks of the old one's size are taken now: a freed block would be among them.
    for i in range(8):
        session.add_image(f"filler{i}", numpy.full((6, 8), -7.0, numpy.float32))
    numpy.testing.assert_array_equal(field, ramp())
    session.close()
    numpy.testing.assert_array_equal(field, ramp())


def test_new_image_copies_its_arrays_and_becomes_current(session):
    values, roi = ramp(), numpy.ones((6, 8), bool)
    roi[0, :] = False
    image = session.add_image("a", values, roi=roi)
    values[0, 0] = -1.0
    assert session.current.name == "a" and session.images() == ["a"]
    assert image.field[0, 0] == 1.0
    numpy.testing.assert_array_equal(image.roi, roi)
    assert not image.bkgr.any()


@pytest.mark.parametrize(
    "field, kind, words",
    [
        (ramp().astype(numpy.float64), TypeError, "must be float32; got float64"),
        (ramp().astype(numpy.int32), TypeError, "must be float32; got int32"),
        (ramp().astype(">f4"), TypeError, "must be float32; got >f4"),  # the other byte order
        (ramp()[:, ::2], ValueError, "must be C-contiguous"),
        (ramp().T, ValueError, "must be C-contiguous"),
        (ramp().ravel(), ValueError, "must be 2-D (height, width); got shape (48,)"),
        (ramp().reshape(2, 3, 8), ValueError, "must be 2-D (height, width); got shape (2, 3, 8)"),
        ([[1.0, 2.0]], TypeError, "must be a numpy.ndarray of float32; got list"),
    ],
)
def test_wrong_field_is_refused_and_adds_nothing(session, field, kind, words):
    with pytest.raises(kind) as refused:
        session.add_image("a", field)
    assert words in str(refused.value)
    assert session.images() == []


@pytest.mark.parametrize(
    "masks, kind, words",
    [
        ({"bkgr": numpy.zeros((6, 8), numpy.uint8)}, TypeError, "bkgr must be bool; got uint8"),
        ({"roi": numpy.ones((8, 6), bool)}, ValueError, "roi must have the image's shape (6, 8); got (8, 6)"),
        ({"roi": numpy.ones((6, 16), bool)[:, ::2]}, ValueError, "roi must be C-contiguous"),
    ],
)
def test_wrong_mask_is_refused(session, masks, kind, words):
    with pytest.raises(kind) as refused:
        session.add_image("a", ramp(), **masks)
    assert words in str(refused.value)
    assert session.images() == []


@pytest.mark.parametrize(
    "layer, values, kind",
    [
        ("field", numpy.zeros((6, 8)), TypeError),
        ("field", numpy.zeros((6, 9), numpy.float32), ValueError),
        ("bkgr", numpy.zeros((6, 8), numpy.float32), TypeError),
    ],
)
def test_assigning_a_wrong_layer_changes_nothing(session, layer, values, kind):
    image = session.add_image("a", ramp())
    before = getattr(image, layer).copy()
    with pytest.raises(kind):
        setattr(image, layer, values)
    numpy.testing.assert_array_equal(getattr(image, layer), before)


def test_assigned_layer_is_copied_in(session):
    image = session.add_image("a", ramp())
    view = image.field
    image.field = ramp(start=100.0)
    numpy.testing.assert_array_equal(view, ramp(start=100.0))


def test_names_are_checked(session):
    session.add_image("a", ramp())
    with pytest.raises(tamble.HostError, match="an image named 'a' is open already"):
        session.add_image("a", ramp())
    with pytest.raises(KeyError):
        session.image("b")


def test_markers_round_trip_and_reach_commands(session):
    image = session.add_image("a", ramp())
    markers = numpy.zeros(3, tamble.MARKER_DTYPE)
    markers["x"], markers["y"], markers["active"] = [1, 2, 3], [1, 2, 4], True
    image.markers = markers
    back = image.markers
    numpy.testing.assert_array_equal(back[["x", "y", "active"]], markers[["x", "y", "active"]])
    assert list(back["id"]) == [1, 2, 3]  # numbered on, as the model adds markers
    assert next(c for c in session.commands() if c.name == "triangulation-draw").available


def test_markers_need_positions(session):
    image = session.add_image("a", ramp())
    with pytest.raises(ValueError, match="x and y"):
        image.markers = numpy.zeros(2, [("x", "f8")])
    with pytest.raises(TypeError):
        image.markers = [(1.0, 2.0)]


@pytest.mark.parametrize("suffix", [".imp", ".tif"])
def test_saved_image_opens_with_its_values(session, tmp_path, suffix):
    roi = numpy.ones((6, 8), bool)
    roi[2:4, 2:4] = False
    session.add_image("a", ramp(), roi=roi)
    path = tmp_path / ("a" + suffix)
    session.save("a", path)
    opened = session.open(path, name="b")
    numpy.testing.assert_array_equal(opened.field, ramp())
    if suffix == ".imp":  # the container keeps the masks
        numpy.testing.assert_array_equal(opened.roi, roi)
