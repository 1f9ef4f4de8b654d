import io
import subprocess

import pandas as pd
import pytest

import samplenet
from conftest import NETWORKS


def test_columns_are_categorical_over_the_states(asia):
    frame = asia.sample(1000, seed=3)
    assert list(frame.columns) == asia.nodes
    assert len(frame) == 1000
    for node in asia.nodes:
        assert isinstance(frame[node].dtype, pd.CategoricalDtype)
        assert list(frame[node].cat.categories) == asia.states(node)
    # either is the logical or of lung and tub: no row breaks it.
    assert ((frame.either == "yes") == ((frame.lung == "yes") | (frame.tub == "yes"))).all()


def test_same_rows_as_the_command_line(asia, cli):
    for evidence in ({}, {"dysp": "yes", "asia": "no"}):
        frame = asia.sample(200, evidence=evidence, seed=9)
        arguments = [cli, "sample", str(NETWORKS / "asia.bif.gz"), "-n", "200", "--seed", "9"]
        arguments += [x for node, state in evidence.items() for x in ("-e", f"{node}={state}")]
        text = subprocess.run(arguments, capture_output=True, text=True, check=True).stdout
        expected = pd.read_csv(io.StringIO(text), dtype=str)
        pd.testing.assert_frame_equal(frame.astype({node: str for node in asia.nodes}), expected.astype(
            {"weight": float} if evidence else {}), check_dtype=False)


def test_bad_arguments_raise(asia):
    with pytest.raises(samplenet.OptionError, match="n must"):
        asia.sample(-1)
    with pytest.raises(samplenet.OptionError, match="seed"):
        asia.sample(5, seed=-3)
    with pytest.raises(samplenet.EvidenceError, match="nothing"):
        asia.sample(5, evidence={"nothing": "yes"})
    assert len(asia.sample(0)) == 0
