import os
import shutil
from pathlib import Path

import pytest

import samplenet

REPO = Path(__file__).resolve().parents[2]
NETWORKS = REPO / "data" / "networks"


@pytest.fixture(scope="session", autouse=True)
def dask_scratch_space(tmp_path_factory):
    """Dask's scratch space, in the system's temporary folder unless told
    otherwise, goes in pytest's; worker processes read it from the environment."""
    path = str(tmp_path_factory.mktemp("dask"))
    os.environ["DASK_TEMPORARY_DIRECTORY"] = path
    try:
        import dask
    except ImportError:
        return
    dask.config.set({"temporary-directory": path})


@pytest.fixture(scope="session")
def asia():
    return samplenet.load(NETWORKS / "asia.bif.gz")


@pytest.fixture(scope="session")
def alarm():
    return samplenet.load(NETWORKS / "alarm.bif.gz")


@pytest.fixture(scope="session")
def cli():
    """The command-line program built from the same sources (scripts/test.sh
    names it in SAMPLENET_CLI)."""
    path = os.environ.get("SAMPLENET_CLI") or shutil.which("samplenet") or str(REPO / "build" / "cli" / "samplenet")
    if not Path(path).is_file():
        pytest.skip("the samplenet command line is not built")
    return path
