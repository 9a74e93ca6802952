#!/usr/bin/env python3
"""A small site for the test of crawling, served on a port of its own, which it prints. GET
/week/2 changes it: a page is new, one has another text, and one is gone."""

import gzip
import http.server
import sys

LATIN = '<html><head><meta charset="iso-8859-1"><title>Piñuak</title></head><body>piñudi</body></html>'
week = 1


def page(title, body):
    return f"<html><head><title>{title}</title></head><body>{body}</body></html>".encode()


def pages():
    links = "".join(f'<a href="{name}">x</a> ' for name in (
        "zatika", "trinko", "galdu", "lehen/", "birbidali", "latin", "liburua.pdf", "testua.txt",
        "berria" if week == 2 else "zaharra"))
    return {
        "/": ("text/html", page("Etxe zuria", "mendia " + links)),
        "/zatika": ("text/html; charset=utf-8", page("Zatika", "itsasoa" + " ura" * 3000)),
        "/trinko": ("application/xhtml+xml", page("Trinko", "ibaia luzea" if week == 1 else "zubia")),
        "/lehen/": ("text/html", page("Lehen", "basoa")),
        "/latin": ("text/html", LATIN.encode("latin-1")),
        "/liburua.pdf": ("application/pdf", b"%PDF-1.4 hodeia"),
        "/testua.txt": ("text/plain", b"elurra mendian"),
        "/berria" if week == 2 else "/zaharra": ("text/html", page("Orria", "hondartza")),
    }


class Site(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        global week
        if self.path == "/week/2":
            week = 2
            return self.answer(200, "text/plain", b"2")
        if self.path == "/birbidali":
            return self.answer(302, "text/html", page("Hara", "trukea"), [("Location", "/lehen/")])
        if self.path not in pages():
            return self.answer(404, "text/html", page("Ez dago", "hutsa"))
        mime, body = pages()[self.path]
        if self.path == "/trinko":
            return self.answer(200, mime, gzip.compress(body), [("Content-Encoding", "gzip")])
        if self.path == "/zatika":
            return self.answer_in_chunks(mime, body)
        return self.answer(200, mime, body)

    def answer(self, status, mime, body, fields=()):
        self.begin(status, [("Content-Type", mime), ("Content-Length", str(len(body))), *fields])
        self.wfile.write(body)

    def answer_in_chunks(self, mime, body):
        self.begin(200, [("Content-Type", mime), ("Transfer-Encoding", "chunked")])
        for start in range(0, len(body), 1000):
            chunk = body[start:start + 1000]
            self.wfile.write(b"%x\r\n%s\r\n" % (len(chunk), chunk))
        self.wfile.write(b"0\r\n\r\n")

    def begin(self, status, fields):
        self.send_response(status)
        for name, value in fields:
            self.send_header(name, value)
        self.end_headers()

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Site)
print(server.server_port, flush=True)
sys.stdout.close()
server.serve_forever()
