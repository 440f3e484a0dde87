"""The recipe that finds cameras, run on a host of the lab with the real program."""

from __future__ import annotations

import unittest

from sondrix_documents import case
from sondrix_lab.media_peers import Camera, start_camera
from sondrix_lab.network import Link, Network
from sondrix_lab.responders import Service, await_services, missing_tools, start_zeroconf

SECTION = "The addresses of all cameras"
CAMERA = Camera("10.77.0.10", "urn:uuid:3fa1fe68-b915-4053-a3e1-0a4d00000010",
                "http://10.77.0.10/onvif/device_service")
ENCODER = (Service("Caméra Régie", "_rtsp._tcp", 554, ("id=cam-0001",)),)
SPEAKER = (Service("Speaker", "_spotify-connect._tcp", 4070, ("CPath=/",)),)


class CamerasInTheLabTest(case.RecipeTestCase):
    """An ONVIF camera, an encoder that announces RTSP, and a speaker that does neither."""

    headings = (SECTION,)
    tools = ("jq",)
    needs_sandbox = True

    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        reason = missing_tools(("zeroconf",))
        if reason:
            raise unittest.SkipTest(reason)

    def build(self) -> None:
        self.use_program()
        network = Network()
        self.addCleanup(network.close)
        network.bridge()
        self.client = network.host("client", Link("lan", ("10.77.0.2/16",), ipv6=False))
        start_camera(network.host("camera", Link("lan", (f"{CAMERA.address}/16",), ipv6=False)), CAMERA)
        for name, address, services in (("encoder", "10.77.0.11", ENCODER), ("speaker", "10.77.0.12", SPEAKER)):
            start_zeroconf(network.host(name, Link("lan", (f"{address}/16",), ipv6=False)), name, (address,), services)
        await_services(self.client, *ENCODER, *SPEAKER)

    def command(self, text: str) -> list[str]:
        return self.client.command(*super().command(text))

    def test_blocks_as_they_stand(self) -> None:
        lines = self.run_block(SECTION, 0).splitlines()
        self.assertEqual(sorted(lines), ["10.77.0.10  10.77.0.10", "10.77.0.11  Caméra Régie"])
