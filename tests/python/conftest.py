"""Fixtures of the Python tests: the built tool, and the library log kept out of the way."""

import os

import pytest

import qarnuv


@pytest.fixture(autouse=True, scope="session")
def _library_log(tmp_path_factory):
    qarnuv.set_log_file(str(tmp_path_factory.mktemp("log") / "QarnUVAtlas.txt"))


@pytest.fixture
def tool():
    """The built qarnuv program, when this build has it."""
    path = os.environ.get("QARNUV_TOOL")
    if not path or not os.access(path, os.X_OK):
        pytest.skip("the qarnuv program is not built in this configuration")
    return path

