"""The network model: nodes, states, parents and tables, and inference on it."""

from __future__ import annotations

import os

import numpy as np

from samplenet import _core, cluster, interop
from samplenet.errors import EvidenceError, OptionError, ParseError
from samplenet.explore import ExploreServer
from samplenet.intervention import intervened, settings_of
from samplenet.options import make_options, options_help, refuse_unanswered
from samplenet import queries
from samplenet.queries import Explanation, JointPosterior
from samplenet.result import Result, SamplingSummary


def load(path) -> "Network":
    """Reads a network file: BIF, XMLBIF, Hugin NET or UAI, chosen by the
    extension (.bif, .xml/.xmlbif, .net, .uai), each optionally gzipped
    (.gz). Returns a Network.

    Raises the OSError of the file (FileNotFoundError, PermissionError,
    IsADirectoryError, ...) when it cannot be opened; ParseError, with the
    file and line, when it does not follow its format or has no known
    extension; ModelError when the network it describes is not valid."""
    name = os.fspath(path)
    # Python's own open gives the OSError subclass that says why.
    with open(name, "rb"):
        pass
    try:
        return Network(_core.read_network(name))
    except ParseError as error:
        if error.path is None:
            error.path = name
        raise


class _Picture:
    """Draws a finished run's posteriors on its network; pickles with them."""

    def __init__(self, network, hard, soft, posteriors):
        self.network, self.hard, self.soft, self.posteriors = network, hard, soft, posteriors

    def __call__(self, nodes) -> str:
        queried = [self.network.index(node) for node in nodes]
        # A run with query= computed only the queried nodes.
        drawn = queried or range(len(self.posteriors))
        missing = [self.network.nodes[v] for v in drawn if not len(self.posteriors[v])]
        if missing:
            raise ValueError(f"no posterior of {missing[0]!r} to draw: the run computed only its query")
        return _core.picture_svg(self.network._core, self.hard, self.soft, self.posteriors, queried)


