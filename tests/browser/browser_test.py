#!/usr/bin/python3
"""The service's pages in a headless browser:
browser_test.py SESSION PREFIX SERVICE HOST_PROGRAM KEYS HOST STAGING_HOST MEMBER_HOST [TEST...]"""

import base64
import os
import re
import sys
import tempfile
import time
import unittest
import urllib.parse

from selenium import webdriver
from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.chrome.service import Service as Driver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from account_service import FILE_TOKEN, PASSWORD, AccountService, WineProgram

STATE = "AbCdEfGhIjKlMnOpQrStUv-_.~"
HOSTILE = "\"'></textarea><script>document.title='run'</script><img src=x onerror=\"document.title='run'\">"
WAIT = 20


def start_browser(service, host, folder):
    options = webdriver.ChromeOptions()
    digest = base64.b64encode(service.key_digest(host)).decode()
    for switch in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-dev-shm-usage",
                   "disable-background-networking", "disable-component-update", "disable-sync",
                   f"user-data-dir={folder}", f"proxy-server=127.0.0.1:{service.port}",
                   f"ignore-certificate-errors-spki-list={digest}"):
        options.add_argument("--" + switch)
    browser = webdriver.Chrome(service=Driver("/usr/bin/chromedriver"), options=options)
    browser.set_page_load_timeout(30)
    return browser


class PagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        session, prefix, service, cls.host_program, keys, cls.host, cls.staging_host, cls.member_host = ARGUMENTS
        cls.in_prefix = (session, prefix)
        folder = cls.enterClassContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        cls.service = AccountService(session, prefix, service, keys, folder)
        cls.addClassCleanup(cls.service.end)
        cls.browser = start_browser(cls.service, cls.host, os.path.join(folder, "browser"))
        cls.addClassCleanup(cls.browser.quit)
        cls.bases = (f"https://{cls.host}", cls.service.local)

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def has(self, selector):
        return bool(self.browser.find_elements(By.CSS_SELECTOR, selector))

    def until(self, condition):
        """The page may change under the condition."""
        passing = (NoSuchElementException, StaleElementReferenceException)
        WebDriverWait(self.browser, WAIT, 0.05, ignored_exceptions=passing).until(lambda _: condition())

    def text(self):
        return self.find("body").text

    def open_login(self, base, **query):
        self.browser.get(f"{base}/qsn/page/login?{urllib.parse.urlencode({'SID': 'demo'} | query)}")

    def leave_by(self, act):
        """Does what loads another page, and waits for that."""
        old = self.find("html")
        act()
        self.until(lambda: self.find("html") != old and
                   self.browser.execute_script("return document.readyState") == "complete")

    def sign_in(self, name="Tova Lind", password=PASSWORD):
        for field, value in (("name", name), ("password", password)):
            self.find("#" + field).clear()
            self.find("#" + field).send_keys(value)
        self.leave_by(self.find("button[value=sign-in]").click)

    def cancel(self):
        self.leave_by(self.find("button[value=cancel]").click)

    def press(self, fault):
        self.browser.get(self.service.local + "/")
        self.leave_by(self.find(f"button[value={fault}]").click)

    def request(self, text):
        """The newest in the list that has such a text in its line."""
        rows = self.browser.find_elements(By.CSS_SELECTOR, "#requests summary")
        return next((row for row in rows if text in row.text), None)

    def open_request(self, text):
        row = self.request(text)
        return row and (row.send_keys(Keys.ENTER) or True)

    def assert_nothing_ran(self):
        self.assertNotEqual(self.browser.title, "run")
        self.assertFalse(self.has("main img"))

    def test_wrong_and_good_password(self):
        # A page that belongs to neither site hands out a token for both.
        for base, results in ((self.bases[0], [0, 1]), (self.bases[1], [0, 0]), (f"https://{self.staging_host}", [1, 0])):
            self.open_login(base)
            self.sign_in(password=PASSWORD.upper())
            self.assertEqual(self.find("[role=alert]").text, "The name or the password is wrong.")
            self.assertEqual([self.find(field).get_attribute("value") for field in ("#name", "#password")],
                             ["Tova Lind", ""])
            self.sign_in(name="TOVA@x.example")
            self.assertIn("Tova Lind", self.text())
            token = self.find("#token").get_attribute("value")
            self.assertLessEqual(len(token), 63)
            self.assertEqual([self.service.result(host, token) for host in (self.host, self.staging_host)], results)

    def test_what_comes_from_outside_is_text(self):
        self.open_login(self.bases[0], SID="S & <b>")
        self.assertEqual(self.find("strong").text, "S & <b>")
        self.sign_in(name=HOSTILE)
        self.assertEqual(self.find("#name").get_attribute("value"), HOSTILE)
        self.assert_nothing_ran()
        for sid in ("other", HOSTILE, ""):
            self.open_login(self.bases[0], SID=sid)
            self.assertIn(f'"{sid}"' if sid else "names no product", self.text())
            self.assertFalse(self.has("form"))
            self.assert_nothing_ran()

    def test_form_is_good_once_and_not_for_ever(self):
        self.open_login(self.bases[1])
        used = self.find("[name=ticket]").get_attribute("value")
        self.sign_in()
        self.assertTrue(self.has("#token"))
        self.open_login(self.bases[1])
        self.browser.execute_script("document.querySelector('[name=ticket]').value = arguments[0]", used)
        self.sign_in()
        self.assertIn("has expired", self.text())

        self.open_login(self.bases[1])
        form = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.press("expire")
        self.browser.close()
        self.browser.switch_to.window(form)
        self.sign_in()
        self.assertIn("has expired", self.text())

    def host_login(self):
        """A host that waits for its user, and the address that it wants opened."""
        host = WineProgram(*self.in_prefix, self.host_program, "login", "--no-browser")
        self.addCleanup(host.end)
        return host, host.line(r"^https://\S+$").group(0)

    def test_host_program_takes_its_own_login_only(self):
        cancelled, old = self.host_login()
        self.browser.get(old)
        self.cancel()
        cancelled.line("cancelled")
        host, address = self.host_login()
        self.browser.get(re.sub("state=[^&]+", re.search("state=[^&]+", old).group(0), address))
        self.sign_in()
        self.assertIn("This sign-in has expired", self.text())
        # As a browser without the proxy reaches the page.
        self.browser.get(address.replace(*self.bases))
        self.sign_in(password="wrong")
        self.sign_in()
        self.assertIn("You are signed in", self.text())
        # The token is in no address that the browser keeps.
        self.assertTrue(self.browser.current_url.endswith("/done"), self.browser.current_url)
        host.line(r"^Signed in as Tova Lind <tova@x\.example>\.$")

    def test_keyboard_is_enough(self):
        def keys(*text):
            return lambda: webdriver.ActionChains(self.browser).send_keys(*text).perform()

        self.open_login(self.bases[1])
        for field in self.browser.find_elements(By.CSS_SELECTOR, "input:not([type=hidden])"):
            self.assertTrue(self.find(f"label[for={field.get_attribute('id')}]").text)
        self.leave_by(keys("Tova Lind", Keys.TAB, "wrong", Keys.ENTER))
        problem = self.find("[role=alert]").get_attribute("id")
        self.assertEqual(self.find("#name").get_attribute("aria-describedby"), problem)
        self.leave_by(keys(Keys.TAB, PASSWORD, Keys.TAB, Keys.SPACE))
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "token")
        self.open_login(self.bases[1])
        self.leave_by(keys(Keys.TAB, Keys.TAB, Keys.TAB, Keys.ENTER))
        self.assertIn("Cancelled", self.text())

    def test_requests_appear_as_text(self):
        self.browser.get(self.service.local + "/")
        self.service.result(self.host, FILE_TOKEN, HOSTILE)
        self.service.result(self.host, FILE_TOKEN, authenticated=False)
        self.service.result(self.host, FILE_TOKEN)
        for outcome in (HOSTILE, "getUserInfo → status 403", "getUserInfo → status 200, result 0"):
            self.until(lambda: self.open_request(outcome))
        for part in (HOSTILE.replace('"', '\\"'), "holds: X-token and X-digest accepted", '"userName" : "Tova Lind"',
                     "does not hold: X-token is missing", '"accessToken" : "a-toke… (19 bytes)"'):
            self.assertIn(part, self.text())
        self.assertNotIn(FILE_TOKEN, self.browser.page_source)
        self.assert_nothing_ran()
        # What was opened stays open when more comes.
        self.service.result(self.host, FILE_TOKEN, "verifyToken")
        self.until(lambda: self.request("verifyToken"))
        self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "#requests details[open]")), 3)

    def test_page_follows_without_scripts(self):
        command = "Emulation.setScriptExecutionDisabled"
        self.browser.execute_cdp_cmd(command, {"value": True})
        self.addCleanup(self.browser.execute_cdp_cmd, command, {"value": False})
        self.browser.get(self.service.local + "/")
        self.service.result(self.host, "a-token-without-scripts")
        self.until(lambda: self.request("result 1"))

    def test_fault_buttons_have_their_effect(self):
        def result():
            return self.service.result(self.host, FILE_TOKEN)

        def member_key():
            with self.service.tunnel(self.member_host) as connection:
                return self.service.call(connection, {}, "/member-auth/v1/init")["info"]

        def seconds():
            start = time.monotonic()
            self.assertEqual(result(), 0)
            return time.monotonic() - start

        self.addCleanup(self.press, "normal")
        self.press("refuse")
        self.assertIn("the next request is refused", self.find("#state").text)
        self.assertEqual([result(), result()], ["status 403", 0])
        self.press("revoke")
        self.assertEqual(result(), 1)
        before = member_key()
        self.press("rotate")
        self.assertEqual(member_key()["id"], before["id"] + 1)
        self.assertNotEqual(member_key()["public_key"], before["public_key"])
        self.press("normal")
        self.assertLess(seconds(), 3)
        self.press("slow")
        self.assertGreaterEqual(seconds(), 3)
        with self.service.tunnel(self.host) as kept:
            self.press("down")
            with self.assertRaises(OSError):
                self.service.call(kept, {"requestType": "getUserInfo"})
        with self.assertRaisesRegex(OSError, "503"):
            result()
        self.press("normal")
        self.assertLess(seconds(), 3)

    def test_port_answers_only_to_itself(self):
        own = {"Host": f"127.0.0.1:{self.service.port}"}
        login = "/qsn/page/login"
        for method, path, headers, status in (
                ("GET", "/", {"Host": f"LocalHost:{self.service.port}"}, 200),
                ("GET", "/", {"Host": f"elsewhere.example:{self.service.port}"}, 403),
                ("GET", "/requests", {"Host": "127.0.0.1"}, 403),
                ("GET", login + "?SID=demo", {"Host": self.host}, 403),
                ("GET", self.service.local, own, 400),
                ("GET", "/qsn/service/request", own, 404),
                ("DELETE", login, own, 405),
                ("POST", login, own | {"Origin": self.service.local}, 410),
                ("POST", login, own | {"Origin": "https://elsewhere.example"}, 403),
                ("POST", login, own | {"Origin": "null", "Sec-Fetch-Site": "cross-site"}, 403),
                ("POST", "/faults", own, 403)):
            self.assertEqual(self.service.direct(method, path, "", headers)[0], status, f"{method} {path} {headers}")
        ticket = re.search('name="ticket" value="(.*?)"', self.service.direct("GET", "/")[2]).group(1)
        for form, headers, status in (("fault=down", {"Origin": "http://127.0.0.1:1"}, 403), ("fault=none", {}, 400)):
            self.assertEqual(self.service.direct("POST", "/faults", f"{form}&ticket={ticket}", headers)[0], status)

    def test_login_page_leads_to_this_machine_only(self):
        for port, state in (("0", STATE), ("65536", STATE), ("080", STATE), ("80@elsewhere.example", STATE), ("", STATE),
                            ("80", ""), ("80", "short"), ("80", STATE + "\r\nX: y"), ("80", "x" * 257)):
            query = urllib.parse.urlencode({"SID": "demo", "redirect_port": port, "state": state})
            status, headers, page = self.service.direct("GET", "/qsn/page/login?" + query)
            self.assertEqual((status, "<form" in page), (400, False), query)
        self.assertNotIn("script-src", headers["Content-Security-Policy"])
        self.assertEqual([headers[name] for name in ("Cache-Control", "Referrer-Policy", "X-Frame-Options")],
                         ["no-store", "no-referrer", "DENY"])


if __name__ == "__main__":
    # Nothing here goes through the machine's own proxy.
    os.environ["no_proxy"] = "*"
    ARGUMENTS, names = sys.argv[1:9], sys.argv[9:]
    unittest.main(argv=[sys.argv[0], *names], verbosity=2)
