"""Fixtures of the Python package's tests: the package from the build tree (PYTHONPATH),
zulq beside it (ZULQ_BIN) for comparisons."""

import json
import os
import subprocess

import pytest

import zulquery

USER = "trader01"
PASSWORD = "secret99"


@pytest.fixture
def sim():
    with zulquery.Simulator() as s:
        yield s


@pytest.fixture
def session(sim, tmp_path):
    with zulquery.connect("127.0.0.1", sim.port, user=USER, password=PASSWORD,
                          log_dir=str(tmp_path / "logs")) as s:
        yield s


def zulq_json(port, command, tmp_path):
    """What zulq --json prints for a command, as dicts; with its exit status."""
    env = dict(os.environ, TZ="UTC", ZULQ_PASSWORD=PASSWORD)
    run = subprocess.run(
        [os.environ["ZULQ_BIN"], "--port", str(port), "--user", USER, "--timeout", "20",
         "--log-dir", str(tmp_path / "zulq-logs"), "--json"] + command.split(),
        env=env, capture_output=True, text=True, timeout=120)
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]
