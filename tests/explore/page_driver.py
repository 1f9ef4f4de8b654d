"""Drives the explore page in headless Chromium: starts `samplenet explore`,
opens its address, clicks states and reads back the numbers shown."""
import json
import os
import re
import shutil
import subprocess
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

READ_SHOWN = """
const shown = {};
for (const text of document.querySelectorAll('g[id^="a_s"][id$="p"] text')) {
  const [, v, s] = text.parentNode.closest('g[id^="a_s"]').id.match(/^a_s(\\d+)_(\\d+)p$/);
  const name = text.closest('g.node').querySelector('title').textContent;
  (shown[name] = shown[name] || [])[Number(s)] = [Number(text.dataset.p), text.textContent];
}
return shown;
"""


def browser_paths():
    """Chromium and its WebDriver, or None when either is missing."""
    chromium = next((shutil.which(n) for n in ("chromium", "chromium-browser", "google-chrome") if shutil.which(n)),
                    None)
    driver = shutil.which("chromedriver") or next(
        (p for p in ("/usr/bin/chromedriver", "/usr/lib/chromium/chromedriver") if shutil.os.path.exists(p)), None)
    return (chromium, driver) if chromium and driver else None


class ExploreServer:
    def __init__(self, samplenet, network, *options):
        self.process = subprocess.Popen([samplenet, "explore", network, "--port", "0", *options],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        match = re.search(r"http://127\.0\.0\.1:\d+/\S*", line)
        if not match:
            self.process.kill()
            raise RuntimeError("samplenet explore printed no address: " + line + self.process.stderr.read())
        self.url = match.group(0)

    def close(self):
        self.process.terminate()
        self.process.communicate(timeout=10)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()


class Page:
    def __init__(self, chromium, chromedriver, width=1400, height=1000):
        options = webdriver.ChromeOptions()
        options.binary_location = chromium
        for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     f"--window-size={width},{height}"):
            options.add_argument(flag)
        # The browser's own temporary files, which it leaves when stopped, go in a folder of the test's.
        self.scratch = tempfile.TemporaryDirectory(prefix="samplenet-browser-")
        service = Service(chromedriver, env={**os.environ, "TMPDIR": self.scratch.name})
        self.driver = webdriver.Chrome(service=service, options=options)

    def close(self):
        self.driver.quit()
        self.scratch.cleanup()

    def shown_count(self):
        return int(self.driver.find_element(By.TAG_NAME, "body").get_attribute("data-shown") or 0)

    def wait_for_new_result(self, after, timeout=30):
        WebDriverWait(self.driver, timeout).until(lambda _: self.shown_count() > after)

    def open(self, url):
        self.driver.get(url)
        self.wait_for_new_result(0)

    def act(self, action):
        """Runs `action` (a click) and waits until the page shows its result."""
        before = self.shown_count()
        action()
        self.wait_for_new_result(before)

    def click_state(self, node, state_index):
        v = self.node_index(node)
        self.act(lambda: self.driver.find_element(By.CSS_SELECTOR, f"#a_s{v}_{state_index}n a").click())

    def node_index(self, node):
        for group in self.driver.find_elements(By.CSS_SELECTOR, "g.node"):
            if group.find_element(By.TAG_NAME, "title").get_attribute("textContent") == node:
                header = group.find_element(By.CSS_SELECTOR, 'g[id^="a_h"]')
                return int(header.get_attribute("id")[3:])
        raise KeyError(node)

    def set_likelihood(self, node, likelihood):
        """Through the node's menu, opened by clicking its name."""
        v = self.node_index(node)
        self.driver.find_element(By.CSS_SELECTOR, f"#a_h{v} a").click()
        for field, value in zip(self.driver.find_elements(By.CSS_SELECTOR, "#menu input"), likelihood):
            field.clear()
            field.send_keys(str(value))
        self.act(lambda: self.driver.find_element(By.ID, "set-likelihood").click())

    def set_from_outside(self, node, state):
        """do(node = state), through the node's menu."""
        v = self.node_index(node)
        self.driver.find_element(By.CSS_SELECTOR, f"#a_h{v} a").click()
        button = next(b for b in self.driver.find_elements(By.CSS_SELECTOR, "#set-state button") if b.text == state)
        self.act(button.click)

    def remove_finding(self, node):
        for finding in self.driver.find_elements(By.CSS_SELECTOR, "#evidence li.finding"):
            if finding.find_element(By.CLASS_NAME, "name").text == node:
                return self.act(lambda: finding.find_element(By.TAG_NAME, "button").click())
        raise KeyError(node)

    def reload(self):
        self.driver.refresh()
        self.wait_for_new_result(0)

    def shown(self):
        """{node: [(probability, text shown), ...]} of every drawn node."""
        return {node: [tuple(entry) for entry in states]
                for node, states in self.driver.execute_script(READ_SHOWN).items()}

    def timings(self):
        return self.driver.execute_script("return window.exploreTimings")


def exact_posteriors(samplenet, network, evidence=(), do=()):
    """{node: [probabilities]} from `samplenet infer -a exact`."""
    command = [samplenet, "infer", network, "-a", "exact", "--format", "json"]
    for assignment in evidence:
        command += ["-e", assignment]
    for setting in do:
        command += ["--do", setting]
    report = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    return {entry["node"]: entry["probabilities"] for entry in report["posteriors"]}
