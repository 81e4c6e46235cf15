"""zulquery: queries to the query port of a futures and options trading system.

    import zulquery
    with zulquery.Simulator() as sim:
        with zulquery.connect("127.0.0.1", sim.port, user="trader01", password="secret99") as s:
            for a in s.accounts():
                print(a.Account, a.AvailableBp)

Every query blocks until its answer is whole and returns a list of records: read-only
objects whose attributes are the fields of the library's records without their "m_"
prefix. See docs/python.md.
"""

from . import _zulquery
from ._errors import (
    ConnectError,
    ConnectionLost,
    Error,
    LogonRefused,
    NotOffered,
    Refused,
    Rejected,
    Timeout,
)
from ._zulquery import Record

__version__ = _zulquery.version

__all__ = [
    "__version__",
    "connect",
    "Session",
    "Simulator",
    "Record",
    "to_frame",
    "Error",
    "ConnectError",
    "LogonRefused",
    "Refused",
    "ConnectionLost",
    "Timeout",
    "NotOffered",
    "Rejected",
]


class Session(_zulquery._Session):
    """A session with the server. Use connect() to get one logged on.

    The GIL is released while a query waits; several threads may share a session (one
    query at a time, the others wait their turn) or have one each. Ctrl-C interrupts a
    waiting call with KeyboardInterrupt.
    """

    def __init__(self, host, port, *, timeout=10.0, log_dir=None, logger=False,
                 auto_reconnect=False):
        super().__init__(host, port, timeout, log_dir, logger, auto_reconnect)

    def watch(self, timeout=None, count=None):
        """Yields pushed BP reports (kind "bp_report") and cash notices (kind "cash") as
        they come; stops when none came for `timeout` seconds (None: never) or after
        `count` events."""
        taken = 0
        while count is None or taken < count:
            event = self._next_push(-1.0 if timeout is None else float(timeout))
            if event is None:
                return
            taken += 1
            yield event

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False


def connect(host, port, *, user, password, timeout=10.0, log_dir=None, logger=False,
            auto_reconnect=False):
    """Connects, logs on and returns the session (a context manager that closes it).

    timeout: longest silence of the server in seconds, before the logon answer, before
    the first record of an answer and between two records (0: no limit). log_dir: folder
    of the library's logs (made if missing; letters, digits, '_', '-' and '/' only), else
    the working folder. logger: the binary log and the message trace. auto_reconnect: after
    a drop the library connects again and the session logs on again by itself.
    """
    session = Session(host, port, timeout=timeout, log_dir=log_dir, logger=logger,
                      auto_reconnect=auto_reconnect)
    try:
        session.logon(user, password)
    except BaseException:
        session.close()
        raise
    return session


class Simulator:
    """The query-port simulator zul_sim, in this process, on 127.0.0.1.

    Started on enter (its port in .port), stopped on exit. The options are those of
    zul_sim's command line: hv27 (the hv27 server generation), user_id, refuse_logon
    (a logon result), version_flag, password_md5, refuse ({request id: error id}),
    exec_ex, records (every stream with this many generated records), data (a data file),
    push_interval_ms, write_mode ("whole", "byte", "split:K", "chunks:N", "coalesce"),
    pause_ms, drop_after_bytes, drop_after_messages, drop_on_request, close_on_accept,
    hold_connects (never accept: connects hang until they give up; start() returns once
    they do), stop_reading (read nothing from clients: their requests pile up),
    close_after_logon (answer every logon and end the connection in the same write),
    flood_rate (after logon, BP reports at about this many bytes per second) and no_answer
    (request ids never answered: a silent server).
    """

    def __init__(self, *, port=0, hv27=False, user_id=None, refuse_logon=None,
                 version_flag=None, password_md5=None, refuse=None, exec_ex=False,
                 records=None, data=None, push_interval_ms=None, write_mode=None,
                 pause_ms=None, drop_after_bytes=None, drop_after_messages=None,
                 drop_on_request=None, close_on_accept=False, hold_connects=False,
                 stop_reading=False, close_after_logon=False, flood_rate=None, no_answer=()):
        self._sim = _zulquery._Simulator(
            port, hv27, user_id, refuse_logon, version_flag, password_md5, dict(refuse or {}),
            exec_ex, records, None if data is None else str(data), push_interval_ms,
            write_mode, pause_ms, drop_after_bytes, drop_after_messages, drop_on_request,
            close_on_accept, hold_connects, stop_reading, close_after_logon, flood_rate,
            list(no_answer))
        self._running = False

    def start(self):
        self._sim.start()
        self._running = True
        return self

    def stop(self):
        if self._running:
            self._sim.stop()
            self._running = False

    def __enter__(self):
        return self.start()

    def __exit__(self, *exc):
        self.stop()
        return False

    @property
    def port(self):
        return self._sim.port

    def push_bp_report(self, account=""):
        """Pushes a BP report to every client; returns how many got it."""
        return self._sim.push_bp_report(account)

    def push_cash_notice(self, account=""):
        """Pushes a cash notice to every client; returns how many got it."""
        return self._sim.push_cash_notice(account)

    def drop_connections(self):
        """Ends every client connection."""
        self._sim.drop_connections()

    def requests(self):
        """The requests received so far: (id, name, {field: value as text})."""
        return self._sim.requests()


def to_frame(records):
    """A pandas DataFrame of records of one kind, one column per field. Needs pandas."""
    import pandas

    records = list(records)
    if not records:
        return pandas.DataFrame()
    return pandas.DataFrame([r.to_dict() for r in records], columns=list(records[0]._fields))
