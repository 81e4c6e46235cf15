"""The package installed under a prefix imports from there and finds the library."""

import os
import pathlib
import subprocess
import sys


def test_installed_package_imports_from_its_prefix(tmp_path):
    build = os.environ["ZUL_BINARY_DIR"]
    prefix = tmp_path / "prefix"
    subprocess.run(["cmake", "--install", build, "--prefix", str(prefix)], check=True,
                   capture_output=True, timeout=300)
    found = list(prefix.glob("lib/python3*/*-packages/zulquery/__init__.py"))
    assert len(found) == 1, list(prefix.rglob("*"))
    env = dict(os.environ, PYTHONPATH=str(found[0].parent.parent))
    env.pop("LD_LIBRARY_PATH", None)
    script = (
        "import zulquery\n"
        "print(zulquery.__file__)\n"
        "with zulquery.Simulator() as sim:\n"
        "    with zulquery.connect('127.0.0.1', sim.port, user='u', password='p') as s:\n"
        "        print(len(s.accounts()))\n")
    run = subprocess.run([sys.executable, "-c", script], env=env, capture_output=True,
                         text=True, timeout=120, cwd=tmp_path)
    assert run.returncode == 0, run.stderr
    where, accounts = run.stdout.split()
    assert pathlib.Path(where).is_relative_to(prefix)
    assert accounts == "3"
