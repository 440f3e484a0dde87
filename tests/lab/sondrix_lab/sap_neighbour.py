"""Another user of the SAP port: sap_neighbour.py alone, or sap_neighbour.py member GROUP.

alone    takes the port and shares it with nobody
member   shares the port, joins the group, and is ready when it has heard an announcement
"""

from __future__ import annotations

import socket
import sys
import threading

from sondrix_lab.sap_relay import SAP_PORT


def main() -> None:
    what, *group = sys.argv[1:]
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as listener:
        if what == "member":
            listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("", SAP_PORT))
        if what == "member":
            membership = socket.inet_aton(group[0]) + socket.inet_aton("0.0.0.0")
            listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
            listener.recv(65535)
        print("ready", flush=True)
        threading.Event().wait()


if __name__ == "__main__":
    main()
