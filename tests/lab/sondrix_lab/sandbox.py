"""The private world of a lab run: network, process and mount namespaces of its own.

The kernel takes all of it down when the first process of the run ends, however it ends. So no
failure, exception or signal can leave a process, a namespace, a mount or a file behind, and two
runs at once cannot meet.
"""

from __future__ import annotations

import functools
import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

INSIDE_VARIABLE = "SONDRIX_LAB_INSIDE"
NAMESPACES = ["--net", "--mount", "--pid", "--kill-child", "--mount-proc"]
# What the lab needs of the kernel, and of a container around it.
TRIAL = ("ip link add lan type bridge && ip link add port type veth && "
         "echo 1 > /proc/sys/net/ipv6/conf/default/disable_ipv6 && mount --no-mtab -t tmpfs tmpfs /run")
TOOLS = {"ip": "iproute2", "unshare": "util-linux", "setpriv": "util-linux", "mount": "mount"}

# Inside a run /run is a file system of its own. Everything that a run writes is in this folder.
WORK_FOLDER = Path("/run/sondrix-lab")


def is_inside() -> bool:
    return INSIDE_VARIABLE in os.environ


@functools.lru_cache(maxsize=None)
def obstacle() -> str:
    """Why this machine cannot hold a lab; empty when it can."""
    if is_inside():
        return ""
    if os.geteuid() != 0:
        return "network namespaces need root"
    for tool, package in TOOLS.items():
        if shutil.which(tool) is None:
            return f"{tool} is missing (package {package})"
    trial = subprocess.run(["unshare", *NAMESPACES, "sh", "-c", TRIAL], capture_output=True, text=True, check=False)
    return f"no lab on this system: {trial.stderr.strip()}" if trial.returncode else ""


def enter(arguments: list[str]) -> int:
    """Runs this package again inside new namespaces and gives back its exit status."""
    # Each link of the chain dies with the one above it: this process, unshare, the run.
    command = ["setpriv", "--pdeathsig", "KILL", "unshare", *NAMESPACES]
    command += [sys.executable, "-B", "-m", "sondrix_lab", *arguments]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    return subprocess.run(command, env={**os.environ, INSIDE_VARIABLE: "1"}, check=False).returncode


def furnish() -> None:
    """Prepares the fresh namespaces; called once, by the first process inside."""
    subprocess.run(["mount", "--no-mtab", "-t", "tmpfs", "tmpfs", "/run"], check=True)
    temporary_folder = WORK_FOLDER / "tmp"
    temporary_folder.mkdir(parents=True)
    os.environ["TMPDIR"] = os.environ["XDG_CACHE_HOME"] = str(temporary_folder)
    # The bridges stand in this namespace and must not speak themselves.
    Path("/proc/sys/net/ipv6/conf/default/disable_ipv6").write_text("1", encoding="ascii")
