import json
import subprocess

import pytest

import samplenet
from conftest import NETWORKS


def test_map_equals_the_command_line(asia, cli):
    answer = asia.map(["lung", "bronc"], evidence={"dysp": "yes"}, likelihood={"xray": [0.9, 0.2]})
    reply = json.loads(subprocess.run(
        [cli, "infer", str(NETWORKS / "asia.bif.gz"), "-e", "dysp=yes", "-e", "xray=[0.9,0.2]", "--mpe", "-q", "lung",
         "-q", "bronc", "--format", "json"], capture_output=True, text=True, check=True).stdout)
    assert reply["explanation"] == answer.states
    assert reply["ln_joint_probability"] == answer.log_joint_probability
    assert reply["ln_posterior_probability"] == answer.log_posterior_probability


def test_map_by_a_sampler_finds_the_exact_states_and_equals_the_command_line(alarm, cli):
    evidence = {"HRBP": "HIGH"}
    nodes = ["HR", "CO", "BP"]
    exact = alarm.map(nodes, evidence=evidence)
    sampled = alarm.map(nodes, evidence=evidence, algorithm="epis", samples=20000, seed=4)
    assert sampled.states == exact.states
    assert not sampled.exact and sampled.estimated and sampled.algorithm == "epis"
    assert sampled.choice.startswith("approximate: ")
    reply = json.loads(subprocess.run(
        [cli, "infer", str(NETWORKS / "alarm.bif.gz"), "-e", "HRBP=HIGH", "--mpe", "-q", "HR", "-q", "CO", "-q", "BP",
         "-a", "epis", "-n", "20000", "--seed", "4", "--format", "json"],
        capture_output=True, text=True, check=True).stdout)
    assert reply["explanation"] == sampled.states
    assert reply["ln_joint_probability"] == sampled.log_joint_probability
    assert reply["ln_posterior_probability_standard_error"] == sampled.log_posterior_probability_standard_error
    assert reply["chosen_because"] == sampled.choice


def test_map_refuses_lbp_and_unknown_nodes(asia):
    with pytest.raises(samplenet.OptionError, match="lbp gives no most probable states"):
        asia.map("lung", algorithm="lbp")
    with pytest.raises(samplenet.OptionError, match="nope"):
        asia.map(["nope"])
