"""Approximate inference in discrete Bayesian networks.

    import samplenet
    net = samplenet.load("alarm.bif.gz")
    result = net.infer(evidence={"BP": "LOW"}, algorithm="epis", seed=7)
    result.to_pandas()
"""

from samplenet._core import EvidenceError, InferenceError, ModelError, ParseError
from samplenet.interop import from_pgmpy, from_pyagrum
from samplenet.network import Network, load
from samplenet.result import Result

__all__ = ["load", "from_pgmpy", "from_pyagrum", "Network", "Result", "ParseError", "ModelError", "EvidenceError", "InferenceError"]
