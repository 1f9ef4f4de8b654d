"""Inference over a table of evidence cases, on several processes.

Each row is one case; columns are node names and an empty cell (NaN, None or
"") leaves its node unobserved. Case i runs with a seed derived from the run's
seed and i, so its result does not depend on how many processes run."""

from __future__ import annotations

import math
import multiprocessing
import os
import secrets
import warnings
from concurrent.futures import ProcessPoolExecutor

import numpy as np
import pandas as pd

from samplenet import _core
from samplenet.errors import CaseError, OptionError
from samplenet.intervention import check_columns_not_set, intervened
from samplenet.options import make_options, seed_value, whole_number


def cell_text(value, states=None) -> str:
    """A cell as the evidence text of the command line's case files. A whole
    number names a state of the column's node (`states`) when one has that
    name (pandas reads numeric state names as numbers), else it is a state
    index, as in Network.infer; one that is neither makes its case fail."""
    if value is None or (isinstance(value, float) and math.isnan(value)) or value is pd.NA:
        return ""
    if isinstance(value, (list, tuple, np.ndarray)):
        return "[" + ",".join(repr(float(x)) for x in value) + "]"
    # Floats too: a column of numbers with a gap in it is read as floats.
    if isinstance(value, (int, np.integer, float, np.floating)) and not isinstance(value, bool) \
            and float(value).is_integer():
        text = str(int(value))
        if states is None or text in states or not 0 <= int(value) < len(states):
            return text
        return states[int(value)]
    return str(value)


def case_rows(cases: pd.DataFrame, network) -> list[list[str]]:
    """Every row of `cases` as cell texts; columns that name nodes of the
    network take state indices."""
    states = [network.states(c) if c in network else None for c in cases.columns]
    return [[cell_text(v, s) for v, s in zip(row, states)] for row in cases.itertuples(index=False, name=None)]


def output_columns(network, query, standard_errors=False) -> tuple[list[int], list[str]]:
    """Indices of the queried nodes (all by default) and the NODE=STATE names
    of their columns, followed with standard_errors by a
    standard_error:NODE=STATE name for each."""
    nodes = ([query] if isinstance(query, str) else list(query)) if query is not None else network.nodes
    unknown = [n for n in nodes if n not in network]
    if unknown:
        raise OptionError("query", f"unknown node {unknown[0]!r} in query")
    indices = [network.index(n) for n in nodes]
    names = [f"{n}={s}" for n in nodes for s in network.states(n)]
    return indices, names + ([f"standard_error:{name}" for name in names] if standard_errors else [])


def check_standard_errors(option_values, standard_errors):
    """Refuses standard_errors=True for an algorithm that computes none."""
    if standard_errors and (why := _core.why_no_case_standard_errors(make_options(**option_values))):
        raise OptionError("standard_errors", f"standard_errors: {why}")


def run_chunk(core, columns, rows, queried, option_values, run_seed, first, standard_errors=False):
    """Cases first, first+1, ...: a row of values per case ([] when it failed)
    and its error. option_values: make_options' arguments, which pickle."""
    return _core.run_cases(core, columns, rows, queried, make_options(**option_values), run_seed, first,
                           bool(standard_errors))


_worker_network = None


def _init_worker(network):
    global _worker_network
    _worker_network = network


def _run_in_worker(*arguments):
    return run_chunk(_worker_network._core, *arguments)


def chunks(count: int, jobs: int):
    """(first, end) ranges: a few per process, so that slow cases even out."""
    size = max(1, math.ceil(count / (jobs * 4)))
    return [(first, min(first + size, count)) for first in range(0, count, size)]


def summary_columns(option_values):
    """The columns after the posteriors: log P(evidence) for exact inference;
    its estimate, relative error, the effective sample size, the 95% error
    bound and whether the answer is reliable (1.0, else 0.0, as the command
    line prints it) for the samplers."""
    return list(_core.case_summary_columns(make_options(**option_values)))


