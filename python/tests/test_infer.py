import io
import json
import math
import re
import subprocess

import numpy as np
import pandas as pd
import pytest

import samplenet
from conftest import NETWORKS


def test_samplers_agree_with_exact_inference_within_their_errors(asia):
    evidence = {"xray": "yes", "dysp": "yes"}
    exact = asia.infer(evidence=evidence, algorithm="exact")
    lbp = asia.infer(evidence=evidence, algorithm="lbp")
    assert lbp.log_probability_of_evidence is None and lbp.standard_errors is None
    for algorithm in ["epis", "ais"]:
        result = asia.infer(evidence=evidence, algorithm=algorithm, samples=50_000, seed=3)
        # The samplers estimate P(evidence) and state their errors.
        relative = result.sampling.probability_of_evidence_relative_error
        assert abs(result.probability_of_evidence / exact.probability_of_evidence - 1) < 4 * relative
        assert result.effective_sample_size > 1000
        for node in asia.nodes:
            assert np.all(np.abs(result[node] - exact[node]) <= 4 * result.standard_errors[node] + 1e-15), node


def test_likelihood_evidence_and_state_indices(asia):
    hard = asia.infer(evidence={"smoke": "no"}, algorithm="exact")
    by_index = asia.infer(evidence={"smoke": 1}, algorithm="exact")
    by_likelihood = asia.infer(likelihood={"smoke": [0.0, 2.0]}, algorithm="exact")
    for node in asia.nodes:
        np.testing.assert_allclose(by_index[node], hard[node], rtol=0, atol=0)
        np.testing.assert_allclose(by_likelihood[node], hard[node], rtol=0, atol=1e-15)
    soft = asia.infer(likelihood={"smoke": [0.9, 0.1]}, algorithm="exact")
    # P(smoke) = 0.5: the posterior is the likelihood, normalised.
    np.testing.assert_allclose(soft["smoke"], [0.9, 0.1], atol=1e-12)


def test_to_pandas_is_one_row_per_node_and_state(asia):
    table = asia.infer(algorithm="exact").to_pandas()
    assert list(table.columns) == ["node", "state", "probability", "ln_probability_of_evidence"]
    np.testing.assert_allclose(table["ln_probability_of_evidence"], 0.0, atol=1e-12)  # no evidence
    assert len(table) == sum(len(asia.states(n)) for n in asia.nodes)
    np.testing.assert_allclose(table.groupby("node")["probability"].sum(), 1.0)
    assert table.query("node == 'asia' and state == 'yes'")["probability"].item() == pytest.approx(0.01)


def test_bad_evidence_and_options_raise_with_clear_messages(asia):
    cases = [
        (dict(evidence={"nope": "yes"}), samplenet.EvidenceError, 'unknown node "nope"'),
        (dict(evidence={"asia": "maybe"}), samplenet.EvidenceError, 'unknown state "maybe" of "asia"; valid states: yes, no'),
        (dict(evidence={"asia": 2}), samplenet.EvidenceError, "out of range"),
        (dict(likelihood={"asia": [1.0]}), samplenet.EvidenceError, '"asia"'),
        (dict(likelihood={"asia": [0.0, 0.0]}), samplenet.EvidenceError, '"asia"'),
        (dict(algorithm="gibbs"), ValueError, 'unknown algorithm "gibbs"'),
        (dict(samples=0), ValueError, "samples: expected a whole number of at least 1"),
        (dict(evidence={"tub": "no", "either": "yes", "lung": "no"}, algorithm="exact"),
         samplenet.InferenceError, None),
        (dict(evidence={"tub": "no", "either": "yes", "lung": "no"}, samples=1000, seed=1),
         samplenet.InferenceError, None),
    ]
    for kwargs, error, message in cases:
        with pytest.raises(error, match=message and re.escape(message)):
            asia.infer(**kwargs)


