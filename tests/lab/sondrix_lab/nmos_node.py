"""An AMWA NMOS node: nmos_node.py ADDRESS PORT LABEL [MANNERS].

Serves the Node API of IS-04 v1.3: one device that sends video, audio and ancillary data and
receives video and audio. MANNERS, JSON, gives resources one of the manners of `http_host.py`.
"""

from __future__ import annotations

import json
import sys
import threading
import uuid

from sondrix_lab.http_host import Page, serve

BASE_PATH = "/x-nmos/node/v1.3/"
FORMAT = "urn:x-nmos:format:"
RATE = {"numerator": 25, "denominator": 1}
VERSION = "1706781600:500000000"


class Node:
    """The resources of a node. Their ids follow from its label, so that they are the same in each run."""

    def __init__(self, address: str, port: int, label: str) -> None:
        self.address, self.port, self.label = address, port, label
        self.namespace = uuid.uuid5(uuid.NAMESPACE_DNS, label)

    def id(self, name: str) -> str:
        return str(uuid.uuid5(self.namespace, name))

    def core(self, name: str, label: str, **rest: object) -> dict:
        """What every resource has (resource_core.json), and the rest of one."""
        return {"id": self.id(name), "version": VERSION, "label": label, "description": f"{label} of {self.label}",
                "tags": {}, **rest}

    def self_resource(self) -> dict:
        mac = "02-4c-41-42-00-09"
        return self.core(
            "node", self.label, href=f"http://{self.address}:{self.port}/", caps={}, services=[],
            api={"versions": ["v1.3"],
                 "endpoints": [{"host": self.address, "port": self.port, "protocol": "http", "authorization": False}]},
            clocks=[{"name": "clk0", "ref_type": "ptp", "traceable": True, "version": "IEEE1588-2008",
                     "gmid": "08-00-11-ff-fe-21-e1-b0", "locked": True}],
            interfaces=[{"name": "eth0", "chassis_id": mac, "port_id": mac}])

    def devices(self) -> list[dict]:
        return [self.core(
            "device", "Stream Processor", type="urn:x-nmos:device:generic", node_id=self.id("node"),
            senders=[sender["id"] for sender in self.senders()],
            receivers=[receiver["id"] for receiver in self.receivers()],
            controls=[{"type": "urn:x-nmos:control:sr-ctrl/v1.1", "authorization": False,
                       "href": f"http://{self.address}:{self.port}/x-nmos/connection/v1.1/"}])]

    def sources(self) -> list[dict]:
        common = {"device_id": self.id("device"), "caps": {}, "parents": [], "clock_name": "clk0"}
        return [
            self.core("source video", "Programme Video", format=f"{FORMAT}video", grain_rate=RATE, **common),
            self.core("source audio", "Programme Audio", format=f"{FORMAT}audio", **common,
                      channels=[{"label": "Left", "symbol": "L"}, {"label": "Right", "symbol": "R"}]),
            self.core("source data", "Programme Ancillary", format=f"{FORMAT}data", grain_rate=RATE, **common),
        ]

    def flows(self) -> list[dict]:
        def flow(name: str, label: str, **rest: object) -> dict:
            return self.core(f"flow {name}", label, format=f"{FORMAT}{name}", source_id=self.id(f"source {name}"),
                             device_id=self.id("device"), parents=[], **rest)

        components = [{"name": name, "width": width, "height": 1080, "bit_depth": 10}
                      for name, width in (("Y", 1920), ("Cb", 960), ("Cr", 960))]
        return [
            flow("video", "1080i25", media_type="video/raw", grain_rate=RATE, frame_width=1920, frame_height=1080,
                 interlace_mode="interlaced_tff", colorspace="BT709", transfer_characteristic="SDR",
                 components=components),
            flow("audio", "Stereo 24 Bit", media_type="audio/L24", sample_rate={"numerator": 48000}, bit_depth=24),
            flow("data", "SMPTE ST 291", media_type="video/smpte291", grain_rate=RATE,
                 DID_SDID=[{"DID": "0x61", "SDID": "0x02"}]),
        ]

    def senders(self) -> list[dict]:
        labels = {"video": "Video Out", "audio": "Audio Out", "data": "Ancillary Out"}
        return [self.core(
            f"sender {name}", label, flow_id=self.id(f"flow {name}"), transport="urn:x-nmos:transport:rtp.mcast",
            device_id=self.id("device"), interface_bindings=["eth0"], caps={},
            subscription={"receiver_id": None, "active": True},
            manifest_href=f"http://{self.address}:{self.port}/x-nmos/connection/v1.1/single/senders/"
                          f"{self.id(f'sender {name}')}/transportfile")
            for name, label in labels.items()]

    def receivers(self) -> list[dict]:
        types = {"video": ("Video In", "video/raw"), "audio": ("Audio In", "audio/L24")}
        return [self.core(
            f"receiver {name}", label, format=f"{FORMAT}{name}", transport="urn:x-nmos:transport:rtp",
            device_id=self.id("device"), interface_bindings=["eth0"], caps={"media_types": [media_type]},
            subscription={"sender_id": None, "active": False})
            for name, (label, media_type) in types.items()]

    def pages(self, manners: dict[str, str]) -> dict[str, Page]:
        resources = {"self": self.self_resource(), "devices": self.devices(), "sources": self.sources(),
                     "flows": self.flows(), "senders": self.senders(), "receivers": self.receivers()}
        pages = {BASE_PATH: Page(json.dumps([f"{name}/" for name in resources]), "application/json")}
        for name, resource in resources.items():
            # A path counts with and without its trailing slash (IS-04 v1.3, APIs: URLs).
            pages[BASE_PATH + name] = pages[f"{BASE_PATH}{name}/"] = Page(
                json.dumps(resource), "application/json", manners.get(name, "whole"))
        return pages


def main() -> None:
    address, port, label, *manners = sys.argv[1:]
    node = Node(address, int(port), label)
    serve(address, int(port), node.pages(json.loads(manners[0]) if manners else {}))
    print("ready", flush=True)
    threading.Event().wait()


if __name__ == "__main__":
    main()
