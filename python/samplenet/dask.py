"""Batch inference on a Dask cluster: partitions go to the workers, and each
worker process loads the network once.

    from distributed import Client
    client = Client("tcp://scheduler:8786")
    table = samplenet.dask.infer_many("alarm.bif.gz", cases, seed=1).compute()

Case i (counted over the whole table) runs with the same seed as in
Network.infer_many, so the results equal a single process's row for row."""

from __future__ import annotations

import functools
import secrets

import numpy as np
import pandas as pd

from samplenet.batch import (case_rows, check_on_error, check_standard_errors, collect, output_columns, run_chunk,
                             summary_columns)
from samplenet.intervention import check_columns_not_set, intervened
from samplenet.network import load
from samplenet.options import make_options, seed_value


@functools.lru_cache(maxsize=8)
def _network(path, settings=()):
    """The network at `path`, with the interventions `settings` (do's items)."""
    return intervened(load(path), dict(settings), {}, {})


def _run_partition(part, path, settings, offsets, query, option_values, run_seed, on_error, standard_errors,
                   partition_info=None):
    network = _network(path, settings)
    queried, names = output_columns(network, query, standard_errors)
    first = offsets[partition_info["number"]] if partition_info else 0
    values, errors = run_chunk(network._core, [str(c) for c in part.columns], case_rows(part, network), queried,
                               option_values, run_seed, first, standard_errors)
    return collect(part.index, values, errors, names, on_error, summary_columns(option_values), first)


def infer_many(network_path, cases, algorithm="epis", seed=None, query=None, on_error="skip", do=None,
               standard_errors=False, **options):
    """A lazy Dask DataFrame of posteriors, one row per case of the Dask
    DataFrame `cases` and one column per NODE=STATE, as Network.infer_many
    gives. The network file must be readable at the same path on every
    worker. Skipped cases are logged as warnings on the workers. Options,
    do=, standard_errors= and errors as in Network.infer_many; runs release the GIL, so a
    worker keeps answering its scheduler while it computes."""
    check_on_error(on_error)
    path = str(network_path)
    option_values = dict(algorithm=algorithm, **options)
    make_options(warn=True, **option_values)
    check_standard_errors(option_values, standard_errors)
    run_seed = secrets.randbelow(1 << 31) if seed is None else seed_value(seed)
    # Here too, so that a bad file, intervention or query fails at once.
    settings = tuple((do or {}).items())
    network = intervened(load(path), do, {}, {})
    check_columns_not_set([str(c) for c in cases.columns], do)
    queried, names = output_columns(network, query, standard_errors)
    run_chunk(network._core, [str(c) for c in cases.columns], [], queried, option_values, run_seed, 0)
    # Where each partition starts, so that a case's seed and row number do not
    # depend on how the table is split.
    lengths = cases.map_partitions(len).compute()
    offsets = [0, *np.cumsum(lengths)[:-1].tolist()]
    meta = pd.DataFrame({name: pd.Series(dtype=float) for name in names},
                        index=cases._meta.index)
    for column in summary_columns(option_values):
        meta[column] = pd.Series(dtype=float)
    return cases.map_partitions(_run_partition, path, settings, offsets, query, option_values, run_seed, on_error,
                                bool(standard_errors), meta=meta)
