"""Approximate and exact inference in discrete Bayesian networks.

    import samplenet
    net = samplenet.load("alarm.bif.gz")
    result = net.infer(evidence={"BP": "LOW"}, algorithm="epis", seed=7)
    result.to_pandas()

load() reads a network file, Network.infer() runs one case (joint=[...]
adds a joint posterior), Network.mpe() finds the most probable explanation,
Network.impact() ranks the nodes to observe next and Network.infer_many()
runs a table of cases; from_pgmpy() and from_pyagrum() convert.
The exceptions are described in samplenet.errors.
"""

from samplenet import _core
from samplenet.errors import (CaseError, Error, EvidenceError, InferenceError, ModelError, NetworkTooLargeError,
                              OptionError, ParseError)
from samplenet.explore import ExploreServer
from samplenet.impact import CandidateImpact, Impact
from samplenet.network import Network, load
from samplenet.queries import Explanation, JointPosterior
from samplenet.result import Result, SamplingSummary

__version__ = _core.__version__
from_pgmpy = Network.from_pgmpy
from_pyagrum = Network.from_pyagrum

__all__ = ["load", "from_pgmpy", "from_pyagrum", "Network", "Result", "SamplingSummary", "Explanation",
           "JointPosterior", "Impact", "CandidateImpact", "ExploreServer", "Error", "ParseError",
           "ModelError", "EvidenceError", "OptionError", "CaseError", "NetworkTooLargeError", "InferenceError",
           "__version__"]
