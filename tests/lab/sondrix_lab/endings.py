"""Not a test of the program: runs that end in every way, for the test that looks what they leave."""

from __future__ import annotations

import time

from sondrix_lab.case import LabTestCase
from sondrix_lab.network import Link
from sondrix_lab.responders import Service, SimulatedHost, start_avahi, start_mdns_simulator


class Ending(LabTestCase):
    """A network with a daemon and a simulator in it."""

    tools = ("avahi-daemon",)

    @classmethod
    def build(cls) -> None:
        services = (Service("Page", "_http._tcp", 80),)
        cls.network.bridge()
        start_avahi(cls.network.host("camera", Link("lan", ("10.77.0.3/16",))), "camera", services)
        start_mdns_simulator(cls.network.host("crowd", Link("lan", ("10.77.0.4/16",))),
                             (SimulatedHost("10.77.0.4", "crowd", services),))

    def test_success(self) -> None:
        self.assertEqual(len(self.network.hosts), 2)

    def test_failure(self) -> None:
        self.fail("on purpose")

    def test_exception(self) -> None:
        raise KeyboardInterrupt

    def test_hang(self) -> None:
        print("hanging", flush=True)
        time.sleep(600)
