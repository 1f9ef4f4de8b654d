"""The network model: nodes, states, parents and tables, and inference on it."""

from __future__ import annotations

import os
import warnings

import numpy as np

from samplenet import _core
from samplenet.options import make_options
from samplenet.result import Result, SamplingSummary


def load(path) -> "Network":
    """Reads a network (BIF, XMLBIF, Hugin NET or UAI, optionally gzipped),
    chosen by the file's extension."""
    return Network(_core.read_network(os.fspath(path)))


class Network:
    """A discrete Bayesian network. Tables are numpy arrays with one axis per
    parent, in parents order, then one for the node's own states."""

    def __init__(self, core: _core.Network):
        self._core = core
        self._index = {name: i for i, name in enumerate(core.nodes)}

    @classmethod
    def from_tables(cls, nodes, name="") -> "Network":
        """Builds a network from (name, states, parent names, table) tuples,
        in any order; the tables are checked like a file's."""
        specs = [
            (str(node), [str(s) for s in states], [str(p) for p in parents],
             np.asarray(table, dtype=float).ravel().tolist())
            for node, states, parents, table in nodes
        ]
        return cls(_core.build_network(name, specs))

    def __reduce__(self):
        # Pickled as its tables, so that worker processes get the same network.
        return (Network.from_tables, (self.families(), self.name))

    @property
    def name(self) -> str:
        return self._core.name

    @property
    def nodes(self) -> list[str]:
        return self._core.nodes

    def __len__(self):
        return self._core.size

    def __contains__(self, node):
        return node in self._index

    def index(self, node) -> int:
        try:
            return self._index[node]
        except KeyError:
            raise KeyError(f"unknown node {node!r}") from None

    def states(self, node) -> list[str]:
        return self._core.states(self.index(node))

    def parents(self, node) -> list[str]:
        names = self._core.nodes
        return [names[p] for p in self._core.parents(self.index(node))]

    def table(self, node) -> np.ndarray:
        v = self.index(node)
        shape = [len(self.states(p)) for p in self.parents(node)] + [len(self._core.states(v))]
        return np.asarray(self._core.table(v), dtype=float).reshape(shape)

    def families(self):
        """(name, states, parents, table) of every node, as from_tables takes them."""
        return [(n, self.states(n), self.parents(n), self.table(n)) for n in self.nodes]

    def save(self, path) -> None:
        """Writes in the format of the path's extension (gzipped for .gz)."""
        self._core.save(os.fspath(path))

    def infer(self, evidence=None, likelihood=None, algorithm="auto", samples=100_000, iterations=50,
              propagation_length=4, seed=None, memory_limit_gib=4.0, jobs=1,
              generator="standard", target_error=None, tolerance=None) -> Result:
        """Posterior marginals of every node. `evidence` maps node names to
        state names (or state indices); `likelihood` maps node names to one
        non-negative factor per state. algorithm="auto" runs exact inference
        where it is quick and epis to a target error of 0.01 otherwise
        (result.choice says which and why). `jobs` threads share the samples of
        epis and ais (results depend on the seed and the job count);
        generator="wide" lifts the limit of 2^31 random numbers per run;
        target_error=E draws until every posterior is within E of the truth
        with 95% confidence (result.sampling.target_met says whether it was,
        result.sampling.error_bound how close they are); tolerance=T stops
        lbp once no belief changes by more than T (result.converged)."""
        options = make_options(algorithm, samples, iterations, propagation_length, seed, memory_limit_gib, jobs,
                               generator, target_error, tolerance)
        hard = {str(node): self._state_name(node, state) for node, state in (evidence or {}).items()}
        soft = {str(node): [float(x) for x in values] for node, values in (likelihood or {}).items()}
        posteriors, log_p, seconds, sampling, converged, choice = _core.infer(self._core, hard, soft, options)
        names = self.nodes
        if sampling is not None:
            drawn, distinct = sampling[0], sampling[1]
            if distinct < drawn:
                warnings.warn(f"only {distinct} of {drawn} samples are distinct draws: the generator's stream of "
                              "2^31 numbers repeats after that, so more samples add no information", RuntimeWarning,
                              stacklevel=2)
            sampling = SamplingSummary(drawn, distinct, sampling[2], sampling[3],
                                       {name: np.asarray(e) for name, e in zip(names, sampling[4])}, sampling[5])
        return Result(
            {name: np.asarray(p) for name, p in zip(names, posteriors)},
            {name: self._core.states(v) for v, name in enumerate(names)},
            log_p,
            seconds,
            sampling=sampling,
            converged=converged,
            choice=choice or None,
            picture=lambda queried: _core.picture_svg(self._core, hard, soft, posteriors, queried),
        )

    def explore(self, port=0, algorithm="auto", **options) -> str:
        """Starts the explore page for this network on 127.0.0.1 (port 0: a
        free one) and returns its address: click a state to observe it and
        watch every posterior move. It runs on a background thread until
        the interpreter exits; `algorithm` and the other options are infer's."""
        return _core.explore(self._core, make_options(algorithm, **options), int(port), self.name or "network")

    def infer_many(self, cases, **kwargs):
        """Runs every row of a DataFrame as one evidence case; see
        samplenet.batch.infer_many."""
        from samplenet.batch import infer_many

        return infer_many(self, cases, **kwargs)

    def to_pgmpy(self):
        from samplenet.interop import to_pgmpy

        return to_pgmpy(self)

    def to_pyagrum(self):
        from samplenet.interop import to_pyagrum

        return to_pyagrum(self)

    def _state_name(self, node, state):
        if isinstance(state, (int, np.integer)) and not isinstance(state, bool):
            states = self.states(node)
            if not 0 <= state < len(states):
                raise _core.EvidenceError(f'state index {state} of "{node}" is out of range 0..{len(states) - 1}')
            return states[state]
        return str(state)

    def __repr__(self):
        return f"Network({self.name!r}, {len(self)} nodes)"
