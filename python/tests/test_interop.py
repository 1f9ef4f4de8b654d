import numpy as np
import pytest

import samplenet

EVIDENCE = {"BP": "LOW", "HRSAT": "HIGH", "VENTLUNG": "ZERO"}


def assert_same_tables(a, b):
    """The same nodes, states, parents in the same order, and tables."""
    assert sorted(a.nodes) == sorted(b.nodes)
    for node in a.nodes:
        assert a.states(node) == b.states(node)
        assert b.parents(node) == a.parents(node), node
        np.testing.assert_allclose(b.table(node), a.table(node), rtol=0, atol=1e-12, err_msg=node)


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


def test_from_pgmpy_refuses_a_model_with_a_node_without_a_table(asia):
    pytest.importorskip("pgmpy")
    model = asia.to_pgmpy()
    model.remove_cpds(model.get_cpds("xray"))
    with pytest.raises(samplenet.ModelError, match="no table for xray"):
        samplenet.from_pgmpy(model)
