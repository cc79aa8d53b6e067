"""Proves that the map of machines by steps works in a browser: a row for each machine, or for many that went alike, the
steps as columns, search and filter, without script errors."""

import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.common.by import By
except ImportError:  # listing the tests needs no browser
    webdriver = None

from generated_machines import ENDLESS
from rehearsing import InFolder, rehearse

import json

PLAIN = json.dumps({"title": "Plain </script><b>"})
TOOLKIT = json.dumps({"like": "machines/windows-7-toolkit.json", "title": "With the toolkit"})


class HeatMap(InFolder):
    def opened(self, lines, *words):
        page = self.folder / "map.html"
        run = rehearse("-", f"--html={page}", *words, lines=lines)
        self.assertEqual(0, run.status, run.errors)
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1280,1000"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(options=options)
        self.addCleanup(driver.quit)
        driver.get(page.as_uri())
        self.assertIsNotNone(driver.find_element(By.TAG_NAME, "html").get_attribute("data-ready"), driver.get_log("browser"))
        return driver

    @staticmethod
    def rows(driver):
        """Each row: number, status, machines, and how each step went."""
        return driver.execute_script(
            "return [...document.querySelectorAll('#rows tr')].map(row => [...row.children].map("
            "(cell, at) => at < 3 ? cell.textContent : cell.className.replace('heat', '').trim()))")

    def test_each_of_a_few_machines_has_a_row_and_each_step_a_column(self):
        driver = self.opened([PLAIN, TOOLKIT, "nonsense", json.dumps({**ENDLESS, "title": "Endless"}), PLAIN], "--", "/Setup")
        self.assertEqual("/Setup on 5 machines", driver.find_element(By.ID, "title").text)
        self.assertEqual("2 failed, 1 endless, 1 succeeded, 1 unreadable", driver.find_element(By.ID, "summary").text)
        steps = driver.execute_script("return data.steps")
        self.assertEqual(["options", "key storage providers"], steps[:2])
        self.assertEqual("end", steps[-1])
        rows = self.rows(driver)
        self.assertEqual(["failed", "failed", "endless", "succeeded", "unreadable"], [row[1] for row in rows])
        self.assertTrue(rows[0][2].startswith("Plain </script><b> -:1: FAILED: no stack is usable"), rows[0])
        at = {name: place + 3 for place, name in enumerate(steps)}
        self.assertEqual(("failed", "done", ""), (rows[0][at["probe library"]], rows[0][at["end"]], rows[0][at["library copy"]]))
        self.assertEqual(("failed", ""), (rows[2][at["command unblocking"]], rows[2][at["end"]]))
        self.assertEqual({""}, set(rows[4][3:]))
        self.assertEqual([], driver.get_log("browser"))

    def test_search_status_and_rows_of_machines_that_went_alike(self):
        driver = self.opened([PLAIN, TOOLKIT, PLAIN], "--", "/Setup")
        driver.find_element(By.ID, "alike").click()
        self.assertEqual([["2", "failed"], ["1", "succeeded"]], [row[:2] for row in self.rows(driver)])
        self.assertEqual("3 machines in 2 rows", driver.find_element(By.ID, "count").text)
        driver.find_element(By.CSS_SELECTOR, "#rows summary").click()
        self.assertIn("-:3", driver.find_element(By.ID, "rows").text)
        driver.find_element(By.ID, "search").send_keys("toolkit")
        self.assertEqual(["With the toolkit -:2: SUCCEEDED"], [row[2] for row in self.rows(driver)])
        driver.find_element(By.CSS_SELECTOR, "#status option[value=failed]").click()
        self.assertEqual([], self.rows(driver))
        self.assertEqual([], driver.get_log("browser"))

    def test_many_machines_share_rows_which_name_the_first(self):
        driver = self.opened([json.dumps({"title": f"Machine {number}"}) for number in range(230)], "--", "/Commit")
        self.assertEqual(["230"], [row[0] for row in self.rows(driver)])
        self.assertFalse(driver.find_element(By.ID, "alike").is_enabled())
        driver.find_element(By.CSS_SELECTOR, "#rows summary").click()
        self.assertIn("Machine 199 -:200", driver.find_element(By.ID, "rows").text)
        self.assertIn("and 30 more", driver.find_element(By.ID, "rows").text)
        self.assertEqual([], driver.get_log("browser"))


if __name__ == "__main__":
    unittest.main()
