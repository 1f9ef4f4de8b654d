import numpy as np
import pytest

import samplenet

EVIDENCE = {"BP": "LOW", "HRSAT": "HIGH", "VENTLUNG": "ZERO"}


def assert_same_tables(a, b):
    assert sorted(a.nodes) == sorted(b.nodes)
    for node in a.nodes:
        assert a.states(node) == b.states(node)
        # pyAgrum keeps no order of parents: compare with b's axes put in a's.
        parents = b.parents(node)
        assert sorted(parents) == sorted(a.parents(node))
        axes = [parents.index(p) for p in a.parents(node)] + [len(parents)]
        np.testing.assert_allclose(b.table(node).transpose(axes), a.table(node), rtol=0, atol=1e-12, err_msg=node)


def test_pgmpy_round_trip_and_exact_inference(alarm):
    pytest.importorskip("pgmpy")
    from pgmpy.inference import VariableElimination

    model = alarm.to_pgmpy()
    assert model.check_model()
    assert_same_tables(alarm, samplenet.from_pgmpy(model))

    ours = alarm.infer(evidence=EVIDENCE, algorithm="exact")
    engine = VariableElimination(model)
    for node in ["HYPOVOLEMIA", "LVFAILURE", "CO", "HISTORY"]:
        theirs = engine.query([node], evidence=EVIDENCE, show_progress=False)
        values = dict(zip(theirs.state_names[node], theirs.values))
        np.testing.assert_allclose(ours[node], [values[s] for s in alarm.states(node)], atol=1e-12)


def test_pyagrum_round_trip_and_exact_inference(alarm):
    gum = pytest.importorskip("pyagrum")

    bn = alarm.to_pyagrum()
    assert bn.size() == len(alarm)
    assert_same_tables(alarm, samplenet.from_pyagrum(bn))

    ours = alarm.infer(evidence=EVIDENCE, algorithm="exact")
    engine = gum.LazyPropagation(bn)
    engine.setEvidence(EVIDENCE)
    engine.makeInference()
    for node in alarm.nodes:
        np.testing.assert_allclose(ours[node], engine.posterior(node).toarray(), atol=1e-12, err_msg=node)
    assert ours.probability_of_evidence == pytest.approx(engine.evidenceProbability(), rel=1e-9)
