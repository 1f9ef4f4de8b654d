"""Conversion to and from pgmpy and pyAgrum networks, when they are installed.

Tables keep their values exactly: only axes are reordered."""

from __future__ import annotations

import numpy as np

from samplenet.errors import ModelError


def to_pgmpy(network):
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


def pgmpy_families(model) -> list:
    """The families of a pgmpy (Discrete)BayesianNetwork as
    Network.from_tables takes them: the same nodes, states, parent order
    (that of each table's evidence) and tables. Raises
    ModelError naming the nodes when the model is incomplete: a node with no
    table, or a table whose evidence is not the node's parents."""
    cpds = {cpd.variables[0]: cpd for cpd in model.get_cpds()}
    missing = [str(node) for node in model.nodes() if node not in cpds]
    if missing:
        raise ModelError(f"the pgmpy model has no table for {', '.join(missing)}; add them with add_cpds()")
    nodes = []
    for node in model.nodes():
        cpd = cpds[node]
        parents = list(cpd.variables[1:])
        if set(parents) != set(model.get_parents(node)):
            raise ModelError(f"the table of {node} is conditioned on {parents or 'nothing'}, but its parents in the "
                             f"model are {list(model.get_parents(node)) or 'none'}")
        states = cpd.state_names[node]
        shape = [len(cpd.state_names[p]) for p in parents] + [len(states)]
        nodes.append((node, states, parents, cpd.get_values().T.reshape(shape)))
    return nodes


def _axes_to(from_names, to_names):
    return [list(from_names).index(n) for n in to_names]


def to_pyagrum(network):
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


def pyagrum_families(bn) -> list:
    """The families of a pyAgrum BayesNet as Network.from_tables takes them:
    the same nodes, states, parent order (that of each table's variables)
    and tables."""
    nodes = []
    for node_id in sorted(bn.nodes()):
        variable = bn.variable(node_id)
        node = variable.name()
        cpt = bn.cpt(node_id)
        # cpt.names lists the node, then its parents in the table's order;
        # toarray() has them as axes in reverse.
        parents = [n for n in cpt.names if n != node]
        table = np.transpose(cpt.toarray(), _axes_to(list(reversed(cpt.names)), [*parents, node]))
        nodes.append((node, list(variable.labels()), parents, table))
    return nodes