@pytest.mark.parametrize("algorithm", ["epis", "ais", "lbp", "exact", "wmb", "bpis"])
def test_results_equal_the_command_line_bit_for_bit(alarm, cli, algorithm):
    evidence = {"BP": "LOW", "HRSAT": "HIGH"}
    command = [cli, "infer", str(NETWORKS / "alarm.bif.gz"), "-a", algorithm, "-n", "3000", "--seed", "4242",
               "--format", "json"] + [f"-e{n}={s}" for n, s in evidence.items()] + ["-eCVP=[0.2,0.7,0.4]"]
    printed = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    result = alarm.infer(evidence=evidence, likelihood={"CVP": [0.2, 0.7, 0.4]}, algorithm=algorithm,
                         samples=3000, seed=4242)
    for entry in printed["posteriors"]:
        assert entry["probabilities"] == result[entry["node"]].tolist(), entry["node"]
    if algorithm == "exact":
        assert printed["ln_probability_of_evidence"] == result.log_probability_of_evidence
        assert math.isfinite(result.log_probability_of_evidence)
    # The command line's CSV is to_pandas() as pandas reads it, P(evidence) included.
    as_csv = subprocess.run([word if word != "json" else "csv" for word in command], check=True,
                            capture_output=True, text=True).stdout
    table = pd.read_csv(io.StringIO(as_csv), dtype={"node": str, "state": str}, float_precision="round_trip")
    pd.testing.assert_frame_equal(table, result.to_pandas(), check_exact=True)
    assert ("ln_probability_of_evidence" in table) == (algorithm != "lbp")


def test_jobs_split_one_run_and_report_distinct_draws(asia):
    evidence = {"xray": "yes"}
    one = asia.infer(evidence=evidence, algorithm="epis", samples=20_000, seed=9)
    assert asia.infer(evidence=evidence, algorithm="epis", samples=20_000, seed=9, jobs=1)["lung"].tolist() == one["lung"].tolist()
    two = asia.infer(evidence=evidence, algorithm="epis", samples=20_000, seed=9, jobs=2)
    again = asia.infer(evidence=evidence, algorithm="epis", samples=20_000, seed=9, jobs=2)
    assert two["lung"].tolist() == again["lung"].tolist()
    assert two["lung"].tolist() != one["lung"].tolist()
    assert (two.sampling.samples_drawn, two.sampling.distinct_samples) == (20_000, 20_000)
    with pytest.raises(ValueError, match="jobs"):
        asia.infer(algorithm="epis", jobs=0)


def test_target_error_draws_until_it_is_met(alarm):
    result = alarm.infer(evidence={"BP": "LOW"}, algorithm="epis", target_error=0.01, seed=4)
    assert result.sampling.target_met
    assert max(float(e.max()) for e in result.standard_errors.values()) <= 0.01
    assert result.sampling.reliable and result.sampling.warning is None
    with pytest.warns(RuntimeWarning, match="target error was not met"):
        capped = alarm.infer(evidence={"BP": "LOW"}, algorithm="epis", target_error=0.0001, samples=2000, seed=4)
    assert capped.sampling.target_met is False and capped.sampling.samples_drawn == 2000
    assert not capped.sampling.reliable
    with pytest.warns(RuntimeWarning, match="unreliable: the samples are worth"):
        few = alarm.infer(evidence={"BP": "LOW"}, algorithm="epis", samples=50, seed=4)
    assert not few.sampling.reliable
    with pytest.raises(ValueError, match="target_error"):
        alarm.infer(target_error=1.5)


def test_auto_takes_exact_inference_where_it_is_quick_and_says_so(asia):
    result = asia.infer(evidence={"xray": "yes"})
    exact = asia.infer(evidence={"xray": "yes"}, algorithm="exact")
    assert result.choice.startswith("exact: the junction tree holds")
    assert all(np.array_equal(result[n], exact[n]) for n in asia.nodes)
    assert exact.choice is None


def test_lbp_with_a_tolerance_says_whether_it_converged(asia):
    assert asia.infer(evidence={"xray": "yes"}, algorithm="lbp", tolerance=1e-12).converged is True
    assert asia.infer(algorithm="lbp", iterations=1, tolerance=1e-12).converged is False
    assert asia.infer(algorithm="lbp").converged is None
