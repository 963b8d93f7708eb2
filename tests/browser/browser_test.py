#!/usr/bin/python3
"""The service's pages in a headless browser: browser_test.py SESSION PREFIX SERVICE HOST_PROGRAM KEYS HOST STAGING_HOST MEMBER_HOST
[TEST...]"""

import base64
import contextlib
import hashlib
import os
import re
import subprocess
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

from account_service import AccountService, Listener, WineProgram

PASSWORD = "päss & word"
FILE_TOKEN = "a-token-of-the-file"
STATE = "AbCdEfGhIjKlMnOpQrStUv-_.~"
HOSTILE = "\"'></textarea><script>document.title='run'</script><img src=x onerror=\"document.title='run'\">"
WAIT = 20


def key_digest(certificate):
    """Of the public key, as the browser's switch for trusting a certificate wants it."""
    pem = subprocess.run(["openssl", "x509", "-inform", "der", "-noout", "-pubkey"], input=certificate,
                         capture_output=True, check=True)
    der = subprocess.run(["openssl", "pkey", "-pubin", "-outform", "der"], input=pem.stdout, capture_output=True,
                         check=True)
    return base64.b64encode(hashlib.sha256(der.stdout).digest()).decode()


def start_browser(service, host, folder):
    options = webdriver.ChromeOptions()
    for switch in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                   "--disable-background-networking", "--disable-component-update", "--disable-sync",
                   "--disable-dev-shm-usage", f"--user-data-dir={folder}",
                   f"--proxy-server=127.0.0.1:{service.port}",
                   f"--ignore-certificate-errors-spki-list={key_digest(service.certificate(host))}"):
        options.add_argument(switch)
    return webdriver.Chrome(service=Driver("/usr/bin/chromedriver"), options=options)


class PagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        session, prefix, program, host_program, keys, cls.host, cls.staging_host, cls.member_host = ARGUMENTS
        folder = cls.enterClassContext(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        cls.service = AccountService(session, prefix, program, keys, folder)
        cls.addClassCleanup(cls.service.stop)
        cls.browser = start_browser(cls.service, cls.host, os.path.join(folder, "browser"))
        cls.addClassCleanup(cls.browser.quit)
        cls.start_host = lambda _, *arguments: WineProgram(session, prefix, host_program, *arguments)
        cls.bases = (f"https://{cls.host}", cls.service.local)

    # ------------------------------------------------------------------------------------------------- helpers

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def has(self, selector):
        return bool(self.browser.find_elements(By.CSS_SELECTOR, selector))

    def until(self, condition):
        """What the condition gives once that is true; the page may change under it meanwhile."""
        passing = (NoSuchElementException, StaleElementReferenceException)
        return WebDriverWait(self.browser, WAIT, 0.05, ignored_exceptions=passing).until(lambda _: condition())

    def text(self):
        return self.find("main").text

    def open_login(self, base, **query):
        query.setdefault("SID", "demo")
        self.browser.get(f"{base}/qsn/page/login?{urllib.parse.urlencode(query)}")

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

    # --------------------------------------------------------------------------------------------- login page

    def test_wrong_and_good_password(self):
        for base in (*self.bases, f"https://{self.staging_host}"):
            with self.subTest(base):
                self.open_login(base)
                self.sign_in(password=PASSWORD.upper())
                self.assertEqual(self.find("[role=alert]").text, "The name or the password is wrong.")
                self.assertEqual(self.find("#name").get_attribute("value"), "Tova Lind")
                self.assertEqual(self.find("#password").get_attribute("value"), "")
                self.sign_in(name="TOVA@x.example")
                token = self.find("#token").get_attribute("value")
                self.assertIn("Tova Lind", self.text())
                self.assertLessEqual(len(token), 63)
                results = [self.service.result(host, token) for host in (self.host, self.staging_host)]
                # A page that belongs to neither site hands out a token for both.
                expected = {self.bases[0]: [0, 1], self.bases[1]: [0, 0]}.get(base, [1, 0])
                self.assertEqual(results, expected)

    def test_product_is_named_as_text_and_must_be_known(self):
        self.open_login(self.bases[0], SID="S & <b>")
        self.assertEqual(self.find("strong").text, "S & <b>")
        for sid in ("other", HOSTILE, ""):
            self.open_login(self.bases[0], SID=sid)
            self.assertIn(f'"{sid}"' if sid else "names no product", self.text())
            self.assertFalse(self.has("form"))
            self.assert_nothing_ran()

    def test_script_in_the_name_is_text(self):
        for base in self.bases:
            self.open_login(base)
            self.sign_in(name=HOSTILE)
            self.assertEqual(self.find("#name").get_attribute("value"), HOSTILE)
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
        self.assertFalse(self.has("#token"))

        self.open_login(self.bases[1])
        form = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.press("expire")
        self.browser.close()
        self.browser.switch_to.window(form)
        self.sign_in()
        self.assertIn("has expired", self.text())

    def test_hands_the_outcome_to_a_listener(self):
        for base in self.bases:
            with self.subTest(base), Listener() as listener:
                self.open_login(base, redirect_port=listener.port, state=STATE)
                self.sign_in(password="wrong")
                self.sign_in()
                answer = listener.answers.get(timeout=WAIT)
                self.assertEqual(answer.pop("state"), STATE)
                self.assertEqual(self.service.result(self.host, answer.pop("token")), 0)
                self.assertEqual(answer, {})
                self.assertEqual(self.browser.title, "back in the application")

                self.open_login(base, redirect_port=listener.port, state=STATE)
                self.leave_by(self.find("button[value=cancel]").click)
                self.assertEqual(listener.answers.get(timeout=WAIT), {"state": STATE, "error": "cancelled"})
        self.open_login(self.bases[0])
        self.leave_by(self.find("button[value=cancel]").click)
        self.assertIn("Nobody was signed in", self.text())

    def test_keyboard_is_enough(self):
        self.open_login(self.bases[1])
        for field in self.browser.find_elements(By.CSS_SELECTOR, "input:not([type=hidden])"):
            self.assertTrue(self.find(f"label[for={field.get_attribute('id')}]").text)
        keys = lambda *text: webdriver.ActionChains(self.browser).send_keys(*text).perform()
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "name")
        self.leave_by(lambda: keys("Tova Lind", Keys.TAB, "wrong", Keys.ENTER))
        self.assertEqual(self.find("#name").get_attribute("aria-describedby"), self.find("[role=alert]").get_attribute("id"))
        self.leave_by(lambda: keys(Keys.TAB, PASSWORD, Keys.TAB, Keys.SPACE))
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "token")
        self.open_login(self.bases[1])
        self.leave_by(lambda: keys(Keys.TAB, Keys.TAB, Keys.TAB, Keys.ENTER))
        self.assertIn("Cancelled", self.text())

    def host_login(self):
        """A host that waits for its user, and the address that it wants opened."""
        host = self.start_host("login", "--no-browser")
        return host, host.line(r"^https://\S+$").group(0)

    def test_host_program_signs_in(self):
        host, address = self.host_login()
        self.browser.get(address)
        self.sign_in()
        self.until(lambda: "You are signed in" in self.find("body").text)
        # The token is in no address that the browser keeps.
        self.assertTrue(self.browser.current_url.endswith("/done"), self.browser.current_url)
        host.line(r"^Signed in as Tova Lind <tova@x\.example>\.$")
        self.assertEqual(host.end(), 0)

    def test_host_program_takes_no_other_login_than_its_own(self):
        cancelled, old = self.host_login()
        self.browser.get(old)
        self.leave_by(self.find("button[value=cancel]").click)
        cancelled.line("cancelled")
        self.assertEqual(cancelled.end(), 1)
        host, address = self.host_login()
        port, state = (re.search(f"{name}=([^&]+)", text).group(1) for name, text in (("redirect_port", address),
                                                                                       ("state", old)))
        self.open_login(self.bases[0], SID="QSN-DEMO", redirect_port=port, state=state)
        self.sign_in()
        self.assertIn("This sign-in has expired", self.find("body").text)
        # As a browser without the proxy reaches the page.
        self.browser.get(address.replace(self.bases[0], self.bases[1]))
        self.sign_in()
        host.line("^Signed in as Tova Lind")
        self.assertEqual(host.end(), 0)

    # ----------------------------------------------------------------------------------------- developer page

    def test_requests_appear_as_text(self):
        self.browser.get(self.service.local + "/")
        self.service.call(self.host, {"requestType": HOSTILE, "accessToken": FILE_TOKEN})
        self.service.call(self.host, {"requestType": "getUserInfo", "accessToken": FILE_TOKEN}, authenticated=False)
        self.service.result(self.host, FILE_TOKEN)
        for outcome in (HOSTILE, "getUserInfo → status 403", "getUserInfo → status 200, result 0"):
            self.until(lambda: self.open_request(outcome))
        text = self.text()
        for part in (json_text(HOSTILE), "holds: X-token and X-digest accepted", "does not hold: X-token is missing",
                     '"userName" : "Tova Lind"', '"accessToken" : "a-toke… (19 bytes)"'):
            self.assertIn(part, text)
        self.assertNotIn(FILE_TOKEN, self.browser.page_source)
        self.assert_nothing_ran()
        # What was opened stays open when more comes.
        self.service.result(self.host, FILE_TOKEN, "verifyToken")
        self.until(lambda: self.request("verifyToken"))
        self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "#requests details[open]")), 3)

    def test_page_follows_without_scripts(self):
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        try:
            self.browser.get(self.service.local + "/")
            self.service.result(self.host, "a-token-without-scripts")
            self.until(lambda: self.request("result 1"))
        finally:
            self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})

    def test_fault_buttons_have_their_effect(self):
        self.addCleanup(self.press, "normal")
        result = lambda: self.service.result(self.host, FILE_TOKEN)
        self.press("refuse")
        self.assertIn("the next request is refused", self.find("#state").text)
        self.assertEqual([result(), result()], ["status 403", 0])

        self.press("revoke")
        self.assertEqual(result(), 1)
        self.press("normal")
        self.assertEqual(result(), 0)

        key = lambda: self.service.call(self.member_host, {}, "/member-auth/v1/init")[1]["info"]
        before = key()
        self.press("rotate")
        self.assertEqual(key()["id"], before["id"] + 1)
        self.assertNotEqual(key()["public_key"], before["public_key"])

        self.press("slow")
        start = time.monotonic()
        self.assertEqual(result(), 0)
        self.assertGreaterEqual(time.monotonic() - start, 3)

        with contextlib.closing(self.service.tunnel(self.host)) as kept:
            kept.connect()
            self.press("down")
            with self.assertRaises((ConnectionError, OSError)):
                self.service.call(self.host, {"requestType": "getUserInfo"}, connection=kept)
        with self.assertRaisesRegex(OSError, "503"):
            result()
        self.press("normal")
        start = time.monotonic()
        self.assertEqual(result(), 0)
        self.assertLess(time.monotonic() - start, 3)

    # -------------------------------------------------------------------------------------------------- guards

    def test_port_answers_only_to_itself(self):
        own = {"Host": f"127.0.0.1:{self.service.port}"}
        form = {"Content-Type": "application/x-www-form-urlencoded"}
        rows = (
            ("GET", "/", {"Host": f"LocalHost:{self.service.port}"}, 200),
            ("GET", "/", {"Host": f"elsewhere.example:{self.service.port}"}, 403),
            ("GET", "/requests", {"Host": "127.0.0.1"}, 403),
            ("GET", "/qsn/page/login?SID=demo", {"Host": self.host}, 403),
            ("GET", f"http://127.0.0.1:{self.service.port}/", own, 400),
            ("GET", "/qsn/service/request", own, 404),
            ("POST", "/faults", own | form, 403),
            ("POST", "/qsn/page/login", own | form, 410),
            ("POST", "/qsn/page/login", own | {"Origin": self.service.local}, 410),
            ("POST", "/qsn/page/login", own | {"Origin": "https://elsewhere.example"}, 403),
            ("POST", "/qsn/page/login", own | {"Origin": "null", "Sec-Fetch-Site": "cross-site"}, 403),
            ("DELETE", "/qsn/page/login", own, 405),
        )
        for method, path, headers, status in rows:
            with self.subTest(f"{method} {path} {headers}"):
                self.assertEqual(self.service.direct(method, path, "", headers)[0], status)
        _, headers, page = self.service.direct("GET", "/")
        ticket = page.split('name="ticket" value="')[1].split('"')[0]
        foreign = {"Origin": "http://127.0.0.1:1"}
        self.assertEqual(self.service.direct("POST", "/faults", f"fault=down&ticket={ticket}", foreign)[0], 403)
        self.assertEqual(self.service.direct("POST", "/faults", f"fault=none&ticket={ticket}")[0], 400)
        self.assertIn("script-src 'self'", headers["Content-Security-Policy"])

    def test_login_page_leads_to_this_machine_only(self):
        rows = ({"redirect_port": "0", "state": STATE}, {"redirect_port": "65536", "state": STATE},
                {"redirect_port": "080", "state": STATE}, {"redirect_port": "80@elsewhere.example", "state": STATE},
                {"redirect_port": "", "state": STATE}, {"redirect_port": "80"},
                {"redirect_port": "80", "state": "short"}, {"redirect_port": "80", "state": STATE + "\r\nX: y"},
                {"redirect_port": "80", "state": "x" * 257})
        for row in rows:
            status, headers, page = self.service.direct(
                "GET", "/qsn/page/login?" + urllib.parse.urlencode({"SID": "demo"} | row))
            self.assertEqual((status, "<form" in page), (400, False), row)
        self.assertNotIn("script-src", headers["Content-Security-Policy"])
        self.assertEqual([headers[name] for name in ("Cache-Control", "Referrer-Policy", "X-Frame-Options")],
                         ["no-store", "no-referrer", "DENY"])


def json_text(text):
    """As it stands between the quotes of a JSON text."""
    return text.replace("\\", "\\\\").replace('"', '\\"')


if __name__ == "__main__":
    # Nothing here goes through the machine's own proxy.
    os.environ["no_proxy"] = "*"
    ARGUMENTS, names = sys.argv[1:9], sys.argv[9:]
    unittest.main(argv=[sys.argv[0], *names], verbosity=2)
