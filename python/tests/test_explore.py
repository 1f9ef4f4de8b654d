import json
import socket
import urllib.error
import urllib.request

import numpy as np
import pytest


def post(url, body):
    request = urllib.request.Request(url, json.dumps(body).encode(), {"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=30) as response:
        return json.load(response)


def test_explore_serves_the_posteriors_of_the_clicked_evidence(asia):
    server = asia.explore(algorithm="exact")
    url = server.url
    assert url.startswith("http://127.0.0.1:") and str(server) == url
    answer = post(url + "api/posteriors", {"evidence": ["smoke=yes", "xray=[0.9,0.2]"]})
    expected = asia.infer(evidence={"smoke": "yes"}, likelihood={"xray": [0.9, 0.2]}, algorithm="exact")
    for v, node in enumerate(asia.nodes):
        np.testing.assert_allclose(answer["posteriors"][v], expected[node], rtol=0, atol=1e-12)
    server.close()


def port_is_free(port):
    with socket.socket() as probe:
        # As a server would bind: connections the old one closed may linger.
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", port))
        except OSError:
            return False
        return True


def test_a_closed_explore_server_stops_and_frees_its_port(asia):
    with asia.explore(algorithm="exact") as server:
        assert not server.closed
        with urllib.request.urlopen(server.url, timeout=30) as page:
            assert page.status == 200
        assert not port_is_free(server.port)
    assert server.closed
    assert port_is_free(server.port)
    with pytest.raises(urllib.error.URLError):
        urllib.request.urlopen(server.url, timeout=5)
    server.close()  # again: nothing to do
    assert "closed" in repr(server)
