"""A Roku player: roku_player.py ADDRESS NAME SERIAL.

It answers searches for `roku:ecp` and serves what the External Control Protocol asks first, as
Roku's public documentation tells both.
"""

from __future__ import annotations

import socket
import sys
from xml.sax.saxutils import escape

from sondrix_lab.http_host import Page, serve
from sondrix_lab.ssdp_simulator import GROUP, PORT, search_target

TARGET = "roku:ecp"
ECP_PORT = 8060


def search_answer(address: str, serial: str) -> bytes:
    lines = ["HTTP/1.1 200 OK", "Cache-Control: max-age=3600", f"ST: {TARGET}", f"USN: uuid:{TARGET}:{serial}",
             "Ext: ", "Server: Roku/12.5.0 UPnP/1.0 Roku/12.5.0", f"LOCATION: http://{address}:{ECP_PORT}/", "", ""]
    return "\r\n".join(lines).encode("utf-8")


def device_info(name: str, serial: str) -> str:
    values = {
        "udn": "29a40000-f00d-1046-8035-0a4d00000005", "serial-number": serial, "device-id": f"S00{serial}",
        "vendor-name": "Roku", "model-number": "4802X", "model-name": "Roku Ultra", "model-region": "US",
        "is-tv": "false", "is-stick": "false", "supports-ethernet": "true", "network-type": "ethernet",
        "friendly-device-name": name, "friendly-model-name": "Roku Ultra", "user-device-name": name,
        "software-version": "12.5.0", "software-build": "4178", "secure-device": "true", "language": "en",
        "power-mode": "PowerOn", "supports-suspend": "true", "ecp-setting-mode": "enabled",
    }
    lines = (f"\t<{key}>{escape(value)}</{key}>\n" for key, value in values.items())
    return f'<?xml version="1.0" encoding="UTF-8" ?>\n<device-info>\n{"".join(lines)}</device-info>\n'


def main() -> None:
    address, name, serial = sys.argv[1:]
    serve(address, ECP_PORT, {"/query/device-info": Page(device_info(name, serial))})
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as listener:
        listener.bind((GROUP, PORT))
        membership = socket.inet_aton(GROUP) + socket.inet_aton(address)
        listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        print("ready", flush=True)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.bind((address, 0))
            while True:
                datagram, client = listener.recvfrom(65535)
                if search_target(datagram) in (TARGET, "ssdp:all"):
                    sender.sendto(search_answer(address, serial), client)


if __name__ == "__main__":
    main()
