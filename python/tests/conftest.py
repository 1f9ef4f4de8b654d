import os
import shutil
from pathlib import Path

import pytest

import samplenet

REPO = Path(__file__).resolve().parents[2]
NETWORKS = REPO / "data" / "networks"


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
