"""Records, pushes, threads, interruption, frames and stubs."""

import ast
import os
import pathlib
import signal
import subprocess
import sys
import threading
import time

import pytest

import zulquery
from zulquery import _zulquery
from conftest import PASSWORD, USER


def test_records_are_read_only_and_say_what_they_are(session):
    accounts = session.accounts()
    a = accounts[1]
    assert a.Account == "ZQ7" and a.kind == "AccountInfo"
    assert isinstance(a, zulquery.Record)
    assert repr(a) == "AccountInfo(Account='ZQ7')"
    assert list(a.to_dict()) == list(a._fields) and a._fields[0] == "Account"
    assert isinstance(a.AvailableBp, float) and isinstance(a.AccountIdx, int)
    with pytest.raises(AttributeError):
        a.Account = "other"
    with pytest.raises(AttributeError):
        a.NoSuchField
    assert a == session.accounts()[1] and a != accounts[0]
    order = session.orders("ZQ7")[0]
    assert order.Timestamp.tzinfo is not None
    assert "Symbol" in dir(order)


def test_watch_yields_pushed_events_in_order(sim, session):
    assert sim.push_bp_report("ZQ7") == 1
    assert sim.push_cash_notice("ACCT-FULL-WIDE16") == 1
    events = list(session.watch(timeout=5, count=2))
    assert [e.kind for e in events] == ["bp_report", "cash"]
    assert events[0].Account == "ZQ7" and events[1].to_dict()["Account"] == "ACCT-FULL-WIDE16"
    assert list(session.watch(timeout=0.2)) == []


def test_two_sessions_in_threads_at_once():
    """One thread's query waits on a silent server while another's are answered: the GIL is
    released while a call waits."""
    with zulquery.Simulator(no_answer=[71]) as silent, zulquery.Simulator(records=500) as busy:
        results = {}

        def waiter():
            with zulquery.connect("127.0.0.1", silent.port, user=USER, password=PASSWORD,
                                  timeout=3) as s:
                try:
                    s.accounts()
                except zulquery.Timeout:
                    results["waiter"] = time.monotonic()

        def worker():
            with zulquery.connect("127.0.0.1", busy.port, user=USER, password=PASSWORD) as s:
                results["worker"] = [len(s.orders("ZQ7")) for _ in range(3)]
                results["worker_done"] = time.monotonic()

        threads = [threading.Thread(target=waiter), threading.Thread(target=worker)]
        for t in threads:
            t.start()
        for t in threads:
            t.join(60)
        assert results["worker"] == [500, 500, 500]
        assert results["worker_done"] < results["waiter"]


@pytest.mark.parametrize("waiting_for", ["logon", "answer"])
def test_ctrl_c_interrupts_a_waiting_call(waiting_for):
    with zulquery.Simulator(no_answer=[68 if waiting_for == "logon" else 71]) as sim:
        s = zulquery.Session("127.0.0.1", sim.port, timeout=30)
        if waiting_for == "answer":
            s.logon(USER, PASSWORD)
        timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        start = time.monotonic()
        with pytest.raises(KeyboardInterrupt):
            if waiting_for == "logon":
                s.logon(USER, PASSWORD)
            else:
                s.accounts()
        timer.join()
        assert time.monotonic() - start < 20, "ended by the signal, not by the timeout"
        s.close()


def test_to_frame_has_a_column_per_field(session):
    pandas = pytest.importorskip("pandas")
    positions = session.positions("ZQ7")
    frame = zulquery.to_frame(positions)
    assert isinstance(frame, pandas.DataFrame)
    assert list(frame.columns) == list(positions[0]._fields)
    assert len(frame) == len(positions)
    assert frame["Symbol"][0] == positions[0].Symbol


def test_type_stubs_name_every_field_with_its_type():
    stub = pathlib.Path(zulquery.__file__).with_name("__init__.pyi")
    tree = ast.parse(stub.read_text())
    classes = {c.name: c for c in tree.body if isinstance(c, ast.ClassDef)}
    for name, fields in _zulquery._describe().items():
        assert name in classes, name
        declared = [(n.target.id, ast.unparse(n.annotation)) for n in classes[name].body
                    if isinstance(n, ast.AnnAssign)]
        assert declared == [tuple(f) for f in fields if f[0].isidentifier()], name
    functions = {f.name for f in classes["Session"].body if isinstance(f, ast.FunctionDef)}
    public = {n for n in dir(zulquery.Session) if not n.startswith("_")}
    assert public <= functions


def test_example_prints_every_accounts_positions(sim):
    example = pathlib.Path(os.environ["ZUL_SOURCE_DIR"]) / "examples" / "positions.py"
    run = subprocess.run([sys.executable, str(example), "--port", str(sim.port)],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stderr
    with zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD) as s:
        for account in s.accounts():
            for p in s.positions(account.Account):
                assert p.Symbol in run.stdout
