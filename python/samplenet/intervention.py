"""Interventions: nodes set from outside, do(node=state)."""

from __future__ import annotations

from samplenet import _core
from samplenet.errors import EvidenceError


def intervened(network, do, hard, soft):
    """The network after do(node=state) for each entry of `do` (state by name
    or index): each set node loses its parents and keeps its state for
    certain, so that only what it causes moves. The network itself when `do`
    is empty. Raises EvidenceError for unknown nodes or states, and for a
    node that also has evidence (hard and soft: the evidence by name)."""
    if not do:
        return network
    settings = {str(node): network._state_name(node, state) for node, state in do.items()}
    return type(network)(_core.intervene(network._core, settings, hard, soft))


def settings_of(network, do):
    """`do` with every state as its name, for reports."""
    return {str(node): network._state_name(node, state) for node, state in (do or {}).items()}


def check_columns_not_set(columns, do):
    """Raises EvidenceError for a case column that names a node `do` sets."""
    for column in columns:
        if column in (do or {}):
            raise EvidenceError(f'column "{column}" is set by do: a node cannot be both observed and set')
