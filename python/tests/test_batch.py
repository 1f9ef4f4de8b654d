import importlib.util
import subprocess
import sys
from io import StringIO

import numpy as np
import pandas as pd
import pytest

import samplenet
from conftest import NETWORKS
from samplenet.batch import CaseError

CASES = pd.DataFrame({
    "BP": ["LOW", None, "HIGH", "", "NORMAL", "LOW"],
    "HRSAT": ["HIGH", "LOW", None, "NORMAL", "HIGH", None],
    "CVP": [None, "LOW", "NORMAL", None, "[0.2,0.5,0.3]", "HIGH"],
}, index=[10, 11, 12, 13, 14, 15])


def single_runs(network, cases, seed, **kwargs):
    """What infer() gives for each case on its own, with the case's seed."""
    rows = []
    for i, (_, row) in enumerate(cases.iterrows()):
        hard = {n: v for n, v in row.items() if isinstance(v, str) and v and not v.startswith("[")}
        soft = {n: [float(x) for x in v[1:-1].split(",")] for n, v in row.items()
                if isinstance(v, str) and v.startswith("[")}
        result = network.infer(evidence=hard, likelihood=soft, seed=samplenet._core.case_seed(seed, i), **kwargs)
        rows.append(np.concatenate([result[n] for n in network.nodes]))
    return np.array(rows)


def test_each_case_equals_its_single_run_whatever_the_number_of_jobs(alarm):
    kwargs = dict(algorithm="epis", samples=2000)
    expected = single_runs(alarm, CASES, 99, **kwargs)
    for jobs in (1, 2, 3):
        table = alarm.infer_many(CASES, seed=99, jobs=jobs, **kwargs)
        assert list(table.index) == list(CASES.index)
        assert table.columns[0] == f"{alarm.nodes[0]}={alarm.states(alarm.nodes[0])[0]}"
        assert np.array_equal(table.to_numpy()[:, :expected.shape[1]], expected), f"jobs={jobs}"
        assert list(table.columns[expected.shape[1]:]) == [
            "ln_probability_of_evidence", "probability_of_evidence_relative_error", "effective_sample_size",
            "error_bound", "reliable"]
        assert (table["effective_sample_size"] > 0).all()
        assert set(table["reliable"]) <= {0.0, 1.0}


def test_case_seeds_differ_between_cases_and_runs():
    seeds = {samplenet._core.case_seed(run, i) for run in (1, 2) for i in range(50)}
    assert len(seeds) > 90
    assert all(0 <= s < 1 << 15 for s in seeds)


def test_exact_batch_gives_probability_of_evidence_and_queried_columns(alarm):
    table = alarm.infer_many(CASES, algorithm="exact", query=["HYPOVOLEMIA"], jobs=1)
    assert list(table.columns) == ["HYPOVOLEMIA=TRUE", "HYPOVOLEMIA=FALSE", "ln_probability_of_evidence"]
    # A batch computes only what it is asked for, as infer with the same query does.
    first = alarm.infer(evidence={"BP": "LOW", "HRSAT": "HIGH"}, algorithm="exact", query=["HYPOVOLEMIA"])
    assert table.loc[10, "HYPOVOLEMIA=TRUE"] == first["HYPOVOLEMIA"][0]
    assert table.loc[10, "ln_probability_of_evidence"] == first.log_probability_of_evidence
    whole = alarm.infer(evidence={"BP": "LOW", "HRSAT": "HIGH"}, algorithm="exact")
    assert table.loc[10, "ln_probability_of_evidence"] == pytest.approx(whole.log_probability_of_evidence, rel=1e-12)


def test_bad_rows_are_skipped_with_their_row_number_or_fail_the_run(asia):
    cases = pd.DataFrame({"asia": ["yes", "perhaps", None, "no"],
                          "either": ["yes", None, "yes", None],
                          "tub": [None, None, "no", None],
                          "lung": [None, None, "no", None]})
    with pytest.warns(UserWarning) as caught:
        table = asia.infer_many(cases, algorithm="exact", jobs=2)
    messages = [str(w.message) for w in caught]
    assert any("row 2 skipped" in m and 'unknown state "perhaps" of "asia"' in m for m in messages)
    assert any("row 3 skipped" in m for m in messages)  # impossible evidence
    assert list(table.index) == [0, 3]
    assert set(table.attrs["skipped"]) == {2, 3}
    with pytest.raises(CaseError, match="row 2: unknown state"):
        asia.infer_many(cases, algorithm="exact", on_error="raise")


