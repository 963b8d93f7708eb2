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

LOGIN = "/qsn/page/login"
STATE = "AbCdEfGhIjKlMnOpQrStUv-_.~"
HOSTILE = "\"'></textarea><script>document.title='run'</script><img src=x onerror=\"document.title='run'\">"


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

    def find_all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def value(self, selector):
        return self.find(selector).get_attribute("value")

    def until(self, condition):
        """The page may change under the condition."""
        passing = (NoSuchElementException, StaleElementReferenceException)
        WebDriverWait(self.browser, 20, 0.05, ignored_exceptions=passing).until(lambda _: condition())

    def assert_shows(self, text):
        self.assertIn(text, self.find("body").text)
        # Nothing that came from outside has run.
        self.assertNotEqual(self.browser.title, "run")
        self.assertFalse(self.find_all("main img"))

    def open_login(self, base, sid="demo"):
        self.browser.get(f"{base}{LOGIN}?{urllib.parse.urlencode({'SID': sid})}")

    def leave_by(self, act):
        """Does what loads another page, and waits for that."""
        old = self.find("html")
        act()
        self.until(lambda: self.find("html") != old and
                   self.browser.execute_script("return document.readyState") == "complete")

    def leave_by_keys(self, *keys):
        self.leave_by(webdriver.ActionChains(self.browser).send_keys(*keys).perform)

    def press(self, button):
        self.leave_by(self.find(f"button[value={button}]").click)

    def sign_in(self, name="Tova Lind", password=PASSWORD):
        for field, value in (("#name", name), ("#password", password)):
            self.find(field).clear()
            self.find(field).send_keys(value)
        self.press("sign-in")

    def set_fault(self, fault):
        self.browser.get(self.service.local + "/")
        self.press(fault)

    def open_request(self, text):
        """The newest in the list that has such a text in its line."""
        row = next((row for row in self.find_all("#requests summary") if text in row.text), None)
        return row and (row.send_keys(Keys.ENTER) or True)

    def test_wrong_and_good_password(self):
        # A page that belongs to neither site issues a token for both.
        for base, results in ((self.bases[0], [0, 1]), (self.bases[1], [0, 0]), (f"https://{self.staging_host}", [1, 0])):
            self.open_login(base)
            self.sign_in(password=PASSWORD.upper())
            self.assertEqual(self.find("[role=alert]").text, "The name or the password is wrong.")
            self.assertEqual([self.value("#name"), self.value("#password")], ["Tova Lind", ""])
            self.sign_in(name="TOVA@x.example")
            self.assert_shows("Tova Lind")
            token = self.value("#token")
            self.assertLessEqual(len(token), 63)
            self.assertEqual([self.service.result(host, token) for host in (self.host, self.staging_host)], results)

    def test_what_comes_from_outside_is_text(self):
        self.open_login(self.bases[0], "S & <b>")
        self.assertEqual(self.find("strong").text, "S & <b>")
        self.sign_in(name=HOSTILE)
        self.assertEqual(self.value("#name"), HOSTILE)
        self.assert_shows("The name or the password is wrong.")
        for sid in (HOSTILE, ""):
            self.open_login(self.bases[0], sid)
            self.assert_shows(f'"{sid}"' if sid else "names no product")
            self.assertFalse(self.find_all("form"))

    def test_form_is_good_once_and_not_for_ever(self):
        self.open_login(self.bases[1])
        used = self.value("[name=ticket]")
        self.sign_in()
        self.assertTrue(self.value("#token"))
        self.open_login(self.bases[1])
        self.browser.execute_script("document.querySelector('[name=ticket]').value = arguments[0]", used)
        self.sign_in()
        self.assert_shows("has expired")

        self.open_login(self.bases[1])
        form = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.set_fault("expire")
        self.browser.close()
        self.browser.switch_to.window(form)
        self.sign_in()
        self.assert_shows("has expired")

    def test_host_program_takes_its_own_sign_in_only(self):
        hosts, addresses = [], []
        for _ in range(2):
            hosts.append(WineProgram(*self.in_prefix, self.host_program, "sign-in", "--no-browser"))
            self.addCleanup(hosts[-1].end)
            addresses.append(hosts[-1].line(r"^https://\S+$").group(0))
        self.browser.get(addresses[0])
        self.press("cancel")
        hosts[0].line("cancelled")
        self.browser.get(re.sub("state=[^&]+", re.search("state=[^&]+", addresses[0]).group(0), addresses[1]))
        self.sign_in()
        self.assert_shows("This sign-in has expired")
        # The page as a browser without the proxy reaches it.
        self.browser.get(addresses[1].replace(*self.bases))
        self.sign_in(password="wrong")
        self.sign_in()
        self.assert_shows("You are signed in")
        # The browser keeps no address with the token in it.
        self.assertTrue(self.browser.current_url.endswith("/done"), self.browser.current_url)
        hosts[1].line(r"^Signed in as Tova Lind <tova@x\.example>\.$")

    def test_keyboard_is_enough(self):
        self.open_login(self.bases[1])
        for field in self.find_all("input:not([type=hidden])"):
            self.assertTrue(self.find(f"label[for={field.get_attribute('id')}]").text)
        self.leave_by_keys("Tova Lind", Keys.TAB, "wrong", Keys.ENTER)
        self.assertEqual(self.find("#name").get_attribute("aria-describedby"), self.find("[role=alert]").get_attribute("id"))
        self.leave_by_keys(Keys.TAB, PASSWORD, Keys.TAB, Keys.SPACE)
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "token")
        self.open_login(self.bases[1])
        self.leave_by_keys(Keys.TAB, Keys.TAB, Keys.TAB, Keys.ENTER)
        self.assert_shows("Cancelled")

    def test_requests_appear_as_text(self):
        self.browser.get(self.service.local + "/")
        self.service.result(self.host, FILE_TOKEN, HOSTILE)
        self.service.result(self.host, FILE_TOKEN, authenticated=False)
        self.service.result(self.host, FILE_TOKEN)
        for outcome in (HOSTILE, "getUserInfo → status 403", "getUserInfo → status 200, result 0"):
            self.until(lambda: self.open_request(outcome))
        for part in (HOSTILE.replace('"', '\\"'), "holds: X-token and X-digest accepted", '"userName" : "Tova Lind"',
                     "does not hold: X-token is missing", '"accessToken" : "a-toke… (19 bytes)"'):
            self.assert_shows(part)
        self.assertNotIn(FILE_TOKEN, self.browser.page_source)
        # What is open stays open when more requests come.
        self.service.result(self.host, FILE_TOKEN, "verifyToken")
        self.until(lambda: "verifyToken" in self.find("#requests summary").text)
        self.assertEqual(len(self.find_all("#requests details[open]")), 3)

    def test_fault_buttons_have_their_effect(self):
        def result():
            return self.service.result(self.host, FILE_TOKEN)

        def member_key():
            with self.service.tunnel(self.member_host) as connection:
                return self.service.call(connection, {}, "/member-auth/v1/init")["info"]

        def takes_long():
            start = time.monotonic()
            self.assertEqual(result(), 0)
            return time.monotonic() - start >= 3

        self.addCleanup(self.set_fault, "normal")
        self.set_fault("refuse")
        self.assert_shows("the next request is refused")
        self.assertEqual([result(), result()], ["status 403", 0])
        self.set_fault("revoke")
        self.assertEqual(result(), 1)
        before = member_key()
        self.set_fault("rotate")
        self.assertEqual(member_key()["id"], before["id"] + 1)
        self.assertNotEqual(member_key()["public_key"], before["public_key"])
        self.set_fault("normal")
        self.set_fault("slow")
        self.assertTrue(takes_long())
        with self.service.tunnel(self.host) as kept:
            self.set_fault("down")
            with self.assertRaises(OSError):
                self.service.call(kept, {"requestType": "getUserInfo"})
        with self.assertRaisesRegex(OSError, "503"):
            result()
        self.set_fault("normal")
        self.assertFalse(takes_long())

    def test_port_answers_only_to_itself(self):
        own = {"Host": f"127.0.0.1:{self.service.port}"}
        page = self.service.direct("GET", "/")[2]
        self.assertIn('<noscript><meta http-equiv="refresh"', page)
        ticket = re.search('name="ticket" value="(.*?)"', page).group(1)
        for method, path, body, headers, status in (
                ("GET", "/", "", {"Host": f"LocalHost:{self.service.port}"}, 200),
                ("GET", "/", "", {"Host": f"elsewhere.example:{self.service.port}"}, 403),
                ("GET", "/requests", "", {"Host": "127.0.0.1"}, 403),
                ("GET", self.service.local, "", own, 400),
                ("GET", "/qsn/service/request", "", own, 404),
                ("DELETE", LOGIN, "", own, 405),
                ("POST", LOGIN, "", own | {"Origin": self.service.local}, 410),
                ("POST", LOGIN, "", own | {"Origin": "https://elsewhere.example"}, 403),
                ("POST", LOGIN, "", own | {"Origin": "null", "Sec-Fetch-Site": "cross-site"}, 403),
                ("POST", "/faults", "fault=down", own, 403),
                ("POST", "/faults", f"fault=down&ticket={ticket}", {"Origin": "http://127.0.0.1:1"}, 403),
                ("POST", "/faults", f"fault=none&ticket={ticket}", own, 400)):
            self.assertEqual(self.service.direct(method, path, body, headers)[0], status, (method, path, body, headers))

    def test_login_page_leads_to_this_machine_only(self):
        for port, state in (("0", STATE), ("65536", STATE), ("080", STATE), ("80@elsewhere.example", STATE), ("", STATE),
                            ("80", ""), ("80", "short"), ("80", STATE + "\r\nX: y"), ("80", "x" * 257)):
            query = urllib.parse.urlencode({"SID": "demo", "redirect_port": port, "state": state})
            status, headers, page = self.service.direct("GET", f"{LOGIN}?{query}")
            self.assertEqual((status, "<form" in page), (400, False), query)
        self.assertNotIn("script-src", headers["Content-Security-Policy"])
        self.assertEqual([headers[name] for name in ("Cache-Control", "Referrer-Policy", "X-Frame-Options")],
                         ["no-store", "no-referrer", "DENY"])


if __name__ == "__main__":
    # Nothing here goes through the machine's own proxy.
    os.environ["no_proxy"] = "*"
    ARGUMENTS, names = sys.argv[1:9], sys.argv[9:]
    unittest.main(argv=[sys.argv[0], *names], verbosity=2)
