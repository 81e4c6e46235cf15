"""Each error class, from a simulator told to refuse, drop or stay silent."""

import pytest

import zulquery
from conftest import PASSWORD, USER


def connect(sim, **kwargs):
    return zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD, **kwargs)


def test_connect_error_is_an_oserror_and_says_why():
    with zulquery.Simulator() as sim:
        port = sim.port
    with pytest.raises(zulquery.ConnectError) as e:
        zulquery.connect("127.0.0.1", port, user=USER, password=PASSWORD)
    assert isinstance(e.value, OSError)
    assert isinstance(e.value, zulquery.Error)
    assert e.value.kind == "cannot_connect" and e.value.code == 1
    assert "connection refused" in str(e.value)


def test_logon_refused_carries_the_result():
    with zulquery.Simulator(refuse_logon=2) as sim:
        with pytest.raises(zulquery.LogonRefused) as e:
            connect(sim)
    assert e.value.result == 2
    assert "user id or password not accepted (result 2)" in str(e.value)


def test_refused_carries_the_error_id_and_the_session_goes_on():
    with zulquery.Simulator(refuse={73: 77}) as sim, connect(sim) as s:
        with pytest.raises(zulquery.Refused) as e:
            s.positions("ZQ7")
        assert e.value.error_id == 77
        assert len(s.accounts()) == 3


def test_connection_lost():
    with zulquery.Simulator(drop_on_request=71) as sim, connect(sim) as s:
        with pytest.raises(zulquery.ConnectionLost) as e:
            s.accounts()
    assert e.value.kind == "connection_lost"


def test_timeout_is_a_timeout_error():
    with zulquery.Simulator(no_answer=[71]) as sim, connect(sim, timeout=0.5) as s:
        with pytest.raises(zulquery.Timeout) as e:
            s.accounts()
    assert isinstance(e.value, TimeoutError)
    assert "0.5 s" in str(e.value)


def test_not_offered_by_hv27():
    with zulquery.Simulator(hv27=True) as sim, connect(sim) as s:
        with pytest.raises(zulquery.NotOffered) as e:
            s.bp("ZQ7")
        assert e.value.code == 23
        assert len(s.bp_detail("ZQ7")) == 1


def test_rejected_new_password_and_bad_arguments():
    with zulquery.Simulator() as sim, connect(sim) as s:
        with pytest.raises(zulquery.Rejected) as e:
            s.change_password(PASSWORD, "short1")
        assert e.value.result == 10
        assert [r[0] for r in sim.requests()] == [68], "nothing sent"
        s.change_password(PASSWORD, "newpass99")
        assert [r[0] for r in sim.requests()] == [68, 69]
        with pytest.raises(ValueError):
            s.orders("ZQ7", sec_type="bond")
