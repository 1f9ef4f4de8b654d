"""The explore page in a real browser: clicking a state shows the exact
posteriors given that evidence, the address keeps the evidence across a
reload, and clearing it brings back the priors.

usage: explore_browser_test.py SAMPLENET DATA_DIR
Exits 77 (skipped) only when Chromium, its WebDriver or Selenium is missing."""
import sys
import unittest

SKIPPED = 77

try:
    from page_driver import ExploreServer, Page, browser_paths, exact_posteriors
except ImportError as missing:
    print(f"skipped: the browser test needs Selenium ({missing}); scripts/setup.sh --tests installs it")
    sys.exit(SKIPPED)

SAMPLENET, DATA = sys.argv[1], sys.argv[2]
PATHS = browser_paths()


class ExplorePageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.page = Page(*PATHS)

    @classmethod
    def tearDownClass(cls):
        cls.page.close()

    def assertShows(self, expected):
        shown = self.page.shown()
        self.assertEqual(sorted(shown), sorted(expected))
        for node, probabilities in expected.items():
            for (p, text), exact in zip(shown[node], probabilities):
                self.assertAlmostEqual(p, exact, places=9, msg=node)
                self.assertEqual(text, "<0.001" if 0 < exact < 0.0005 else f"{exact:.3f}", msg=node)

    def explore(self, network, node, state_index, state):
        path = f"{DATA}/networks/{network}.bif.gz"
        with ExploreServer(SAMPLENET, path, "-a", "exact") as server:
            priors = exact_posteriors(SAMPLENET, path)
            given = exact_posteriors(SAMPLENET, path, [f"{node}={state}"])
            self.page.open(server.url)
            self.assertShows(priors)

            self.page.click_state(node, state_index)
            self.assertShows(given)
            self.assertIn(f"e={node}%3D{state}", self.page.driver.current_url)
            print(f"{network}: click to bars {self.page.timings()[-1]:.1f} ms (exact)")

            self.page.reload()
            self.assertShows(given)
            self.assertEqual([f.text.split("\n")[0] for f in self.page.driver.find_elements("css selector", "#evidence .finding")],
                             [f"{node} = {state}"])

            self.page.remove_finding(node)
            self.assertShows(priors)
            self.assertNotIn("e=", self.page.driver.current_url)

            # Clicking the observed state again clears it too.
            self.page.click_state(node, state_index)
            self.page.click_state(node, state_index)
            self.assertShows(priors)

    def test_asia(self):
        self.explore("asia", "smoke", 0, "yes")

    def test_likelihood_from_the_node_menu(self):
        path = f"{DATA}/networks/asia.bif.gz"
        with ExploreServer(SAMPLENET, path, "-a", "exact", "-e", "smoke=yes") as server:
            self.page.open(server.url)
            self.assertShows(exact_posteriors(SAMPLENET, path, ["smoke=yes"]))
            self.page.set_likelihood("xray", [0.9, 0.2])
            self.assertShows(exact_posteriors(SAMPLENET, path, ["smoke=yes", "xray=[0.9,0.2]"]))
            self.assertIn("e=xray%3D%5B0.9%2C0.2%5D", self.page.driver.current_url)
            self.assertEqual(self.page.driver.find_element("css selector", "g.node.soft title").get_attribute(
                "textContent"), "xray")

    def test_interventions_from_the_command_line_and_the_node_menu(self):
        path = f"{DATA}/networks/asia.bif.gz"
        with ExploreServer(SAMPLENET, path, "-a", "exact", "-e", "xray=yes", "--do", "smoke=yes") as server:
            self.page.open(server.url)
            self.assertShows(exact_posteriors(SAMPLENET, path, ["xray=yes"], ["smoke=yes"]))
            self.assertIn("do=smoke%3Dyes", self.page.driver.current_url)
            self.assertIn("do(smoke=yes)", self.page.driver.find_element("id", "status").text)
            # smoke has no parents: nothing is cut.
            self.assertEqual(self.cut_edges(), [])
            # Setting an observed node replaces its observation.
            self.page.set_from_outside("xray", "no")
            self.assertShows(exact_posteriors(SAMPLENET, path, [], ["smoke=yes", "xray=no"]))
            # The edge from xray's one parent is drawn cut, and only that one.
            self.assertEqual(self.cut_edges(), [("either", "xray")])
            self.assertEqual([f.text.split("\n")[0] for f in self.page.driver.find_elements(
                "css selector", "#evidence .finding.do")], ["do(smoke = yes)", "do(xray = no)"])
            self.page.remove_finding("smoke")
            self.assertShows(exact_posteriors(SAMPLENET, path, [], ["xray=no"]))
            self.assertNotIn("smoke", self.page.driver.current_url)
            self.page.remove_finding("xray")
            self.assertEqual(self.cut_edges(), [])

    def cut_edges(self):
        """The (parent, child) names of the edges drawn cut."""
        titles = self.page.driver.execute_script(
            "return [...document.querySelectorAll('g.edge.cut title')].map((t) => t.textContent);")
        return [tuple(title.split("->")) for title in titles]

    def test_alarm(self):
        self.explore("alarm", "HYPOVOLEMIA", 0, "TRUE")


if __name__ == "__main__":
    if PATHS is None:
        print("skipped: the browser test needs Chromium and chromedriver; scripts/setup.sh --tests installs them")
        sys.exit(SKIPPED)
    result = unittest.main(argv=sys.argv[:1], exit=False).result
    sys.exit(0 if result.wasSuccessful() else 1)
