import json
import os
import subprocess
import sys

import numpy as np
import pytest

from conftest import NETWORKS

distributed = pytest.importorskip("distributed")
import samplenet  # noqa: E402

EVIDENCE = {"BP": "LOW", "HRSAT": "HIGH"}


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(n_workers=3, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster:
        yield cluster


@pytest.fixture(scope="module")
def client(cluster):
    with distributed.Client(cluster) as client:
        yield client


def assert_same_run(a, b):
    assert list(a) == list(b)
    for node in a:
        assert np.array_equal(a[node], b[node]), node
        assert np.array_equal(a.standard_errors[node], b.standard_errors[node]), node
    assert a.ln_probability_of_evidence == b.ln_probability_of_evidence
    for field in ("samples_drawn", "distinct_samples", "effective_sample_size", "error_bound", "target_met",
                  "probability_of_evidence_relative_error"):
        assert getattr(a.sampling, field) == getattr(b.sampling, field), field


def test_shares_on_the_cluster_equal_jobs_on_one_machine(client, alarm):
    for algorithm in ("epis", "ais"):
        # One share per worker by default.
        on_cluster = alarm.infer(EVIDENCE, algorithm=algorithm, samples=5001, seed=4, client=client)
        assert_same_run(on_cluster, alarm.infer(EVIDENCE, algorithm=algorithm, samples=5001, seed=4, jobs=3))
    settings = dict(algorithm="epis", samples=4000, seed=11, query=["LVFAILURE", "HYPOVOLEMIA"],
                    joint=["LVFAILURE", "HYPOVOLEMIA"])
    on_cluster = alarm.infer(EVIDENCE, client=client, jobs=2, **settings)
    local = alarm.infer(EVIDENCE, jobs=2, **settings)
    assert_same_run(on_cluster, local)
    assert np.array_equal(on_cluster.joint.table, local.joint.table)
    # The share count, not the worker count, decides the numbers.
    assert not np.array_equal(on_cluster["LVFAILURE"], alarm.infer(EVIDENCE, jobs=3, **settings)["LVFAILURE"])


def test_target_error_rounds_run_across_the_cluster(client, alarm):
    settings = dict(algorithm="epis", target_error=0.01, samples=400_000, seed=2, max_seconds=3600)
    on_cluster = alarm.infer(EVIDENCE, client=client, jobs=2, **settings)
    assert_same_run(on_cluster, alarm.infer(EVIDENCE, jobs=2, **settings))
    assert on_cluster.sampling.target_met
    # More than the first round of 1,000 samples.
    assert on_cluster.sampling.samples_drawn > 1000


class KillOnceOnShare(distributed.WorkerPlugin):
    """Kills its worker's process as a share of the given round starts,
    once across the cluster (the marker file says it happened)."""

    def __init__(self, marker, round_index):
        self.marker = marker
        self.tag = f"-{round_index}-"

    def transition(self, key, start, finish, **kwargs):
        if finish != "executing" or not str(key).startswith("samplenet-share-") or self.tag not in str(key):
            return
        try:
            os.close(os.open(self.marker, os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            return
        os._exit(1)


def test_a_share_whose_worker_dies_mid_run_is_drawn_again_with_the_same_numbers(tmp_path, client, alarm):
    settings = dict(algorithm="epis", target_error=0.01, samples=400_000, seed=2, max_seconds=3600, jobs=2)
    marker = tmp_path / "killed"
    # Once the marker exists the plugin does nothing, so the cluster's
    # restarted worker serves the other tests.
    client.register_plugin(KillOnceOnShare(str(marker), round_index=1))
    on_cluster = alarm.infer(EVIDENCE, client=client, **settings)
    assert marker.exists()
    assert_same_run(on_cluster, alarm.infer(EVIDENCE, **settings))


def test_the_shell_command_prints_what_the_command_line_prints(cluster, cli):
    network = str(NETWORKS / "alarm.bif.gz")
    flags = ["-a", "epis", "-n", "3000", "--seed", "5", "-e", "BP=LOW", "--jobs", "2"]
    shell = subprocess.run([sys.executable, "-m", "samplenet", "infer", network, *flags,
                            "--dask", cluster.scheduler_address], capture_output=True, text=True, check=True)
    native = subprocess.run([cli, "infer", network, *flags, "--format", "json"],
                            capture_output=True, text=True, check=True)
    ours, theirs = json.loads(shell.stdout), json.loads(native.stdout)
    for field in ("samples_drawn", "effective_sample_size", "ln_probability_of_evidence", "error_bound"):
        assert ours[field] == theirs[field], field
    assert ours["posteriors"] == [{key: entry[key] for key in ("node", "states", "probabilities", "standard_errors")}
                                  for entry in theirs["posteriors"]]


def test_what_a_cluster_cannot_draw_is_refused_before_it_starts(client, alarm):
    with pytest.raises(samplenet.OptionError, match="a cluster draws epis or ais samples"):
        alarm.infer(EVIDENCE, client=client)
    with pytest.raises(ValueError, match="not a sampling plan"):
        samplenet._core.draw_share(b"junk", b"", 10)