def test_bad_header_or_arguments_fail_before_any_case(asia):
    with pytest.raises(samplenet.EvidenceError, match='unknown node "Asia" in the header'):
        asia.infer_many(pd.DataFrame({"Asia": ["yes"]}))
    with pytest.raises(ValueError, match="on_error"):
        asia.infer_many(pd.DataFrame({"asia": ["yes"]}), on_error="ignore")
    with pytest.raises(samplenet.OptionError, match="unknown node 'nope' in query"):
        asia.infer_many(pd.DataFrame({"asia": ["yes"]}), query=["nope"])
    with pytest.raises(samplenet.OptionError, match="seed"):
        asia.infer_many(pd.DataFrame({"asia": ["yes"]}), seed=-1)


def test_numeric_state_names_survive_pandas_reading_them_as_floats(tmp_path):
    network = samplenet.Network.from_tables([("A", ["0", "1"], [], [0.3, 0.7]),
                                             ("B", ["0", "1"], ["A"], [[0.9, 0.1], [0.2, 0.8]])])
    cases = pd.DataFrame({"A": [1.0, np.nan]})
    table = network.infer_many(cases, algorithm="exact", jobs=1)
    assert table.loc[0, "A=1"] == 1.0 and table.loc[1, "A=1"] == pytest.approx(0.7)


def read_exactly(csv_text):
    """A batch's CSV output, its numbers parsed by Python's correctly rounded float()."""
    table = pd.read_csv(StringIO(csv_text), dtype=str).astype({"row": int}).set_index("row")
    return table.astype(float)


def test_infer_many_equals_the_command_line_batch_bit_for_bit(alarm, cli, tmp_path):
    cases_path = tmp_path / "cases.csv"
    CASES.to_csv(cases_path, index=False)
    printed = subprocess.run([cli, "batch", str(NETWORKS / "alarm.bif.gz"), str(cases_path), "-n", "2000",
                              "--seed", "31", "-j", "2"], check=True, capture_output=True, text=True).stdout
    theirs = read_exactly(printed)
    cases = pd.read_csv(cases_path, dtype=str)
    ours = alarm.infer_many(cases, samples=2000, seed=31, jobs=2)
    assert list(theirs.index) == [i + 1 for i in ours.index]
    assert list(theirs.columns) == list(ours.columns)
    assert np.array_equal(theirs.to_numpy(), ours.to_numpy())

    # python -m samplenet batch writes the same table as CSV and as Parquet.
    module = [sys.executable, "-m", "samplenet", "batch", str(NETWORKS / "alarm.bif.gz"), str(cases_path),
              "-n", "2000", "--seed", "31", "-j", "2"]
    as_csv = subprocess.run(module, check=True, capture_output=True, text=True).stdout
    assert read_exactly(as_csv).equals(theirs)
    if importlib.util.find_spec("pyarrow"):
        subprocess.run(module + ["--format", "parquet", "-o", str(tmp_path / "out.parquet")], check=True)
        assert pd.read_parquet(tmp_path / "out.parquet").equals(theirs)

    # With the standard errors of chosen nodes, on all three surfaces.
    chosen = ["-q", "HYPOVOLEMIA", "-q", "CO", "--standard-errors"]
    printed = subprocess.run([cli, "batch", str(NETWORKS / "alarm.bif.gz"), str(cases_path), "-n", "2000",
                              "--seed", "31", *chosen], check=True, capture_output=True, text=True).stdout
    theirs = read_exactly(printed)
    ours = alarm.infer_many(cases, samples=2000, seed=31, jobs=2, query=["HYPOVOLEMIA", "CO"], standard_errors=True)
    assert list(theirs.columns) == list(ours.columns)
    assert list(ours.columns[5:10]) == ["standard_error:HYPOVOLEMIA=TRUE", "standard_error:HYPOVOLEMIA=FALSE",
                                        "standard_error:CO=LOW", "standard_error:CO=NORMAL", "standard_error:CO=HIGH"]
    assert np.array_equal(theirs.to_numpy(), ours.to_numpy())
    as_csv = subprocess.run(module + chosen, check=True, capture_output=True, text=True).stdout
    assert read_exactly(as_csv).equals(theirs)


# A sampler's standard errors are each case's own: the command line's batch
# test shows it, and the comparison with it above makes it so here too.
def test_standard_errors_need_a_sampler(asia):
    cases = pd.DataFrame({"dysp": ["yes", None], "xray": [None, "yes"]})
    # auto answers asia exactly: no standard error to give.
    automatic = asia.infer_many(cases, algorithm="auto", query="lung", standard_errors=True, jobs=1)
    assert automatic.filter(like="standard_error:").isna().all().all()
    for algorithm in ("exact", "lbp"):
        with pytest.raises(samplenet.OptionError, match=f"standard_errors: {algorithm} gives no standard errors"):
            asia.infer_many(cases, algorithm=algorithm, standard_errors=True)
