#!/usr/bin/env python3
"""Sends signed requests with the example program to a local service, which verifies each signature with Python's
standard library, and checks the output of the program and the requests that arrive.

    check_loopback.py --wine SCRIPT --prefix FOLDER --program FILE

The program reads its keys from the registry of a Wine prefix that only this check uses.
"""
import argparse
import base64
import hashlib
import hmac
import http.server
import os
import pathlib
import sys
import threading
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from wine_prefix import FAILURES, Prefix, expect, finish  # noqa: E402  after the path to it

SETTINGS = r"HKLM\Software\Kuvant\KuvCredProv"
USER = "SAMPLECLIENTIDENTIFIER"
KEY = "sample-key-that-signs-nothing"
TIMEOUT = 60


def sign(key, user, text):
    """Returns the Authorization value for a text, by the standard library alone."""
    digest = hmac.new(key.encode(), text, hashlib.sha1).hexdigest().upper()
    return "Basic " + base64.b64encode(f"{user}:{digest}".encode()).decode()


def canonical_parameters(text):
    """Decodes the parameters and encodes them again, like a service that uses their values."""
    pairs = urllib.parse.parse_qsl(text, keep_blank_values=True, strict_parsing=bool(text))
    encoded = [(urllib.parse.quote(name, safe=""), urllib.parse.quote(value, safe="")) for name, value in sorted(pairs)]
    return "&".join(f"{name}={value}" for name, value in encoded)


class Service(http.server.BaseHTTPRequestHandler):
    """Answers 200 to a request signed with the key and 401 to any other, and records the requests."""

    protocol_version = "HTTP/1.1"
    timeout = TIMEOUT
    seen = []

    def answer(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        Service.seen.append((self.requestline, self.headers, body))
        path, _, query = self.path.partition("?")
        fields = [self.headers["Date"], self.command, self.headers["Host"], path]
        if self.headers.get("Content-Type") == "application/json":
            fields += ["", hashlib.sha512(body).hexdigest()]
        else:
            fields.append(canonical_parameters(query or body.decode("ascii")))
        good = self.headers["Authorization"] == sign(KEY, USER, "\n".join(fields).encode())
        reply = b'{"stat": "OK"}' if good else b'{"stat": "FAIL"}'
        self.send_response(200 if good else 401)
        self.send_header("Content-Length", str(len(reply)))
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(reply)
        self.close_connection = True

    do_GET = do_POST = do_PUT = answer

    def do_DELETE(self):
        self.send_error(503)

    def log_message(self, *arguments):
        pass


def sections(output):
    """Splits what the program printed at its headings."""
    headings = ("Signed text", "Request", "Text for a log", "Response")
    found = {}
    for heading in headings:
        start = output.find(f"{heading}\n\n".encode())
        if start >= 0:
            ends = [output.find(f"\n\n{other}\n\n".encode(), start) for other in headings]
            end = min((end for end in ends if end > start), default=len(output))
            found[heading] = output[start + len(heading) + 2:end]
    return found


def check_sent(name, shown):
    """Compares the request that the program printed with the one that arrived. WinHTTP decides the order of headers."""
    head, _, body = shown.partition(b"\r\n\r\n")
    request_line, *header_lines = head.decode().split("\r\n")
    came_line, came_headers, came_body = Service.seen[-1]
    expect(f"{name}: request line", came_line, request_line)
    expect(f"{name}: body", came_body, body)
    for line in header_lines:
        header, _, value = line.partition(": ")
        expect(f"{name}: {header}", came_headers.get_all(header), [value])
    # WinHTTP adds headers about the connection only.
    added = {header.lower() for header in came_headers} - {line.partition(":")[0].lower() for line in header_lines}
    expect(f"{name}: other headers", added - {"connection", "cache-control"}, set())


def main():
    parser = argparse.ArgumentParser()
    for option in ("wine", "prefix", "program"):
        parser.add_argument(f"--{option}", required=True)
    given = parser.parse_args()
    os.environ.pop("http_proxy", None)

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Service)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    address = f"http://127.0.0.1:{server.server_port}"

    with Prefix(given.wine, given.prefix) as wine:
        check(wine, given.program, address)
        server.shutdown()
        server.server_close()
        code, _, errors = wine.run(given.program, "GET", "/", "--send", address)
        expect("no service: exit code", code, 5)
        expect("no service: error", errors.split(b" failed")[0], b"KuvSignedRequest: WinHttpSendRequest")
    finish("check_loopback", f"{len(Service.seen)} requests were answered as expected")


def check(wine, program, address):
    def write(name, value):
        wine.must("reg", "add", SETTINGS, "/v", name, "/d", value, "/f")

    def send(name, *arguments):
        code, output, errors = wine.run(program, *arguments, "--send", address)
        if errors:
            FAILURES.append(f"{name}: {errors.decode('utf-8', 'replace')}")
        return code, sections(output)

    wine.run("reg", "delete", SETTINGS, "/f")
    code, _, errors = wine.run(program, "GET", "/v1/ping", "--send", address)
    expect("without settings: exit code", code, 3)
    expect("without settings: requests", len(Service.seen), 0)
    log, message = errors.splitlines()
    expect("without settings: log", b"[Error] Kuv WinLogon MFA not configured properly." in log, True)
    missing = b"KuvSignedRequest: Settings are missing: Host, IKey, SKey."
    expect("without settings: error", message.startswith(missing), True)

    for setting, value in (("Host", "auth.kuv.example"), ("IKey", USER), ("SKey", KEY)):
        write(setting, value)

    accepted = b'200 OK\n\n{"stat": "OK"}\n'
    requests = {
        "form": ("POST", "/v1/auth", "user=Zo\u00eb & S\u00f6hne~/+=%", "factor=push", "empty="),
        "query": ("GET", "/v1/ping%20{x}|y", "b=2", "B=1", "a b=\u20ac \U0001f511"),
        "no parameters": ("GET", "/v1/ping"),
        "JSON": ("PUT", "/v1/auth", "--json", '{"user": "Zo\u00eb", "list": [1, 2]}'),
        "date": ("POST", "/v1/auth", "a=1", "--date", "Tue, 03 Nov 2026 09:30:00 GMT"),
    }
    for name, arguments in requests.items():
        code, shown = send(name, *arguments)
        expect(f"{name}: exit code", code, 0)
        expect(f"{name}: response", shown.get("Response"), accepted)
        if "Request" in shown and Service.seen:
            check_sent(name, shown["Request"])

    code, shown = send("masked", "POST", "/v1/auth", "passcode=123456", "user=a",
                       "--mask", "passcode")
    expect("masked: exit code", code, 0)
    expect("masked: shown", shown.get("Text for a log"), b"POST /v1/auth passcode=#####&user=a")
    expect("masked: sent", Service.seen[-1][2], b"passcode=123456&user=a")

    code, shown = send("another response", "DELETE", "/v1/auth")
    expect("another response: exit code", code, 7)
    expect("another response: status", shown.get("Response", b"").split(b"\n")[0], b"503 Service Unavailable")

    for setting, wrong, right in (("SKey", KEY + "x", KEY), ("IKey", USER + "X", USER)):
        write(setting, wrong)
        code, shown = send(f"wrong {setting}", "POST", "/v1/auth", "user=a")
        expect(f"wrong {setting}: exit code", code, 6)
        expect(f"wrong {setting}: response", shown.get("Response"), b'401 Unauthorized\n\n{"stat": "FAIL"}\n')
        write(setting, right)


if __name__ == "__main__":
    main()
