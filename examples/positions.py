#!/usr/bin/env python3
"""Prints the futures positions of every account of the user as one table.

    PYTHONPATH=build/python python3 examples/positions.py --port 9100 --user trader01

The password comes from --password or the environment variable ZULQ_PASSWORD (for the
simulator any password will do).
"""

import argparse
import os
import sys

import zulquery

COLUMNS = ["ActId", "Symbol", "PosiDirection", "OvnQty", "TodayQty", "OvnMargin",
           "TodayMargin", "PositionCost", "HedgeFlag"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--user", default="trader01")
    parser.add_argument("--password", default=os.environ.get("ZULQ_PASSWORD", "secret99"))
    parser.add_argument("--timeout", type=float, default=10.0)
    args = parser.parse_args()

    try:
        with zulquery.connect(args.host, args.port, user=args.user, password=args.password,
                              timeout=args.timeout) as session:
            rows = [[str(getattr(p, c)) for c in COLUMNS]
                    for account in session.accounts()
                    for p in session.positions(account.Account)]
    except zulquery.Error as e:
        print("positions.py: %s" % e, file=sys.stderr)
        return 1
    widths = [max([len(c)] + [len(r[i]) for r in rows]) for i, c in enumerate(COLUMNS)]
    print("  ".join(c.ljust(w) for c, w in zip(COLUMNS, widths)).rstrip())
    print("  ".join("-" * w for w in widths))
    for r in rows:
        print("  ".join(v.ljust(w) for v, w in zip(r, widths)).rstrip())
    return 0


if __name__ == "__main__":
    sys.exit(main())
