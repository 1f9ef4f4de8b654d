"""Network.impact: mutual information of candidates with a target, against
pgmpy's exact joint posteriors and the command line."""

import json
import math
import subprocess
import warnings

import numpy as np
import pytest

import samplenet
from conftest import NETWORKS


def pgmpy_mutual_information(model, candidate, target, evidence):
    """MI in bits of candidate and target given evidence, from pgmpy's joint."""
    from pgmpy.inference import VariableElimination

    joint = VariableElimination(model).query([candidate, target], evidence=evidence, joint=True,
                                             show_progress=False)
    table = joint.values if joint.variables == [candidate, target] else joint.values.T
    rows, columns = table.sum(axis=1, keepdims=True), table.sum(axis=0, keepdims=True)
    nonzero = table > 0
    return float(np.sum(table[nonzero] * np.log2(table[nonzero] / (rows @ columns)[nonzero])))


@pytest.fixture(scope="module")
def pgmpy_models(asia, alarm):
    pytest.importorskip("pgmpy")
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return {"asia": asia.to_pgmpy(), "alarm": alarm.to_pgmpy()}


@pytest.mark.parametrize("name, target, evidence, candidates", [
    ("asia", "either", {"dysp": "yes"}, None),
    ("asia", "lung", {"xray": "yes", "smoke": "no"}, None),
    ("alarm", "LVFAILURE", {"BP": "LOW", "HRSAT": "HIGH"}, ["CVP", "HISTORY", "STROKEVOLUME", "PCWP", "CO", "HR"]),
])
def test_exact_mutual_information_equals_pgmpy(request, pgmpy_models, name, target, evidence, candidates):
    network = request.getfixturevalue(name)
    impact = network.impact(target, evidence=evidence, candidates=candidates, algorithm="exact")
    assert impact.algorithm == "exact" and impact.seed is None
    expected = {c.node: pgmpy_mutual_information(pgmpy_models[name], c.node, target, evidence)
                for c in impact.candidates}
    assert set(expected) == set(candidates or (n for n in network.nodes if n != target and n not in evidence))
    for candidate in impact.candidates:
        assert candidate.mutual_information == pytest.approx(expected[candidate.node], abs=1e-9), candidate.node
        assert candidate.standard_error is None
    informations = [c.mutual_information for c in impact.candidates]
    assert informations == sorted(informations, reverse=True)


@pytest.mark.parametrize("algorithm", ["exact", "epis"])
def test_impact_equals_the_command_line(asia, cli, algorithm):
    command = [cli, "impact", str(NETWORKS / "asia.bif.gz"), "-t", "either", "-e", "xray=yes", "--do", "smoke=no",
               "-a", algorithm, "-n", "3000", "--seed", "77", "--format", "json"]
    printed = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    impact = asia.impact("either", evidence={"xray": "yes"}, do={"smoke": "no"}, algorithm=algorithm, samples=3000,
                         seed=77)
    assert printed["interventions"] == impact.interventions == {"smoke": "no"}
    # The library's tests check sampled figures against enumeration.
    assert printed["runs"] == impact.runs and impact.seed == (77 if algorithm == "epis" else None)
    assert printed["target"]["posterior"]["probabilities"] == impact.target_posterior.tolist()
    assert [c["node"] for c in printed["candidates"]] == [c.node for c in impact.candidates]
    for entry, candidate in zip(printed["candidates"], impact.candidates):
        assert entry["mutual_information_bits"] == candidate.mutual_information
        assert entry.get("standard_error") == candidate.standard_error
        for state, given in zip(entry["states"], entry["target_given_state"]):
            assert given["probabilities"] == candidate.target_given[state].tolist()


def test_table_of_states_and_refusals(asia):
    impact = asia.impact("either", evidence={"lung": "yes"}, candidates="xray", algorithm="exact")
    frame = impact.to_pandas()
    assert list(frame.columns) == ["node", "mutual_information", "standard_error", "state", "probability",
                                   "either=yes", "either=no"]
    assert list(frame["state"]) == ["yes", "no"] and (frame["node"] == "xray").all()
    # Given lung cancer "either" is certain: its "no" state takes no run.
    assert impact.runs == 2 and impact.target_entropy == 0 and frame["either=no"].tolist() == [0.0, 0.0]
    assert math.isclose(frame["probability"].sum(), 1.0)
    with pytest.raises(samplenet.OptionError, match="set by an intervention"):
        asia.impact("lung", do={"lung": "yes"})
    with pytest.raises(samplenet.OptionError, match="unknown node 'cancer' in target"):
        asia.impact("cancer")
    with pytest.raises(samplenet.EvidenceError, match="the target \"lung\" is observed"):
        asia.impact("lung", evidence={"lung": "no"})
