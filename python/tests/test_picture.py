import xml.etree.ElementTree as ElementTree

import pytest

import samplenet
from conftest import NETWORKS

SVG = "{http://www.w3.org/2000/svg}"


def drawn_nodes(svg):
    """Classes and texts of every drawn node, by node name."""
    nodes = {}
    for group in ElementTree.fromstring(svg).iter(SVG + "g"):
        classes = group.get("class", "").split()
        if "node" in classes:
            texts = [text.text for text in group.iter(SVG + "text")]
            nodes[group.find(SVG + "title").text] = (classes, texts)
    return nodes


# The library's picture of the result: its own tests check how each
# posterior and finding is drawn.
def test_notebooks_show_the_network_with_its_posteriors(asia):
    result = asia.infer(evidence={"smoke": "yes"}, likelihood={"xray": [0.9, 0.2]}, algorithm="exact")
    nodes = drawn_nodes(result._repr_svg_())
    assert set(nodes) == set(asia.nodes)
    assert f"{result['lung'][0]:.3f}" in nodes["lung"][1]
    assert "observed" in nodes["smoke"][0]
    assert "likelihood" in nodes["xray"][0]


def test_large_networks_are_drawn_around_chosen_nodes():
    hepar2 = samplenet.load(NETWORKS / "hepar2.bif.gz")
    result = hepar2.infer(algorithm="lbp")
    assert result._repr_svg_() is None
    nodes = drawn_nodes(result.picture(nodes=["Cirrhosis"]))
    assert [name for name, (classes, _) in nodes.items() if "context" not in classes] == ["Cirrhosis"]
    with pytest.raises(KeyError, match="Liver"):
        result.picture(nodes=["Liver"])
