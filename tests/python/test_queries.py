"""Every query in both server generations, compared field by field with what zulq --json
prints for the same simulator."""

import datetime

import pytest

import zulquery
from conftest import PASSWORD, USER, zulq_json

# (method, arguments, keyword arguments, zulq command, offered by an hv27 server)
QUERIES = [
    ("accounts", (), {}, "accounts", True),
    ("bp", ("ZQ7",), {}, "bp ZQ7", False),
    ("bp_detail", ("ACCT-FULL-WIDE16",), {}, "bp-detail ACCT-FULL-WIDE16", True),
    ("cash", ("ZQ7",), {}, "cash ZQ7", True),
    ("positions", ("ZQ7",), {}, "positions ZQ7", True),
    ("positions", ("ZQ7",), {"sec_type": "option"}, "positions ZQ7 --sec-type option", True),
    ("option_positions", ("ACCT-FULL-WIDE16",), {}, "option-positions ACCT-FULL-WIDE16", True),
    ("combo_positions", ("ZQ7",), {}, "combo-positions ZQ7", False),
    ("margin", ("ACCT-FULL-WIDE16",), {}, "margin ACCT-FULL-WIDE16", True),
    ("fees", ("ZQ7",), {"sec_type": "stock"}, "fees ZQ7 --sec-type stock", True),
    ("orders", ("ACCT-FULL-WIDE16",), {"sec_type": 4}, "orders ACCT-FULL-WIDE16 --sec-type 4", True),
    ("arbi_orders", ("ZQ7",), {}, "arbi-orders ZQ7", False),
    ("executions", ("ZQ7",), {"rewind": 1}, "executions ZQ7 --rewind 1", True),
    ("quotes", ("ACCT-FULL-WIDE16",), {}, "quotes ACCT-FULL-WIDE16", True),
    ("symbols", (), {}, "symbols", True),
    ("combo_rules", (), {"combo_type": 1, "hedge_flag": 2}, "combo-rules --combo-type 1 --hedge-flag 2", False),
    ("risk", ("ZQ7",), {}, "risk ZQ7", True),
    ("symbol_risk", ("ZQ7", "IF2412"), {}, "symbol-risk ZQ7 IF2412", True),
    ("positions", ("EMPTY-01",), {}, "positions EMPTY-01", True),
]


def as_printed(value):
    """A field as zulq's JSON shows it (times in UTC, as the run's TZ says)."""
    if isinstance(value, datetime.datetime):
        return value.strftime("%Y-%m-%d %H:%M:%S.%f")
    return "" if value is None else value


@pytest.mark.parametrize("hv27", [False, True], ids=["standard", "hv27"])
def test_every_query_as_zulq_prints_it(hv27, tmp_path):
    with zulquery.Simulator(hv27=hv27) as sim, \
            zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD) as s:
        for method, args, kwargs, command, offered in QUERIES:
            status, printed = zulq_json(sim.port, command, tmp_path)
            if hv27 and not offered:
                with pytest.raises(zulquery.NotOffered):
                    getattr(s, method)(*args, **kwargs)
                assert status == 6, command
                continue
            records = getattr(s, method)(*args, **kwargs)
            assert status == 0, command
            assert len(records) == len(printed), command
            if command != "positions EMPTY-01":
                assert records, command
            for record, row in zip(records, printed):
                fields = record.to_dict()
                assert list(fields) == list(row), command
                for name, value in fields.items():
                    want = row[name]
                    got = as_printed(value)
                    if isinstance(value, datetime.datetime):
                        # Microseconds here, nanoseconds there.
                        assert want.startswith(got), (command, name)
                    else:
                        assert got == want, (command, name)


def test_change_password_as_zulq_does_it(tmp_path):
    # No records to compare: both succeed on the same simulator and send it the same request.
    # zulq first: it logs on with the password the change then replaces.
    with zulquery.Simulator() as sim, \
            zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD) as s:
        status, printed = zulq_json(sim.port, f"change-password {PASSWORD} newpass99", tmp_path)
        assert (status, printed) == (0, [{"Result": 0}])
        assert s.change_password(PASSWORD, "newpass99") is None
        changes = [fields for rid, _, fields in sim.requests() if rid == 69]
        assert len(changes) == 2
        by_zulq, by_package = changes
        assert by_package == by_zulq
