"""Threads and sessions: a command runs with Python's lock released, and a
second session in the same process is refused while one is open."""

import os
import threading

import pytest

import tamble


def test_another_thread_runs_while_a_command_does(stub_session, tmp_path):
    # "read-line" waits inside the command until something writes into the
    # pipe it reads; only another Python thread can write there. Were
    # Python's lock held by the command, neither could go on.
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    writes = []

    def writer():
        with open(pipe, "w") as f:  # opens once the command has opened the other end
            writes.append("entered")
            f.write("written by the other thread\n")

    other = threading.Thread(target=writer, daemon=True)
    other.start()
    told = []
    command = threading.Thread(
        target=lambda: told.extend(stub_session.run("read-line", file=pipe)), daemon=True)
    command.start()
    command.join(timeout=120)  # a guard against a dead lock, not a measurement
    assert not command.is_alive(), "the command never saw the other thread's line"
    assert writes == ["entered"]
    assert told == ["line: written by the other thread"]


def test_a_second_open_session_is_refused(session):
    with pytest.raises(tamble.HostError, match="another tamble.Session is open") as refused:
        tamble.Session()
    assert "memory cell" in str(refused.value)  # it says which state is shared
    session.add_image("a", __import__("numpy").zeros((2, 2), "float32"))
    session.close()
    with tamble.Session() as again:
        assert again.images() == []  # a session starts without the old one's images


def test_a_session_let_go_of_is_closed_though_its_views_live():
    s = tamble.Session()
    image = s.add_image("a", __import__("numpy").ones((2, 2), "float32"))
    field = image.field
    del s
    with tamble.Session() as again:
        assert again.images() == []
    assert field.sum() == 4.0
    with pytest.raises(tamble.HostError, match="the session is closed"):
        image.field


def test_a_closed_session_refuses_work(session):
    session.close()
    assert session.closed
    with pytest.raises(tamble.HostError, match="the session is closed"):
        session.images()


def test_private_store_goes_with_the_session(tmp_path):
    with tamble.Session() as s:
        private = s.store
        s.add_image("a", __import__("numpy").ones((8, 8), "float32"))
        s.run("median-filter", diameter=5)
        assert private.exists()
    assert not private.exists()
    given = tmp_path / "store.ini"
    with tamble.Session(store=given) as s:
        s.add_image("a", __import__("numpy").ones((8, 8), "float32"))
        s.run("median-filter", diameter=5)
    assert "[Median]" in given.read_text()


def test_log_file_holds_commands_and_errors(tmp_path):
    log = tmp_path / "tamble.log"
    with tamble.Session(log=log) as s:
        s.add_image("a", __import__("numpy").ones((8, 8), "float32"))
        s.run("median-filter", diameter=3)
        with pytest.raises(tamble.FileError):
            s.open(tmp_path / "missing.tif")
    text = log.read_text()
    assert "tamble: run Edit/Median Filter..." in text
    assert "missing.tif: file not found in:" in text


@pytest.mark.parametrize(
    "options, words",
    [({"unanswered": "maybe"}, "is none of error, yes, no"),
     ({"plugin": "/nowhere/libtamble.so"}, "cannot load the plug-in"),
     ({"log": "/nowhere/tamble.log"}, "cannot open the log file")])
def test_wrong_session_options_are_refused_and_leave_the_process_free(options, words):
    with pytest.raises(tamble.HostError, match=words):
        tamble.Session(**options)
    tamble.Session().close()  # the refused one did not stay open
