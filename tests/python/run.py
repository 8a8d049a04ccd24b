#!/usr/bin/env python3
"""run.py PACKAGE_FOLDER FILE [PYTEST-OPTION...]: runs a file of tests with the package that lies there; exits with 77, and says
what is missing, where they cannot run."""
import importlib.util
import os
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
NEEDS = {"test_examples.py": ["matplotlib"], "test_types.py": ["mypy"]}


def main(folder, file, *options):
    missing = [name for name in ["pytest", *NEEDS.get(file, [])] if importlib.util.find_spec(name) is None]
    if missing:
        print(f"SKIPPED: {', '.join(missing)} cannot be imported: scripts/install-packages.sh python")
        return 77
    # A folder of its own: runs that share one, and begin at once, may get in each other's way when they number theirs.
    files = pathlib.Path(folder).parent / "python-tests" / file
    files.parent.mkdir(exist_ok=True)
    words = ["-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", f"--basetemp={files}", "-o", "faulthandler_timeout=120",
             str(HERE / file)]
    environment = {**os.environ, "PYTHONPATH": folder, "PYTHONDONTWRITEBYTECODE": "1", "PYTHONUNBUFFERED": "1"}
    os.chdir(HERE)
    os.execve(sys.executable, [sys.executable, *words, *options], environment)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
