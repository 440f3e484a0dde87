"""Publishes services with python3-zeroconf until it is killed. Prints a line when it is ready."""

from __future__ import annotations

import ipaddress
import json
import sys
import time

from zeroconf import IPVersion, ServiceInfo, Zeroconf


def main() -> None:
    scenario = json.loads(sys.argv[1])
    addresses = [ipaddress.ip_address(text).packed for text in scenario["addresses"]]
    responder = Zeroconf(ip_version=IPVersion.All)
    for service in scenario["services"]:
        service_type = f"{service['type']}.local."
        # Returns when the name has been probed and announced.
        responder.register_service(ServiceInfo(
            service_type, f"{service['instance']}.{service_type}", addresses=addresses, port=service["port"],
            properties=dict(text.split("=", 1) for text in service["txt"]),
            server=f"{scenario['hostname']}.local."))
    print("ready", flush=True)
    while True:
        time.sleep(3600)


if __name__ == "__main__":
    main()