def collect(index, values, errors, names, on_error, summaries, first=0):
    """The output table from the values and errors of cases first, first+1, ...
    in order; rows are numbered from 1 over the whole table."""
    kept, failures = [], {}
    for position, error in enumerate(errors):
        if error:
            failures[first + position + 1] = error
        else:
            kept.append(position)
    if failures and on_error == "raise":
        row, error = next(iter(failures.items()))
        raise CaseError(row, error)
    for row, error in failures.items():
        warnings.warn(f"row {row} skipped: {error}", stacklevel=3)
    table = np.array([values[p] for p in kept], dtype=float).reshape(len(kept), len(names) + len(summaries))
    frame = pd.DataFrame(table[:, :len(names)], index=index[kept], columns=names)
    for k, column in enumerate(summaries):
        frame[column] = table[:, len(names) + k]
    frame.attrs["skipped"] = failures
    return frame


def check_on_error(on_error):
    """Refuses an on_error other than "skip" and "raise"."""
    if on_error not in ("skip", "raise"):
        raise OptionError("on_error", f'on_error must be "skip" or "raise", got {on_error!r}')


def infer_many(network, cases: pd.DataFrame, algorithm="epis", seed=None, query=None, jobs=None,
               on_error="skip", do=None, standard_errors=False, **options) -> pd.DataFrame:
    """Runs every row of `cases` as one evidence case and returns a DataFrame
    with one row per case (the input's index) and one column per NODE=STATE
    of the queried nodes (all by default); exact inference adds the natural
    log of P(evidence), the samplers its estimate, the estimate's relative
    error and the effective sample size (summary_columns).

    cases: columns named after nodes; a cell holds a state name, a state
    index, or a list of likelihood factors, and an empty cell (NaN, None,
    "") leaves its node unobserved. Case i runs with a seed derived from
    `seed` and i, so results do not depend on `jobs`. The options are those
    of Network.infer, but jobs is the number of processes here (default: all
    cores) and each case samples on one thread. algorithm defaults to epis,
    not auto, so that every row comes from one algorithm with the same
    columns.
    do: interventions for every case, as for Network.infer; a column may not
    name a node they set (EvidenceError).
    standard_errors: True adds, after the posteriors, a column
    standard_error:NODE=STATE with each one's standard error (NaN where auto
    answered exactly); OptionError for exact and lbp, which compute none.

    A case that fails is skipped with a warning naming its row (from 1), or
    raises CaseError with on_error="raise". Raises OptionError naming a bad
    option, EvidenceError for a column that names no node.

    With jobs above 1 the cases run in worker processes started afresh, which
    import the caller's main module: a script must start its work under
    `if __name__ == "__main__":`, as with any process pool."""
    check_on_error(on_error)
    option_values = dict(algorithm=algorithm, **options)
    make_options(warn=True, **option_values)  # refuses bad options here
    check_standard_errors(option_values, standard_errors)
    run_seed = secrets.randbelow(1 << 31) if seed is None else seed_value(seed)
    columns = [str(c) for c in cases.columns]
    network = intervened(network, do, {}, {})
    check_columns_not_set(columns, do)
    rows = case_rows(cases, network)
    queried, names = output_columns(network, query, standard_errors)
    jobs = (os.cpu_count() or 1) if jobs is None else whole_number("jobs", jobs, 1)
    run_chunk(network._core, columns, [], queried, option_values, run_seed, 0)  # refuses a bad header here
    values, errors = [], []
    if jobs == 1 or len(rows) <= 1:
        values, errors = run_chunk(network._core, columns, rows, queried, option_values, run_seed, 0,
                                   standard_errors)
    else:
        # Processes, not threads: the samplers' random state is process-wide.
        # forkserver, not fork: forking a process that runs threads (a
        # notebook, a Dask worker) can deadlock. Its server imports samplenet
        # once, so that workers start without importing numpy and pandas again.
        context = multiprocessing.get_context("forkserver")
        context.set_forkserver_preload(["samplenet"])
        with ProcessPoolExecutor(jobs, mp_context=context, initializer=_init_worker, initargs=(network,)) as pool:
            futures = [pool.submit(_run_in_worker, columns, rows[a:b], queried, option_values, run_seed, a,
                                   standard_errors) for a, b in chunks(len(rows), jobs)]
            for future in futures:
                chunk_values, chunk_errors = future.result()
                values += chunk_values
                errors += chunk_errors
    return collect(cases.index, values, errors, names, on_error, summary_columns(option_values))
