"""The simulator's faults of the link, each seen through the package as a user meets it."""

import threading

import pytest

import zulquery
from conftest import PASSWORD, USER


def connect(sim, **kwargs):
    return zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD, **kwargs)


def bounded(call, seconds=60):
    """Runs call on a thread of its own; what it returned, or raises what it raised. A call
    still running after `seconds` fails the test instead of hanging it."""
    outcome = {}

    def run():
        try:
            outcome["value"] = call()
        except BaseException as e:  # handed to the test's thread
            outcome["error"] = e

    t = threading.Thread(target=run, daemon=True)
    t.start()
    t.join(seconds)
    assert not t.is_alive(), "the call did not return"
    if "error" in outcome:
        raise outcome["error"]
    return outcome["value"]


def test_hold_connects_makes_a_connect_give_up():
    with zulquery.Simulator(hold_connects=True) as sim:
        with pytest.raises(zulquery.ConnectError) as e:
            bounded(lambda: connect(sim, timeout=2).close())
        assert e.value.kind == "cannot_connect"
        assert sim.requests() == []


def test_stop_reading_leaves_the_logon_unread():
    with zulquery.Simulator(stop_reading=True) as sim:
        with pytest.raises(zulquery.Timeout):
            bounded(lambda: connect(sim, timeout=1).close())
        assert sim.requests() == []


def test_close_after_logon_ends_the_link_behind_its_answer():
    # Answer and end arrive together: the logon is taken, the next query finds the end.
    with zulquery.Simulator(close_after_logon=True) as sim:
        s = bounded(lambda: connect(sim, timeout=5))
        with s, pytest.raises(zulquery.ConnectionLost):
            bounded(s.accounts)
        assert [r[0] for r in sim.requests()] == [68], "the logon only"


def test_flood_rate_streams_bp_reports_after_the_logon():
    with zulquery.Simulator(flood_rate=20000) as sim, connect(sim) as s:
        events = bounded(lambda: list(s.watch(timeout=5, count=20)))
    assert len(events) == 20
    assert {ev.kind for ev in events} == {"bp_report"}


def test_fault_options_that_cannot_be_met_are_refused():
    with pytest.raises(ValueError):
        zulquery.Simulator(hold_connects=True, close_on_accept=True)
    with pytest.raises(ValueError):
        zulquery.Simulator(flood_rate=0)
