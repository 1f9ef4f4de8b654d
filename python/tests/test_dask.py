import numpy as np
import pandas as pd
import pytest

from conftest import NETWORKS

dask = pytest.importorskip("dask")
dd = pytest.importorskip("dask.dataframe")
distributed = pytest.importorskip("distributed")
import samplenet  # noqa: E402
import samplenet.dask  # noqa: E402

CASES = pd.DataFrame({
    "BP": ["LOW", None, "HIGH", "", "NORMAL", "LOW", "HIGH"],
    "HRSAT": ["HIGH", "LOW", None, "NORMAL", "HIGH", None, "bogus"],
})


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        yield client


def test_cluster_results_equal_the_single_process_ones_row_for_row(client, alarm):
    path = NETWORKS / "alarm.bif.gz"
    with pytest.warns(UserWarning, match="row 7 skipped"):
        expected = alarm.infer_many(CASES, samples=2000, seed=8, jobs=1)
    lazy = samplenet.dask.infer_many(path, dd.from_pandas(CASES, npartitions=3), samples=2000, seed=8)
    table = lazy.compute()
    assert list(table.index) == list(expected.index) == [0, 1, 2, 3, 4, 5]
    assert list(table.columns) == list(expected.columns)
    assert np.array_equal(table.to_numpy(), expected.to_numpy())
    # Both worker processes took part.
    assert len(client.scheduler_info()["workers"]) == 2

    options = dict(samples=2000, seed=8, query=["HYPOVOLEMIA"], standard_errors=True)
    with pytest.warns(UserWarning, match="row 7 skipped"):
        expected = alarm.infer_many(CASES, jobs=1, **options)
    table = samplenet.dask.infer_many(path, dd.from_pandas(CASES, npartitions=3), **options).compute()
    assert list(table.columns[2:4]) == ["standard_error:HYPOVOLEMIA=TRUE", "standard_error:HYPOVOLEMIA=FALSE"]
    assert list(table.columns) == list(expected.columns)
    assert np.array_equal(table.to_numpy(), expected.to_numpy())


def test_a_bad_case_fails_the_run_with_its_row_over_the_whole_table(client):
    lazy = samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", dd.from_pandas(CASES, npartitions=3),
                                     algorithm="exact", on_error="raise")
    with pytest.raises(ValueError, match='row 7: unknown state "bogus" of "HRSAT"'):
        lazy.compute()


def test_interventions_reach_the_workers(client, alarm):
    cases = CASES.iloc[:6]
    do = {"LVFAILURE": "TRUE", "HYPOVOLEMIA": 0}
    expected = alarm.infer_many(cases, algorithm="exact", do=do, jobs=1)
    table = samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", dd.from_pandas(cases, npartitions=3),
                                      algorithm="exact", do=do).compute()
    assert list(table.columns) == list(expected.columns)
    np.testing.assert_allclose(table.to_numpy(), expected.to_numpy(), rtol=0, atol=1e-12)
    assert not np.allclose(table.to_numpy(), alarm.infer_many(cases, algorithm="exact", jobs=1).to_numpy())
    with pytest.raises(samplenet.EvidenceError, match='column "BP" is set by do'):
        samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", dd.from_pandas(cases, npartitions=2), do={"BP": "LOW"})
    with pytest.raises(samplenet.EvidenceError):
        samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", dd.from_pandas(cases, npartitions=2),
                                  do={"LVFAILURE": "sometimes"})


def test_bad_file_or_header_fails_before_the_cluster_runs(client, tmp_path):
    with pytest.raises(FileNotFoundError):
        samplenet.dask.infer_many(tmp_path / "none.bif", dd.from_pandas(CASES, npartitions=2))
    with pytest.raises(samplenet.EvidenceError, match="in the header"):
        samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", dd.from_pandas(CASES.rename(columns={"BP": "X"}), npartitions=2))


def test_a_worker_busy_with_a_long_partition_keeps_answering_its_scheduler():
    # The scheduler drops a worker it has not heard from for 2 s, or ten
    # heartbeats (5 s with one worker); the run takes about twice that, so it
    # completes only if the worker keeps answering while it computes.
    with dask.config.set({"distributed.scheduler.worker-ttl": "2s"}), \
            distributed.LocalCluster(n_workers=1, threads_per_worker=1, processes=True,
                                     dashboard_address=None) as cluster, distributed.Client(cluster):
        # One case: between cases a worker gets a word in anyway.
        cases = dd.from_pandas(pd.DataFrame({"BP": ["LOW"]}), npartitions=1)
        table = samplenet.dask.infer_many(NETWORKS / "alarm.bif.gz", cases, samples=20_000_000, seed=1).compute()
    assert len(table) == 1
