"""Conversion to and from pgmpy and pyAgrum networks, when they are installed.

Tables keep their values exactly: only axes are reordered."""

from __future__ import annotations

import numpy as np

from samplenet.network import Network


def to_pgmpy(network: Network):
    """A pgmpy DiscreteBayesianNetwork with the same nodes, states and tables."""
    from pgmpy.factors.discrete import TabularCPD
    from pgmpy.models import DiscreteBayesianNetwork

    model = DiscreteBayesianNetwork()
    model.add_nodes_from(network.nodes)
    cpds = []
    for node, states, parents, table in network.families():
        model.add_edges_from((parent, node) for parent in parents)
        # pgmpy: one row per state, one column per parent configuration,
        # the last parent fastest, as in our own layout.
        values = table.reshape(-1, len(states)).T
        cpds.append(TabularCPD(
            node, len(states), values,
            evidence=parents or None,
            evidence_card=[len(network.states(p)) for p in parents] or None,
            state_names={n: network.states(n) for n in [node, *parents]},
        ))
    model.add_cpds(*cpds)
    return model


def from_pgmpy(model, name="") -> Network:
    nodes = []
    for cpd in model.get_cpds():
        node, parents = cpd.variables[0], list(cpd.variables[1:])
        states = cpd.state_names[node]
        shape = [len(cpd.state_names[p]) for p in parents] + [len(states)]
        nodes.append((node, states, parents, cpd.get_values().T.reshape(shape)))
    return Network.from_tables(nodes, name)


def _axes_to(from_names, to_names):
    return [list(from_names).index(n) for n in to_names]


def to_pyagrum(network: Network):
    """A pyAgrum BayesNet with the same nodes, states and tables."""
    import pyagrum as gum

    bn = gum.BayesNet(network.name)
    for node in network.nodes:
        bn.add(gum.LabelizedVariable(node, node, network.states(node)))
    for node in network.nodes:
        for parent in network.parents(node):
            bn.addArc(parent, node)
    for node, _states, parents, table in network.families():
        cpt = bn.cpt(node)
        # toarray()/fillWith() use the reverse of cpt.names as axes.
        axes = list(reversed(cpt.names))
        cpt.fillWith(np.transpose(table, _axes_to([*parents, node], axes)).ravel().tolist())
    return bn


def from_pyagrum(bn, name="") -> Network:
    nodes = []
    for node_id in sorted(bn.nodes()):
        variable = bn.variable(node_id)
        node = variable.name()
        cpt = bn.cpt(node_id)
        axes = list(reversed(cpt.names))
        parents = [n for n in axes if n != node]
        table = np.transpose(cpt.toarray(), _axes_to(axes, [*parents, node]))
        nodes.append((node, list(variable.labels()), parents, table))
    return Network.from_tables(nodes, name)
