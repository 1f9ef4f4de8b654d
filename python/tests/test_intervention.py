"""infer(do=...) and the other queries under interventions, against pgmpy's
causal inference and the command line."""

import json
import subprocess
import warnings

import pytest

import samplenet
from conftest import NETWORKS


# Without evidence: with it, pgmpy 1.1's causal queries disagree with hand
# computation (under do(lung=yes), P(tub=yes | asia=yes) is asia's table
# entry 0.05, pgmpy says 0.0104); the C++ tests check evidence and
# interventions together against the truncated product.
@pytest.mark.parametrize("name, do", [
    ("asia", {"lung": "yes"}),
    ("alarm", {"LVFAILURE": "TRUE", "HYPOVOLEMIA": "FALSE"}),
])
def test_interventions_equal_pgmpy_causal_inference(request, name, do):
    pytest.importorskip("pgmpy")
    from pgmpy.inference import CausalInference

    network = request.getfixturevalue(name)
    result = network.infer(do=do, algorithm="exact")
    assert result.interventions == do
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        causal = CausalInference(network.to_pgmpy())
        # pgmpy answers for the intervention's non-ancestors; the causes are
        # checked below.
        ancestors, frontier = set(), list(do)
        while frontier:
            parents = set(network.parents(frontier.pop())) - ancestors
            ancestors |= parents
            frontier.extend(parents)
        nodes = [n for n in network.nodes if n not in do and n not in ancestors][:8]
        assert len(nodes) >= 2
        for node in nodes:
            expected = causal.query([node], do=do, show_progress=False)
            assert result[node] == pytest.approx(expected.values, abs=1e-9), node


@pytest.mark.parametrize("algorithm", ["epis", "ais", "lbp", "exact", "wmb"])
def test_interventions_equal_the_command_line(alarm, cli, algorithm):
    command = [cli, "infer", str(NETWORKS / "alarm.bif.gz"), "-a", algorithm, "-n", "2000", "--seed", "5",
               "--format", "json", "-e", "BP=LOW", "--do", "LVFAILURE=TRUE"]
    printed = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    result = alarm.infer(evidence={"BP": "LOW"}, do={"LVFAILURE": 0}, algorithm=algorithm, samples=2000, seed=5)
    assert printed["interventions"] == result.interventions == {"LVFAILURE": "TRUE"}
    for entry in printed["posteriors"]:
        assert entry["probabilities"] == result[entry["node"]].tolist(), entry["node"]


def test_every_query_takes_interventions_and_refuses_bad_ones(asia):
    explanation = asia.mpe(do={"tub": "yes"}, algorithm="exact")
    assert explanation.states["tub"] == "yes" and explanation.states["either"] == "yes"
    assert asia.map(["either"], do={"tub": "yes"}).states == {"either": "yes"}
    frame = asia.sample(100, seed=3, do={"tub": "yes"})
    assert (frame["tub"] == "yes").all()
    with pytest.raises(samplenet.EvidenceError, match="both observed and set"):
        asia.infer(evidence={"tub": "no"}, do={"tub": "yes"})
    with pytest.raises(samplenet.EvidenceError, match="unknown state \"maybe\" of \"tub\" in an intervention"):
        asia.infer(do={"tub": "maybe"})
    with pytest.raises(samplenet.EvidenceError, match="unknown node \"tubb\" in an intervention"):
        asia.infer(do={"tubb": "yes"})


def test_infer_many_applies_interventions_to_every_case(asia):
    import pandas as pd

    cases = pd.DataFrame({"dysp": ["yes", "no"]})
    frame = asia.infer_many(cases, algorithm="exact", query=["smoke"], jobs=1, do={"lung": "yes"})
    for row, state in enumerate(["yes", "no"]):
        single = asia.infer(evidence={"dysp": state}, do={"lung": "yes"}, algorithm="exact")
        assert frame.iloc[row]["smoke=yes"] == pytest.approx(single["smoke"][0], abs=1e-15)
    with pytest.raises(samplenet.EvidenceError, match='column "dysp" is set by do'):
        asia.infer_many(cases, do={"dysp": "yes"})
