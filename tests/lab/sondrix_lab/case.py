"""The base of the lab's test cases: a network for each class, and comparisons with a report."""

from __future__ import annotations

import unittest

from sondrix_lab import sandbox
from sondrix_lab.expect import Device
from sondrix_lab.network import Host, Network
from sondrix_lab.responders import missing_tools
from sondrix_lab.schema import faults


class LabTestCase(unittest.TestCase):
    """A subclass names the tools it needs, and builds its network in `build`."""

    tools: tuple[str, ...] = ()
    network: Network
    # The host that scans, and the report of a scan that all tests of a class read.
    client: Host
    report: dict

    @classmethod
    def setUpClass(cls) -> None:
        reason = sandbox.obstacle() or missing_tools(("jsonschema", *cls.tools))
        if not reason and not sandbox.is_inside():
            reason = "outside of a sandbox; start it with python3 -m sondrix_lab"
        if reason:
            raise unittest.SkipTest(reason)
        cls.network = Network()
        cls.addClassCleanup(cls.network.close)
        try:
            cls.build()
        except RuntimeError as problem:
            logs = "\n".join(f"{host.name}:\n{host.logs()}" for host in cls.network.hosts)
            raise RuntimeError(f"{problem}\n{logs}") from problem
        if found := faults(cls.report) if hasattr(cls, "report") else []:
            raise AssertionError("\n".join(["the report is not what its schema says:", *found]))

    @classmethod
    def build(cls) -> None:
        raise NotImplementedError

    def assert_providers(self, report: dict, *names: str) -> None:
        """The rows stand in the order of the pass, each without an error."""
        rows = [(row["name"], row["status"], row["error"]) for row in report["providers"]]
        self.assertEqual(rows, [(name, "ok", "") for name in names])
        self.assertEqual({row["lastScanUtc"] for row in report["providers"]}, {report["lastScanUtc"]})

    def assert_hostnames(self, report: dict, *hostnames: str) -> None:
        """Exactly these devices are there, and none of them twice."""
        self.assertEqual(sorted(device["hostname"] for device in report["devices"]), sorted(hostnames))
        self.assertEqual(report["deviceCount"], len(hostnames))
        keys = [device["stableKey"] for device in report["devices"]]
        self.assertEqual(keys, sorted(set(keys)))

    def assert_device(self, report: dict, expected: Device) -> None:
        found = [device for device in report["devices"] if device["hostname"] == expected.hostname]
        self.assertEqual(len(found), 1, f"{expected.hostname} in {[each['hostname'] for each in report['devices']]}")
        device = found[0]
        self.assertEqual(device["stableKey"], "device-id:" + expected.id.lower())
        self.assertEqual(
            {key: device[key] for key in ("id", "displayName", "vendor", "model", "serial", "firmware", "provider",
                                          "protocol", "direction", "mediaKinds", "requiresAuth", "online")},
            {"id": expected.id, "displayName": expected.display_name, "vendor": expected.vendor,
             "model": expected.model, "serial": expected.serial, "firmware": "", "provider": expected.provider,
             "protocol": expected.protocol, "direction": expected.direction,
             "mediaKinds": expected.media_kinds, "requiresAuth": False, "online": True})
        self.assert_addresses(device, expected)
        self.assert_endpoints(device, expected)
        self.assertEqual({**device["protocolData"], **expected.data}, device["protocolData"])

    def assert_addresses(self, device: dict, expected: Device) -> None:
        self.assertLessEqual(set(device["addresses"]), expected.hosts)
        self.assertTrue(set(device["addresses"]) & set(expected.addresses), device["addresses"])
        self.assertEqual(len(device["addresses"]), len(set(device["addresses"])))

    def assert_endpoints(self, device: dict, expected: Device) -> None:
        endpoints, wanted_endpoints = device["endpoints"], list(expected.endpoints)
        if not expected.ordered:
            endpoints = sorted(endpoints, key=lambda endpoint: endpoint["id"])
            wanted_endpoints.sort(key=lambda endpoint: endpoint.id)
        self.assertEqual([endpoint["id"] for endpoint in endpoints], [wanted.id for wanted in wanted_endpoints])
        for found, wanted in zip(endpoints, wanted_endpoints):
            self.assertEqual(
                {key: found[key] for key in ("stableKey", "label", "protocol", "direction", "mediaKinds",
                                             "transport", "metadata")},
                {"stableKey": "endpoint-id:" + wanted.id.lower(), "label": wanted.label,
                 "protocol": wanted.protocol, "direction": wanted.direction, "mediaKinds": wanted.media_kinds,
                 "transport": wanted.transport, "metadata": {}})
            self.assertIn(found["url"], {wanted.url.replace("{host}", host) for host in expected.hosts})
