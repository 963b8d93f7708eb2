"""The account service under Wine, and the plain clients that the browser tests compare the browser with."""

import contextlib
import hashlib
import hmac
import http.client
import json
import pathlib
import queue
import re
import ssl
import subprocess
import threading

PASSWORD = "päss & word"
FILE_TOKEN = "a-token-of-the-file"
ACCOUNTS = {"productSids": ["demo", "QSN-DEMO", "S & <b>"], "users": [{
    "userID": "7", "userName": "Tova Lind", "userEmail": "tova@x.example", "password": PASSWORD,
    "accessTokens": [{"token": FILE_TOKEN, "permanent": True}]}]}
NONCE = b"20481"
LIMIT = 60


class WineProgram:
    """In the prefix of the tests, with its lines to be waited for."""

    def __init__(self, session, prefix, program, *arguments):
        self.process = subprocess.Popen([session, "run", prefix, program, *arguments], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        with self.process.stdout as output:
            for line in output:
                self.lines.put(line.strip())
        self.lines.put(None)

    def line(self, pattern):
        """The match of the next line that has one."""
        seen = []
        while (line := self.lines.get(timeout=LIMIT)) is not None:
            if match := re.search(pattern, line):
                return match
            seen.append(line)
        raise AssertionError(f"ended without {pattern!r}: {seen}")

    def end(self):
        self.process.stdin.close()
        try:
            self.process.wait(20)
        finally:
            self.process.kill()


class AccountService(WineProgram):
    """The pages of its own port are under `local`."""

    def __init__(self, session, prefix, program, keys, folder):
        self.key = pathlib.Path(keys) / "request_public.pem"
        self.authority = pathlib.Path(folder) / "ca.pem"
        accounts = self.authority.with_name("accounts.json")
        accounts.write_text(json.dumps(ACCOUNTS))
        super().__init__(session, prefix, program, "--accounts", f"Z:{accounts}", "--keys", f"Z:{keys}",
                         "--state", f"Z:{folder}", "--configure-user", "--exit-with-stdin")
        self.port = int(self.line(r"^listening on 127\.0\.0\.1:(\d+)").group(1))
        self.local = f"http://127.0.0.1:{self.port}"

    def direct(self, method, path, body=None, headers=None):
        """A request to the port itself: status, headers, text."""
        with contextlib.closing(http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)) as connection:
            connection.request(method, path, body, headers or {})
            reply = connection.getresponse()
            return reply.status, reply.headers, reply.read().decode()

    def tunnel(self, host):
        context = ssl.create_default_context(cafile=str(self.authority))
        # The service has no elliptic curves, so Python's default key exchanges do not work with it.
        context.set_ciphers("DEFAULT")
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=context, timeout=LIMIT)
        connection.set_tunnel(host, 443)
        connection.connect()
        return contextlib.closing(connection)

    def key_digest(self, host):
        """As the browser's switch for trusting a certificate wants it, after the development authority vouched for it."""
        with self.tunnel(host) as connection:
            certificate = connection.sock.getpeercert(binary_form=True)
        key = openssl(certificate, "x509", "-inform", "der", "-noout", "-pubkey")
        return openssl(openssl(key, "pkey", "-pubin", "-outform", "der"), "dgst", "-sha256", "-binary")

    def call(self, connection, body, path="/qsn/service/request", authenticated=True):
        """An operation as the library sends it: its reply, or another status than 200."""
        text = json.dumps(body).encode()
        block = openssl(NONCE.ljust(16, b"\0"), "pkeyutl", "-encrypt", "-pubin", "-inkey", self.key)
        headers = {"X-token": block[::-1].hex(), "X-digest": hmac.new(NONCE, text, hashlib.md5).hexdigest()}
        connection.request("POST", path, text, headers if authenticated else {})
        reply = connection.getresponse()
        data = reply.read()
        return json.loads(data) if reply.status == 200 else {"result": f"status {reply.status}"}

    def result(self, host, token, request_type="getUserInfo", **options):
        with self.tunnel(host) as connection:
            return self.call(connection, {"requestType": request_type, "accessToken": token}, **options)["result"]


def openssl(data, *arguments):
    return subprocess.run(["openssl", *arguments], input=data, capture_output=True, check=True).stdout
