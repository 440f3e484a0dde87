"""HTTP hosts with good and bad manners: http_host.py SCENARIO.

The scenario is a list of sites: an address, a port, and by path the pages that are served there.
"""

from __future__ import annotations

import json
import os
import socket
import struct
import sys
import threading
import time
from dataclasses import dataclass
from http import HTTPStatus
from http.server import BaseHTTPRequestHandler
from socketserver import ThreadingTCPServer

DRIP_SECONDS = 0.1


@dataclass(frozen=True)
class Page:
    """What one path serves, and how.

    whole     as it should be
    silence   the request is read, and nothing is ever said
    reset     the connection is reset once the request has been read
    short     the connection ends in the middle of the body that the header promised
    drip      the body comes byte by byte, ten in a second
    redirect  an answer that points to the path in the body
    """

    body: str
    content_type: str = "text/xml; charset=utf-8"
    manner: str = "whole"


class PageHandler(BaseHTTPRequestHandler):
    """One connection."""

    protocol_version = "HTTP/1.1"
    server: PageServer

    def do_GET(self) -> None:
        page = self.server.pages.get(self.path)
        if page is None:
            self.send_error(HTTPStatus.NOT_FOUND)
        else:
            getattr(self, page.manner)(page)

    def log_message(self, *_: object) -> None:
        pass

    def send_head(self, page: Page, status: HTTPStatus = HTTPStatus.OK) -> bytes:
        body = page.body.encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", page.content_type)
        self.send_header("Content-Length", str(len(body)))
        if status == HTTPStatus.FOUND:
            self.send_header("Location", page.body)
        self.end_headers()
        return body

    def whole(self, page: Page) -> None:
        self.wfile.write(self.send_head(page))

    def redirect(self, page: Page) -> None:
        self.wfile.write(self.send_head(page, HTTPStatus.FOUND))

    def silence(self, _: Page) -> None:
        # Ends when the client gives up.
        self.rfile.read(1)
        self.close_connection = True

    def reset(self, _: Page) -> None:
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        os.close(self.connection.detach())
        self.close_connection = True

    def short(self, page: Page) -> None:
        body = self.send_head(page)
        self.wfile.write(body[:len(body) // 2])
        self.close_connection = True

    def drip(self, page: Page) -> None:
        self.close_connection = True
        for byte in self.send_head(page):
            self.wfile.write(bytes([byte]))
            time.sleep(DRIP_SECONDS)


class PageServer(ThreadingTCPServer):
    """One site. The library's HTTPServer would ask DNS for its own name first."""

    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, address: str, port: int, pages: dict[str, Page]) -> None:
        self.pages = pages
        super().__init__((address, port), PageHandler)

    def handle_error(self, request: object, client_address: object) -> None:
        # A client that gives up is what some of the manners provoke.
        if not isinstance(sys.exc_info()[1], OSError):
            super().handle_error(request, client_address)


def serve(address: str, port: int, pages: dict[str, Page]) -> None:
    """Serves in the background, from the moment this returns until the process ends."""
    server = PageServer(address, port, pages)
    threading.Thread(target=server.serve_forever, daemon=True).start()


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as stream:
        sites = json.load(stream)
    for site in sites:
        serve(site["address"], site["port"], {path: Page(**page) for path, page in site["pages"].items()})
    print("ready", flush=True)
    threading.Event().wait()


if __name__ == "__main__":
    main()
