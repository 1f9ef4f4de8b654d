import json
import pickle
import subprocess

import numpy as np
import pytest

import samplenet
from conftest import NETWORKS


# The library's tests check explanations against every assignment; here
# the package's equal the command line's, exact and sampled.
def test_explanations_equal_the_command_line(asia, cli):
    for algorithm, options in [("exact", {}), ("epis", dict(samples=5000, seed=3))]:
        explanation = asia.mpe(evidence={"dysp": "yes", "xray": "yes"}, algorithm=algorithm, **options)
        assert explanation.exact == (algorithm == "exact") and explanation.algorithm == algorithm
        command = [cli, "infer", str(NETWORKS / "asia.bif.gz"), "-e", "dysp=yes", "-e", "xray=yes", "--mpe", "-a",
                   algorithm, "-n", "5000", "--seed", "3", "--format", "json"]
        reply = json.loads(subprocess.run(command, capture_output=True, text=True, check=True).stdout)
        assert reply["explanation"] == explanation.states
        assert reply["ln_joint_probability"] == explanation.log_joint_probability
        assert reply["ln_posterior_probability"] == explanation.log_posterior_probability
    chosen = asia.mpe(evidence={"dysp": "yes", "xray": "yes"})
    assert chosen.exact and chosen.choice.startswith("exact")


def test_joint_posterior_agrees_with_the_marginals_and_pickles(asia):
    result = asia.infer(evidence={"dysp": "yes"}, algorithm="exact", joint=["lung", "bronc", "dysp"])
    joint = result.joint
    assert joint.table.shape == (2, 2, 2)
    assert joint.table.sum() == pytest.approx(1.0, abs=1e-12)
    np.testing.assert_allclose(joint.table.sum(axis=(1, 2)), result["lung"], atol=1e-12)
    np.testing.assert_allclose(joint.table.sum(axis=(0, 2)), result["bronc"], atol=1e-12)
    assert joint.table[:, :, 1].sum() == 0.0  # dysp is observed "yes"
    frame = joint.to_pandas()
    assert list(frame.columns) == ["lung", "bronc", "dysp", "probability"]
    assert frame.set_index(joint.nodes).loc[("yes", "no", "yes"), "probability"] == joint.table[0, 1, 0]
    assert pickle.loads(pickle.dumps(result)).joint.table.tolist() == joint.table.tolist()


def test_sampled_joint_comes_from_the_same_samples_with_standard_errors(asia):
    evidence = {"dysp": "yes"}
    nodes = ["lung", "bronc", "dysp"]
    exact = asia.infer(evidence=evidence, algorithm="exact", joint=nodes).joint
    assert exact.standard_errors is None
    result = asia.infer(evidence=evidence, algorithm="epis", samples=20000, seed=4, joint=nodes, query=nodes)
    joint = result.joint
    assert joint.table.shape == joint.standard_errors.shape == (2, 2, 2)
    assert np.all(np.abs(joint.table - exact.table) <= 5 * joint.standard_errors + 0.005)
    frame = joint.to_pandas().set_index(nodes)
    assert frame.loc[("no", "yes", "yes"), "standard_error"] == joint.standard_errors[1, 0, 0]
    # A target error covers the joint's entries too.
    assert asia.infer(evidence=evidence, algorithm="epis", samples=10**6, seed=4, target_error=0.01,
                      joint=nodes).sampling.target_met


def test_a_query_computes_only_its_nodes_with_the_same_numbers(alarm):
    options = dict(evidence={"BP": "LOW"}, algorithm="epis", samples=3000, seed=2)
    full = alarm.infer(**options)
    part = alarm.infer(query=["HR", "CO"], **options)
    for node in ("HR", "CO"):
        np.testing.assert_array_equal(part[node], full[node])
        np.testing.assert_array_equal(part.standard_errors[node], full.standard_errors[node])
    # The bound covers every posterior's 95% interval.
    assert full.sampling.error_bound >= 1.96 * max(errors.max() for errors in full.standard_errors.values())
    with pytest.raises(ValueError, match="computed only its query"):
        part.picture(["HYPOVOLEMIA"])


def test_queries_refuse_what_they_cannot_answer(asia):
    with pytest.raises(samplenet.OptionError, match="lbp gives no explanation"):
        asia.mpe(algorithm="lbp")
    with pytest.raises(samplenet.OptionError, match="joint"):
        asia.infer(joint=["lung", "nowhere"])
    with pytest.raises(samplenet.InferenceError, match="impossible"):
        asia.mpe(evidence={"either": "no", "lung": "yes"}, algorithm="exact")
