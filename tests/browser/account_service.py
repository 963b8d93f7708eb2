"""The account service under Wine, and the plain clients that the browser tests compare the browser with."""

import contextlib
import hashlib
import hmac
import http.client
import http.server
import json
import pathlib
import queue
import re
import ssl
import subprocess
import threading
import urllib.parse

ACCOUNTS = {
    "productSids": ["demo", "QSN-DEMO", "S & <b>"],
    "users": [{
        "userID": "7", "userName": "Tova Lind", "userEmail": "tova@x.example", "password": "päss & word",
        "accessTokens": [{"token": "a-token-of-the-file", "permanent": True}],
    }],
}
NONCE = "20481"
LIMIT = 60


class WineProgram:
    """In the prefix of the tests, with its lines to be waited for."""

    def __init__(self, session, prefix, program, *arguments):
        self.process = subprocess.Popen([session, "run", prefix, program, *arguments], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
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
            code = self.process.wait(20)
            self.reader.join(20)
            self.process.stdout.close()
            return code
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise


class AccountService:
    """Runs until stop(); the pages of its own port are under `local`."""

    def __init__(self, session, prefix, program, keys, folder):
        self.keys = pathlib.Path(keys)
        folder = pathlib.Path(folder)
        accounts = folder / "accounts.json"
        accounts.write_text(json.dumps(ACCOUNTS))
        program = self.program = WineProgram(
            session, prefix, program, "--accounts", f"Z:{accounts}", "--keys", f"Z:{keys}", "--state", f"Z:{folder}",
            "--configure-user", "--exit-with-stdin")
        self.port = int(program.line(r"^listening on 127\.0\.0\.1:(\d+)").group(1))
        self.local = f"http://127.0.0.1:{self.port}"
        self.authority = folder / "ca.pem"

    def stop(self):
        self.program.end()

    def direct(self, method, path, body=None, headers=None):
        """A request to the port itself: status, headers, text."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        try:
            connection.request(method, path, body, headers or {})
            reply = connection.getresponse()
            return reply.status, reply.headers, reply.read().decode()
        finally:
            connection.close()

    def tunnel(self, host):
        context = ssl.create_default_context(cafile=str(self.authority))
        # The service has no elliptic curves, and so none of the key exchanges that are Python's own choice.
        context.set_ciphers("DEFAULT")
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=context, timeout=30)
        connection.set_tunnel(host, 443)
        return connection

    def certificate(self, host):
        """The one that all of its hosts show, after the development authority vouched for it."""
        with contextlib.closing(self.tunnel(host)) as connection:
            connection.connect()
            return connection.sock.getpeercert(binary_form=True)

    def call(self, host, body, path="/qsn/service/request", authenticated=True, connection=None):
        """An operation as the library sends it: status and reply; the reply is None where it is no JSON."""
        text = json.dumps(body).encode()
        headers = {"X-token": self._token(), "X-digest": hmac.new(NONCE.encode(), text, hashlib.md5).hexdigest()}
        own = connection or self.tunnel(host)
        try:
            own.request("POST", path, text, headers if authenticated else {})
            reply = own.getresponse()
            data = reply.read().decode()
            is_json = reply.headers.get_content_type() == "application/json"
            return reply.status, json.loads(data) if is_json else None
        finally:
            if not connection:
                own.close()

    def result(self, host, token, request_type="getUserInfo"):
        status, reply = self.call(host, {"requestType": request_type, "accessToken": token})
        return reply["result"] if status == 200 else f"status {status}"

    def _token(self):
        encrypted = subprocess.run(
            ["openssl", "pkeyutl", "-encrypt", "-pubin", "-inkey", self.keys / "request_public.pem"],
            input=NONCE.encode().ljust(16, b"\0"), capture_output=True, check=True).stdout
        return encrypted[::-1].hex()


class Listener:
    """What a host opens on this machine to be told the outcome of a login."""

    def __init__(self):
        answers = self.answers = queue.Queue()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                address = urllib.parse.urlsplit(self.path)
                if address.path == "/signed-in":
                    answers.put({name: value for name, value in urllib.parse.parse_qsl(address.query)})
                self.send_response(200)
                self.end_headers()
                self.wfile.write(b"<title>back in the application</title>")

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()
