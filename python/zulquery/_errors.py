"""The errors of zulquery: one base class, one subclass per kind of failure."""


class Error(Exception):
    """A failure of a query or of the connection.

    ``kind`` names the failure ("cannot_connect", "logon_refused", "refused",
    "connection_lost", "timeout", "not_offered", "rejected"); ``code`` is its number
    (a result code, an error id of the server, a connection event).
    """

    kind = ""
    code = 0

    def __str__(self):
        return str(self.args[0]) if self.args else ""


class ConnectError(Error, OSError):
    """The host has no IPv4 address, or the connect failed (the message says why)."""


class LogonRefused(Error):
    """The server refused the logon; ``result`` is its logon result."""

    @property
    def result(self):
        return self.code


class Refused(Error):
    """The server refused the query; ``error_id`` is its error id (for a password
    change: the server's result code)."""

    @property
    def error_id(self):
        return self.code


class ConnectionLost(Error):
    """The connection ended before the answer was whole."""


class Timeout(Error, TimeoutError):
    """The server was silent for longer than the session's timeout."""


class NotOffered(Error):
    """A server of the hv27 generation does not offer this query."""


class Rejected(Error):
    """The library turned the request down; ``result`` is its result code."""

    @property
    def result(self):
        return self.code
