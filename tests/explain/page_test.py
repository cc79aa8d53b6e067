"""Proves that the page of a log works in a browser: its steps, search, filters, keys and links, without script errors,
and a wait of 300,000 looks at once.
Run in the folder of this file."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:  # listing the tests needs no browser
    webdriver = None

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from builds import NATIVE, ROOT  # noqa: E402 (after the folder that it is in)

HEADER = "2013/05/07 14:03:09.042 TZ-4 [7] "
BEGIN = "============= Begin-> Kelo CSP (x64) Custom Action ==================="
SETUP = [BEGIN, "command line argc: 2", "command line argv[0]: C:\\Kelo\\KeloCustomAction.exe", "command line argv[1]: /Setup"]
FAILED = ["SetupTCGDLL() -->", "Vista OS", "DetectTPMPlatform(C:\\Kelo\\,KELO)", "Load C:\\Kelo\\KELO\\stkprobe.dll",
          "Failed to Load Library: C:\\Kelo\\KELO\\stkprobe.dll Err: 126", "kill PatchAgent.exe --> ERROR",
          "No default TSS vendor platform specified AND no valid TSS & TPM state detected --> Unable to install Toolkit!",
          "<-- SetupTCGDLL()", "============= Kelo CSP Custom Action <-End ==================="]


def log_of(*messages):
    return "".join(HEADER + message + "\n" for message in messages)


class Browser:
    """Headless Chromium with the page of a log."""

    def __init__(self, log, width=1280, height=1000, rehearsed=()):
        self.folder = tempfile.TemporaryDirectory()
        folder = pathlib.Path(self.folder.name)
        (folder / "log.txt").write_text(log)
        program = ["kelo-rehearse", *rehearsed] if rehearsed else ["kelo-explain", folder / "log.txt"]
        subprocess.run([NATIVE / program[0], "--html", folder / "log.html", *program[1:]], check=True,
                       stdout=subprocess.DEVNULL)
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", f"--window-size={width},{height}"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options)
        self.driver.get((folder / "log.html").as_uri())
        self.ready_ms = self.driver.find_element(By.TAG_NAME, "html").get_attribute("data-ready")
        assert self.ready_ms is not None, self.errors()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()
        self.folder.cleanup()

    def errors(self):
        return self.driver.get_log("browser")

    def text(self, name):
        return self.driver.find_element(By.ID, name).text

    def rows(self):
        return [row.get_attribute("textContent") for row in self.driver.find_elements(By.CSS_SELECTOR, "#log .row")]

    def selected(self):
        return [row.text for row in self.driver.find_elements(By.CSS_SELECTOR, "#log .row[aria-selected=true]")]

    def press(self, *keys):
        for key in keys:
            self.driver.find_element(By.TAG_NAME, "body").send_keys(key)

    def choose(self, name, value):
        self.driver.find_element(By.CSS_SELECTOR, f"#{name} option[value='{value}']").click()


class Page(unittest.TestCase):
    def test_opens_with_the_verdict_and_the_first_failure(self):
        with Browser(log_of(*SETUP, *FAILED)) as page:
            self.assertTrue(page.text("verdict").startswith("FAILED: no stack is usable and none was asked for"))
            self.assertIn("ERROR_MOD_NOT_FOUND", page.text("verdict"))
            self.assertIn("Failed to Load Library", page.selected()[0])
            self.assertIn("What to do: Check that the stack is installed", page.text("detail"))
            self.assertEqual([], page.errors())

    def test_shows_the_first_problems_and_the_others_on_demand(self):
        stops = [f"Cannot stop {name} service" for name in ("IFXTCS", "tcsd_x86", "TBS", "KlPCR")]
        with Browser(log_of(*SETUP, *stops, *FAILED)) as page:
            self.assertIn("Usual causes: ", page.text("verdict"))
            self.assertNotIn("Cannot stop KlPCR service", page.text("verdict"))
            page.driver.find_element(By.CSS_SELECTOR, "#verdict summary").click()
            self.assertIn("Cannot stop KlPCR service", page.text("verdict"))
            self.assertEqual([], page.errors())

    def test_steps_search_filters_and_keys(self):
        with Browser(log_of(*SETUP, *FAILED)) as page:
            search = page.driver.find_element(By.ID, "search")
            search.send_keys("stkprobe")
            self.assertEqual(2, len(page.rows()))
            search.send_keys(*[Keys.BACKSPACE] * len("stkprobe"), Keys.ESCAPE)
            self.assertEqual(13, len(page.rows()))
            page.choose("filter", "problems")
            self.assertEqual(2, len(page.rows()))
            page.press("n")
            self.assertIn("No default TSS vendor", page.selected()[0])
            page.press("p")
            self.assertIn("Failed to Load Library", page.selected()[0])
            page.choose("filter", "quiet")
            self.assertNotIn("kill PatchAgent.exe", " ".join(page.rows()))
            page.choose("filter", "all")
            page.choose("stepFilter", "0")
            self.assertEqual(4, len(page.rows()))
            page.choose("stepFilter", "")
            page.press("k", "k", "j")
            self.assertIn("Load C:", page.selected()[0])
            page.press("+", "l", "h", "-", "0")
            self.assertEqual([], page.errors())

    def test_a_click_on_the_timeline_selects_a_line(self):
        late = (HEADER + "service started\n").replace(":09.042", ":19.042")
        with Browser(log_of(*SETUP, "Vista OS", " TBS current status: 4, 1", "Stopping service") + late) as page:
            lane = page.driver.find_elements(By.CSS_SELECTOR, "#lanes .lane")[-1]
            self.assertIn("waits", lane.text)
            lane.find_element(By.TAG_NAME, "canvas").click()
            self.assertIn("Stopping service", page.selected()[0])
            self.assertEqual([], page.errors())

    def test_a_rehearsal_shows_its_calls_beside_the_log_and_what_changed(self):
        machine = ROOT / "machines" / "windows-7-installed.json"
        rehearsed = ("--fault", "DeleteService=1072", machine, "--", "/Uninstall")
        with Browser("", rehearsed=rehearsed) as page:
            self.assertIn("failed to delete the service 1072", page.selected()[0])
            page.press("k")
            page.driver.execute_script("calls.pick(run.calls.findIndex(call => call.text.startsWith('DeleteService')))")
            self.assertIn("DeleteService{", page.text("detail"))
            self.assertIn("Unregisted the COM portion", page.selected()[0])
            chosen = page.driver.find_element(By.CSS_SELECTOR, "#calls .row[aria-selected=true]")
            self.assertIn("DeleteService  error 1072", chosen.text)
            marked = page.driver.execute_script("return run.calls.filter(call => call.error).map(call => call.text)")
            self.assertIn("DeleteFileA  error 2", marked)
            self.assertFalse([text for text in marked if "QueryServiceStatusEx" in text or "fclose" in text])
            self.assertIn("kelo_install_log.txt", page.text("changes"))
            self.assertEqual([], page.errors())

    def test_each_run_can_be_chosen(self):
        with Browser(log_of(*SETUP, *FAILED) + log_of(BEGIN, "command line argc: 1")) as page:
            self.assertIn("names no action", page.text("verdict"))
            page.choose("run", "0")
            self.assertIn("no stack is usable", page.text("verdict"))
            self.assertEqual([], page.errors())

    def test_a_wait_of_300000_looks_opens_at_once(self):
        polls = "".join(f"2013/05/{7 + i // 345600:02} {i // 14400 % 24:02}:{i // 240 % 60:02}:{i // 4 % 60:02}.{i % 4 * 250:03}"
                        f" TZ-4 [7] TBS  current status: {3 + i % 2}, 0\n" for i in range(300000))
        with Browser(log_of(*SETUP, "Vista OS", "Stopping service") + polls) as page:
            self.assertLess(float(page.ready_ms), 2000)
            self.assertIn("DID NOT END", page.text("verdict"))
            self.assertEqual([], page.errors())

    def test_a_phone_has_nothing_beyond_its_edge(self):
        with Browser(log_of(*SETUP, *FAILED), 390, 800) as page:
            self.assertTrue(page.driver.execute_script(
                "return document.documentElement.scrollWidth <= document.documentElement.clientWidth"))
            self.assertEqual([], page.errors())

    def test_a_log_cannot_put_anything_into_the_page(self):
        evil = "</script><script>document.title = 'caught'</script><img src=x onerror=\"document.title = 'caught'\">"
        with Browser(log_of(*SETUP, evil, *FAILED)) as page:
            self.assertEqual("log.txt, explained", page.driver.title)
            self.assertIn(evil, " ".join(page.rows()))
            self.assertEqual([], page.errors())


if __name__ == "__main__":
    unittest.main()