class Network:
    """A discrete Bayesian network: named nodes, each with named states,
    parents and a table. Tables are numpy arrays with one axis per parent, in
    parents order, then one for the node's own states. Get one with load(),
    Network.from_tables(), from_pgmpy() or from_pyagrum(); it cannot be
    changed once built, and pickles (as its tables)."""

    def __init__(self, core: _core.Network):
        self._core = core
        self._index = {name: i for i, name in enumerate(core.nodes)}

    @classmethod
    def from_tables(cls, nodes, name="") -> "Network":
        """Builds a network from (name, states, parent names, table) tuples,
        in any order, with the parents in the order of the table's axes
        (the layout of Network.table()). Raises ModelError when the tables
        fail the checks a file's get (shapes, sums, cycles)."""
        specs = [
            (str(node), [str(s) for s in states], [str(p) for p in parents],
             np.asarray(table, dtype=float).ravel().tolist())
            for node, states, parents, table in nodes
        ]
        return cls(_core.build_network(name, specs))

    @classmethod
    def from_pgmpy(cls, model, name="") -> "Network":
        """A Network from a pgmpy (Discrete)BayesianNetwork: the same nodes,
        states, parent order (that of each table's evidence) and tables.
        Raises ModelError naming the nodes when the model is incomplete: a
        node with no table, or a table whose evidence is not the node's
        parents."""
        return cls.from_tables(interop.pgmpy_families(model), name)

    @classmethod
    def from_pyagrum(cls, bn, name="") -> "Network":
        """A Network from a pyAgrum BayesNet: the same nodes, states, parent
        order (that of each table's variables) and tables."""
        return cls.from_tables(interop.pyagrum_families(bn), name)

    def __reduce__(self):
        # Pickled as its tables, so that worker processes get the same network.
        return (Network.from_tables, (self.families(), self.name))

    @property
    def name(self) -> str:
        """The network's name ("" when it has none)."""
        return self._core.name

    @property
    def nodes(self) -> list[str]:
        """The node names, in the order of the file."""
        return self._core.nodes

    def __len__(self):
        return self._core.size

    def __contains__(self, node):
        return node in self._index

    def index(self, node) -> int:
        """The node's position in `nodes`; KeyError for an unknown name."""
        try:
            return self._index[node]
        except KeyError:
            raise KeyError(f"unknown node {node!r}") from None

    def states(self, node) -> list[str]:
        """The node's state names, in table order; KeyError for an unknown node."""
        return self._core.states(self.index(node))

    def parents(self, node) -> list[str]:
        """The node's parents, in the order of its table's axes."""
        names = self._core.nodes
        return [names[p] for p in self._core.parents(self.index(node))]

    def children(self, node) -> list[str]:
        """The nodes that have this node as a parent, in the order of `nodes`."""
        names = self._core.nodes
        return [names[c] for c in _core.children(self._core, self.index(node))]

    def markov_blanket(self, node) -> list[str]:
        """The node's parents, children and children's other parents, in the
        order of `nodes`: observed, they make it independent of the rest."""
        names = self._core.nodes
        return [names[v] for v in _core.markov_blanket(self._core, self.index(node))]

    def is_dseparated(self, a, b, given=()) -> bool:
        """Whether a and b are d-separated given `given`: independent in every
        distribution this graph allows once the given nodes are observed.
        Each is a node name or a collection of names; the three sets must be
        disjoint (ValueError otherwise), unknown names raise KeyError."""
        def positions(nodes):
            return [self.index(node) for node in ([nodes] if isinstance(nodes, str) else nodes)]

        return _core.d_separated(self._core, positions(a), positions(b), positions(given))

    def table(self, node) -> np.ndarray:
        """The node's conditional probability table: axes for the parents in
        order, then the node's own states, so that each table[..., :] sums
        to 1. A new array each call."""
        v = self.index(node)
        shape = [len(self.states(p)) for p in self.parents(node)] + [len(self._core.states(v))]
        return np.asarray(self._core.table(v), dtype=float).reshape(shape)

    def families(self):
        """(name, states, parents, table) of every node, as from_tables takes them."""
        return [(n, self.states(n), self.parents(n), self.table(n)) for n in self.nodes]

    def save(self, path) -> None:
        """Writes the network in the format of the path's extension (.bif,
        .xml/.xmlbif, .net, .uai; gzipped for .gz). Names a format cannot
        hold (a '"' in BIF or NET) are refused with ModelError before
        anything is written; a file that cannot be written raises its
        OSError. UAI files keep no names."""
        self._core.save(os.fspath(path))

    def infer(self, evidence=None, likelihood=None, algorithm="auto", query=None, joint=None, do=None,
              client=None, **options) -> Result:
        """Posterior marginals given evidence, as a Result (a mapping from node
        name to a numpy array over the node's states).

        evidence: node name -> state name or state index (hard evidence).
        likelihood: node name -> one non-negative factor per state.
        do: node name -> state name or index: interventions. Each such node
            loses its parents and keeps that state, so that only what it
            causes moves (unlike evidence); result.interventions lists them.
            A node cannot be both observed and set (EvidenceError).
        algorithm: "auto" (default: exact where the query's junction tree
            fits, else samplers to a target error of 0.01; result.choice says
            which ran and why), "epis", "ais", "lbp", "exact", "wmb", "bpis" or
            "pilot" (bpis's or wmb's proposal, whichever did best on short
            pilot runs; result.choice says which and what the pilots found).
        query: node names; only these are computed and returned (default:
            all): exact inference builds its tables for them alone, the
            samplers add up their sums alone and judge target_error by them.
        joint: node names; result.joint is then their joint posterior (a
            JointPosterior: a numpy table with one axis per node, and
            to_pandas()). epis and ais (and auto where it samples) add it up
            from the same samples as the marginals, with a standard error
            per entry, and target_error covers it; otherwise it is computed
            exactly (NetworkTooLargeError where the tables exceed the memory
            limit).
        client: a dask.distributed Client: epis or ais draw their final
            samples on its cluster in `jobs` shares (default: one per worker),
            bit for bit as jobs=N on one machine; a lost worker's share is
            drawn again elsewhere (see samplenet.cluster).
        options: the tuning options below, each checked as the command line
            checks its flags; one that the algorithm does not read gets a
            RuntimeWarning. seed=None (default) seeds from the clock.

        The run releases the GIL: other threads go on meanwhile, and runs from
        several threads take turns. Ctrl-C stops it within about 0.05 s with
        KeyboardInterrupt.

        Raises EvidenceError for unknown nodes or states, OptionError naming a
        bad option, NetworkTooLargeError above the memory limit,
        InferenceError when no posterior could be computed (evidence of
        probability zero, or no compatible sample)."""
        memory_limit_gib = options.get("memory_limit_gib")
        if client is not None:
            cluster.check_query(client, algorithm, options)
        options = make_options(algorithm, warn=True, **options)
        if joint is not None:
            refuse_unanswered(options, _core.Query.JOINT_POSTERIOR, "joint")
        if isinstance(query, str):
            query = [query]
        shown = self.nodes if query is None else [self._queried(node) for node in query]
        positions = [self.index(node) for node in shown]
        if query is not None:
            options.queried = positions
        if isinstance(joint, str):
            joint = [joint]
        if joint is not None:
            joint = [self._queried(node, "joint") for node in joint]
            options.joint = [self.index(node) for node in joint]
        hard, soft = self._evidence_by_name(evidence, likelihood)
        network = intervened(self, do, hard, soft)
        run = _core.infer(network._core, hard, soft, options) if client is None else \
            _core.infer_on_shares(network._core, hard, soft, options, cluster.ClusterRounds(client))
        posteriors = run.posteriors
        sampled_joint = None if run.joint_probabilities is None else (run.joint_probabilities,
                                                                      run.joint_standard_errors)
        return Result(
            {name: np.asarray(posteriors[v]) for name, v in zip(shown, positions)},
            {name: self._core.states(v) for name, v in zip(shown, positions)},
            run.ln_probability_of_evidence,
            run.seconds,
            sampling=SamplingSummary.of(run, shown, positions),
            converged=run.converged,
            choice=run.choice or None,
            algorithm=run.algorithm,
            picture=_Picture(network, hard, soft, posteriors),
            queried=None if query is None else list(shown),
            joint=None if joint is None else network._joint(joint, hard, soft, memory_limit_gib, sampled_joint),
            interventions=settings_of(self, do),
        )

    def mpe(self, evidence=None, likelihood=None, algorithm="auto", samples=None, seed=None,
            memory_limit_gib=4.0, jobs=1, local_search=True, do=None) -> Explanation:
        """The most probable explanation of the evidence: a state for every
        node, as an Explanation (states, joint_probability = P(x, e),
        posterior_probability = P(x | e), exact).

        algorithm: "auto" (default: exact where the junction tree is small,
            else epis), "exact" (max-product elimination), "epis" or "ais"
            (the most probable of the samples drawn, then, with local_search,
            a search that changes a few nodes at a time while P(x, e) rises;
            exact=False, and P(x, e) is a lower bound on the most probable
            explanation's). evidence, likelihood, do, samples, seed,
            memory_limit_gib and jobs as for infer.

        Raises EvidenceError for unknown nodes or states, InferenceError for
        impossible evidence, OptionError naming a bad option (lbp gives no
        explanation), NetworkTooLargeError above the memory limit."""
        return queries.explain(self, evidence, likelihood, algorithm, samples, seed, memory_limit_gib, jobs,
                               local_search, do)

    def map(self, nodes, evidence=None, likelihood=None, algorithm="auto", memory_limit_gib=4.0,
            do=None, samples=None, seed=None, jobs=1, max_seconds=None) -> Explanation:
        """The jointly most probable states of `nodes` (a name or a list)
        given the evidence, every other node summed out, as an Explanation
        whose states hold those nodes alone: what `samplenet infer --mpe -q`
        prints. Not the whole-network explanation restricted to them, which
        can differ.

        algorithm: "exact" (summing the others out first can need far larger
            tables than infer: NetworkTooLargeError above memory_limit_gib);
            "epis", "ais", "bpis" or "wmb" (approximate: the configurations
            the samples weigh most, improved by a local search that moves one
            node at a time where P(x, e), estimated by a sampling run, rises
            beyond its error, for at most max_seconds (a minute by default;
            it bounds each sampling run too);
            exact=False, estimated=True, and the probabilities carry standard
            errors; at most 64 unobserved nodes); "auto" (default: exact
            where the elimination fits the memory limit, else epis's
            approximation; `choice` says which and how). samples, seed, jobs,
            do and memory_limit_gib as for infer.
        Raises EvidenceError for unknown nodes or states, InferenceError for
        impossible evidence, OptionError for lbp or a bad option."""
        return queries.most_probable_states(self, nodes, evidence, likelihood, algorithm, memory_limit_gib, do,
                                            samples, seed, jobs, max_seconds)

    def _joint(self, nodes, hard, soft, memory_limit_gib, sampled) -> JointPosterior:
        # What the samplers added up, or else the exact table.
        states = {node: self.states(node) for node in nodes}
        shape = [len(states[node]) for node in nodes]
        if sampled is not None:
            table, errors = sampled
            return JointPosterior(nodes, states, np.asarray(table).reshape(shape), np.asarray(errors).reshape(shape))
        options = make_options("exact", memory_limit_gib=memory_limit_gib)
        table = _core.joint_posterior(self._core, hard, soft, [self.index(node) for node in nodes], options)
        return JointPosterior(nodes, states, np.asarray(table).reshape(shape))

    def explore(self, port=0, algorithm="auto", **options) -> ExploreServer:
        """Starts the explore page for this network on 127.0.0.1 (port 0: a
        free one): click a state to observe it and watch every posterior
        move. Returns the running server: its .url is the address, and
        .close() or the end of a `with` block stops it (else it runs on a
        background thread until the interpreter exits). `algorithm` and the
        other options are infer's."""
        return ExploreServer(
            _core.explore(self._core, make_options(algorithm, warn=True, **options), int(port), self.name or "network"))

    def sample(self, n, evidence=None, likelihood=None, seed=None, do=None):
        """n forward samples as a pandas DataFrame: one categorical column per
        node (its states as categories, in table order), one row per sample.

        Without evidence each row is a draw from the network's joint
        distribution. With evidence (node -> state, likelihood as for infer)
        the rows are likelihood weighted and a "weight" column is added:
        observed nodes keep their state and each row's weight is the
        probability of the evidence given the rest of the row; weighted
        means estimate posteriors, the mean weight P(evidence). seed: a
        whole number from 0; the same seed gives the same rows as
        `samplenet sample --seed`. None draws one at random. do:
        interventions, as for infer."""
        from samplenet.data import sample

        return sample(self, n, evidence, likelihood, seed, do)

    def impact(self, target, evidence=None, likelihood=None, do=None, candidates=None, algorithm="auto",
               **options):
        """Which node to observe next: the candidates (default: every node
        neither observed nor set, but the target) ranked by their mutual
        information with the target given the evidence, in bits, and for
        each candidate state the target's posterior were it observed so; an
        Impact (to_pandas() gives the rows of `samplenet impact --format
        csv`). Takes one run for P(target | evidence), then one per target
        state t of positive probability for P(candidates | evidence, t).
        With a sampler every figure has a standard error (delta method; see
        docs/impact-and-interventions.md). The other arguments are infer's;
        seed, when None, is drawn at random and reported as impact.seed.
        Raises OptionError for an unknown target or candidate, or one set
        by `do`; EvidenceError for an observed target or candidate."""
        from samplenet.impact import impact

        options = make_options(algorithm, warn=True, **options)
        return impact(self, target, evidence, likelihood, do, [candidates] if isinstance(candidates, str)
                      else candidates, options)

    def infer_many(self, cases, **kwargs):
        """Runs every row of a DataFrame as one evidence case and returns a
        DataFrame of posteriors, one row per case; see
        samplenet.batch.infer_many for the options."""
        from samplenet.batch import infer_many

        return infer_many(self, cases, **kwargs)

    def to_pgmpy(self):
        """A pgmpy DiscreteBayesianNetwork with the same nodes, states, parent
        order and tables (needs pgmpy)."""
        return interop.to_pgmpy(self)

    def to_pyagrum(self):
        """A pyAgrum BayesNet with the same nodes, states, parent order and
        tables (needs pyAgrum)."""
        return interop.to_pyagrum(self)

    def _queried(self, node, option="query"):
        if node not in self._index:
            raise OptionError(option, f"unknown node {node!r} in {option}")
        return node

    def _evidence_by_name(self, evidence, likelihood):
        """Hard evidence as node -> state name and likelihoods as node ->
        floats, as the library takes them."""
        hard = {str(node): self._state_name(node, state) for node, state in (evidence or {}).items()}
        soft = {str(node): [float(x) for x in values] for node, values in (likelihood or {}).items()}
        return hard, soft

    def _state_name(self, node, state):
        if isinstance(state, (int, np.integer)) and not isinstance(state, bool):
            states = self.states(node)
            if not 0 <= state < len(states):
                raise EvidenceError(f'state index {state} of "{node}" is out of range 0..{len(states) - 1}')
            return states[state]
        return str(state)

    def __repr__(self):
        return f"Network({self.name!r}, {len(self)} nodes)"


# The tuning options are documented where they are declared, in the library.
Network.infer.__doc__ += "\n\n        Options:\n" + "\n".join(
    "        " + line for line in options_help().splitlines())
