"""The program for Windows in a host of the lab, under Wine."""

from __future__ import annotations

import os
import shutil
import subprocess
from pathlib import Path

from sondrix_lab.media_peers import build_ndi_runtime
from sondrix_lab.network import Host, run_ip

PROGRAM_VARIABLE = "SONDRIX_WINDOWS_PROGRAM"
RUN_WINE = str(Path(__file__).resolve().parents[3] / "scripts" / "run-wine.sh")
COMPILER = "x86_64-w64-mingw32-gcc-posix"
NDI_RUNTIME = "Processing.NDI.Lib.x64.dll"
LINE_END = "\r\n"  # of standard output and standard error
# The first use of Wine on a machine makes its folder.
PREPARATION_TIMEOUT_SECONDS = 300
GATEWAY = "10.77.0.1"  # that nothing is sent to, and nobody is


def prepare() -> None:
    """Lets Wine make its folder, outside of the sandbox: inside, the folder for caches ends with the run."""
    cache = Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "sondrix"
    os.environ.setdefault("SONDRIX_WINE", str(cache / "wine"))
    os.environ.setdefault("SONDRIX_QT_WINDOWS", str(cache / "qt-windows"))
    subprocess.run(run_wine("cmd", "/c", "exit"), stdin=subprocess.DEVNULL, check=True,
                   timeout=PREPARATION_TIMEOUT_SECONDS)


def run_wine(program: str, *arguments: str) -> list[str]:
    """The sockets of a program are its Wine server's, so each program gets a server in its own host."""
    return [RUN_WINE, "--server", program, *arguments]


def windows_path(path: Path) -> str:
    return f"Z:{path}"


def add_gateway(host: Host) -> None:
    """Where the default route leads to no gateway, Wine tells its programs of no interface at all."""
    run_ip(f"route replace default via {GATEWAY}", namespace=host.name)


def install_program(host: Host) -> Path:
    """The program in a folder of the host, with the stand-in for the NDI runtime beside it."""
    folder = host.folder / "windows"
    build_ndi_runtime(folder, compiler=COMPILER, name=NDI_RUNTIME)
    return Path(shutil.copy(os.environ[PROGRAM_VARIABLE], folder))
