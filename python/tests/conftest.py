import os
import pathlib
import subprocess

import pytest

import vandrel

# Status codes the tests meet (vandrel/Status.h), as the signed numbers vandrel.Error carries.
BAD_HANDLE = 0xE07F0001 - (1 << 32)

CORPUS = pathlib.Path(os.environ.get(
    "VANDREL_TESTDATA", pathlib.Path(__file__).resolve().parents[2].parent / "shared" / "testdata"))


@pytest.fixture(scope="session")
def tool():
    """The vandrel program of the same tree: <prefix>/bin beside <prefix>/lib/python3.X/..."""
    path = os.environ.get("VANDREL_TOOL") or str(
        pathlib.Path(vandrel.__file__).resolve().parents[4] / "bin" / "vandrel")
    if not os.access(path, os.X_OK):
        pytest.skip(f"no vandrel program at {path}")

    def run(*args, check=True):
        done = subprocess.run([path, *map(str, args)], capture_output=True, text=True)
        if check and done.returncode != 0:
            raise AssertionError(done.stderr)
        return done

    return run


@pytest.fixture(scope="session")
def corpus():
    if not CORPUS.is_dir():
        pytest.skip(f"test corpus missing: {CORPUS}")
    return CORPUS
