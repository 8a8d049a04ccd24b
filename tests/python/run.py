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
    words = ["-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-o", "faulthandler_timeout=120", str(HERE / file)]
    environment = {**os.environ, "PYTHONPATH": folder, "PYTHONDONTWRITEBYTECODE": "1", "PYTHONUNBUFFERED": "1"}
    os.chdir(HERE)
    os.execve(sys.executable, [sys.executable, *words, *options], environment)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
