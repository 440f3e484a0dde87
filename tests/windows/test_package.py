"""The portable zip and the installer for Windows, as a user of Wine meets them.

SONDRIX_WINDOWS_PACKAGE names the folder with the two files that scripts/package-windows.sh made. Everything
runs in a network of its own and on a copy of Wine's folder. Nothing is skipped: what is missing is an error.
"""

from __future__ import annotations

import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile
from collections.abc import Callable
from pathlib import Path

import pefile  # package python3-pefile

PROJECT = Path(__file__).resolve().parents[2]
NAME = "CorvaneTVSondrix"
VERSION = re.search(r"^project\(.*?VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text("utf-8"), re.M | re.S)[1]
OLD_VERSION = "0.9.0"
WITHOUT_ADMINISTRATOR = "without_administrator.exe"
COMPILER = "x86_64-w64-mingw32-gcc-posix"
TOOLS = {COMPILER: "gcc-mingw-w64-x86-64-posix", "makensis": "nsis", "xdotool": "xdotool", "Xvfb": "xvfb",
         "/usr/lib/wine/wine64": "wine64"}
FILES = [
    f"{NAME}.exe",
    "Qt5Core.dll",
    "Qt5Gui.dll",
    "Qt5Network.dll",
    "Qt5Widgets.dll",
    "doc/CHANGELOG.md",
    "doc/config.schema.json",
    "doc/licences/GPL-3.txt",
    "doc/licences/LGPL-3.txt",
    "doc/licences/Qt.txt",
    "doc/licences/compiler.txt",
    "doc/report.md",
    "doc/report.schema.json",
    "doc/sample-config.json",
    "doc/security.md",
    "libgcc_s_seh-1.dll",
    "libstdc++-6.dll",
    "libwinpthread-1.dll",
    "platforms/qwindows.dll",
    "styles/qwindowsvistastyle.dll",
]
# What every Windows 10 has. Wine is no measure: it brings libraries that Windows does not have.
WINDOWS_LIBRARIES = set("""
    advapi32 bcrypt crypt32 d3d11 dnsapi dwmapi dxgi gdi32 imm32 iphlpapi kernel32 mpr msvcrt netapi32 ole32
    oleaut32 secur32 shell32 user32 userenv uxtheme version winmm ws2_32 wtsapi32
    """.split())
PROVIDERS = ["mdns", "ssdp", "upnpDlna", "roku", "cast", "airplay", "nmos", "ember", "onvif", "ndi", "sapAes67"]
ICON_SIZES = [16, 24, 32, 48, 64, 128, 256]
UNINSTALL_KEY = rf"Software\Microsoft\Windows\CurrentVersion\Uninstall\{NAME}"
KEY = rf"Software\Corvane\{NAME}"
STATUS_FAILED, STATUS_RUNNING, STATUS_NO_RULE, STATUS_NO_ADMINISTRATOR = 2, 3, 4, 5  # of the installer

package: Path  # the folder with the two files
wine_folder: Path  # Wine's own files, the test's copy
drive: Path  # C:


def setUpModule() -> None:
    missing = [tool_package for tool, tool_package in TOOLS.items() if not shutil.which(tool)]
    if missing:
        raise AssertionError(f"packages are missing: {', '.join(missing)}")
    global package, wine_folder, drive
    package = Path(os.environ["SONDRIX_WINDOWS_PACKAGE"]).resolve()
    given = Path(os.environ.get("SONDRIX_WINE") or
                 Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "sondrix" / "wine")
    given.parent.mkdir(parents=True, exist_ok=True)
    scratch = tempfile.TemporaryDirectory(prefix="wine-package-", dir=given.parent)
    unittest.addModuleCleanup(scratch.cleanup)
    wine_folder = Path(scratch.name) / "wine"
    drive = wine_folder / "drive_c"
    if (given / ".ready").exists():
        shutil.copytree(given, wine_folder, symlinks=True, ignore=not_to_copy)
    # Else it is made anew by the first program. The libraries of Qt are to come out of the package alone, and the
    # screen is to be one of its own.
    os.environ |= {"SONDRIX_WINE": str(wine_folder), "SONDRIX_QT_WINDOWS": "/nonexistent", "LC_ALL": "C.UTF-8"}
    for variable in ("WINEPATH", "DISPLAY", "WINEDEBUG"):
        os.environ.pop(variable, None)
    unittest.addModuleCleanup(run_wine, "--stop")
    wine("cmd", "/c", "exit")
    # Wine's own does nothing, and comes first unless it is told otherwise.
    wine("reg", "add", r"HKCU\Software\Wine\DllOverrides", "/v", "netsh.exe", "/d", "native", "/f")
    for source, program in (("netsh.c", "netsh.exe"), ("without_administrator.c", WITHOUT_ADMINISTRATOR)):
        subprocess.run([COMPILER, "-municode" if program == WITHOUT_ADMINISTRATOR else "-mconsole", "-o",
                        drive / "windows/system32" / program, Path(__file__).with_name(source)], check=True, timeout=60)


def not_to_copy(folder: str, names: list[str]) -> list[str]:
    """The screen of others, and what programs of others may remove meanwhile."""
    if Path(folder).name.lower() == "temp":
        return names
    return [name for name in names if name.startswith("screen") or name.endswith(".tmp")]


def run_wine(*command: str | Path) -> subprocess.CompletedProcess[str]:
    # Into a file, because Wine's server may hold a pipe for longer than the program lives.
    with tempfile.TemporaryFile() as output:
        done = subprocess.run([PROJECT / "scripts/run-wine.sh", *command], stdin=subprocess.DEVNULL, stdout=output,
                              stderr=subprocess.STDOUT, check=False, timeout=60)
        output.seek(0)
        return subprocess.CompletedProcess(command, done.returncode, output.read().decode())


def wine(*command: str | Path, status: int = 0) -> str:
    """What the command prints; another exit status than the expected one is an error, with all that it said."""
    done = run_wine(*command)
    if done.returncode != status:
        raise AssertionError(f"{command} ended with status {done.returncode}, not {status}:\n{done.stdout}")
    return done.stdout


def wait_until(condition: Callable[[], bool], what: str, seconds: float = 15) -> None:
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.05)


def unpack(case: type[unittest.TestCase]) -> Path:
    """The one folder that is in the zip."""
    scratch = tempfile.TemporaryDirectory()
    case.addClassCleanup(scratch.cleanup)
    with zipfile.ZipFile(package / f"{NAME}-{VERSION}-windows.zip") as archive:
        archive.extractall(scratch.name)
    (folder,) = Path(scratch.name).iterdir()
    return folder


def files_of(folder: Path) -> list[str]:
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def strings_of(program: pefile.PE) -> dict[str, str]:
    """The texts of the version resource."""
    return {key.decode(): value.decode() for info in program.FileInfo[0] if info.Key == b"StringFileInfo"
            for table in info.StringTable for key, value in table.entries.items()}


def icon_sizes(program: pefile.PE) -> list[int]:
    """The widths in the group of icons that the shell shows, which is the first one."""
    kinds = {kind.id: kind.directory.entries for kind in program.DIRECTORY_ENTRY_RESOURCE.entries}

    def bytes_of(entry: pefile.ResourceDirEntryData) -> bytes:
        data = entry.directory.entries[0].data.struct
        return program.get_data(data.OffsetToData, data.Size)

    group = bytes_of(kinds[pefile.RESOURCE_TYPE["RT_GROUP_ICON"]][0])
    images = {entry.id: bytes_of(entry) for entry in kinds[pefile.RESOURCE_TYPE["RT_ICON"]]}
    sizes = []
    for at in range(6, 6 + 14 * int.from_bytes(group[4:6], "little"), 14):
        image = images[int.from_bytes(group[at + 12:at + 14], "little")]
        if len(image) != int.from_bytes(group[at + 8:at + 12], "little"):
            raise AssertionError("an icon is cut off")
        sizes.append(group[at] or 256)
    return sizes


class ResourceTest(unittest.TestCase):
    """What Windows shows of the two programs: icon and version."""

    def check(self, path: Path, strings: dict[str, str]) -> None:
        program = pefile.PE(str(path))
        self.addCleanup(program.close)
        self.assertEqual(program.FILE_HEADER.Machine, pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_AMD64"])
        self.assertEqual(program.OPTIONAL_HEADER.Subsystem, pefile.SUBSYSTEM_TYPE["IMAGE_SUBSYSTEM_WINDOWS_GUI"])
        major, minor, patch = map(int, VERSION.split("."))
        fixed = program.VS_FIXEDFILEINFO[0]
        for part in ("File", "Product"):
            self.assertEqual(getattr(fixed, f"{part}VersionMS"), major << 16 | minor)
            self.assertEqual(getattr(fixed, f"{part}VersionLS"), patch << 16)
        self.assertEqual(strings_of(program), {
            "CompanyName": "Corvane", "FileVersion": VERSION, "LegalCopyright": "Copyright 2026 Corvane",
            "ProductName": NAME, "ProductVersion": VERSION, **strings})
        self.assertEqual(sorted(icon_sizes(program)), ICON_SIZES)

    def test_program(self) -> None:
        self.check(unpack(type(self)) / f"{NAME}.exe", {
            "Comments": "Finds the devices and media sources of a broadcast or AV network",
            "FileDescription": NAME, "InternalName": NAME, "OriginalFilename": f"{NAME}.exe"})

    def test_installer(self) -> None:
        self.check(package / f"{NAME}-{VERSION}-setup.exe", {"FileDescription": f"Installer of {NAME}"})


class PortableTest(unittest.TestCase):
    """The folder of the zip."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = unpack(cls)

    def test_files(self) -> None:
        self.assertEqual(self.folder.name, f"{NAME}-{VERSION}")
        self.assertEqual(files_of(self.folder), sorted(FILES))

    def test_libraries(self) -> None:
        """Whatever a file imports lies beside the program or belongs to Windows, and no library lies there idly."""
        beside = {path.name.lower() for path in self.folder.glob("*.dll")}
        imported = set()
        for path in [*self.folder.rglob("*.dll"), *self.folder.rglob("*.exe")]:
            program = pefile.PE(str(path), fast_load=True)
            self.addCleanup(program.close)
            program.parse_data_directories([pefile.DIRECTORY_ENTRY[f"IMAGE_DIRECTORY_ENTRY_{kind}"]
                                            for kind in ("IMPORT", "DELAY_IMPORT")], import_dllnames_only=True)
            entries = [*program.DIRECTORY_ENTRY_IMPORT, *getattr(program, "DIRECTORY_ENTRY_DELAY_IMPORT", [])]
            names = {entry.dll.decode().lower() for entry in entries}
            self.assertEqual({name for name in names - beside if name.removesuffix(".dll") not in WINDOWS_LIBRARIES},
                             set(), path.name)
            imported |= names
        self.assertEqual(beside - imported, set())

    def test_report(self) -> None:
        report = json.loads(wine(self.folder / f"{NAME}.exe", "--scan-once", "--json", "--config",
                                 self.folder / "doc/sample-config.json", "--disable", ",".join(
                                     name for name in PROVIDERS if name not in ("ember", "nmos", "ssdp"))))
        self.assertEqual([device["provider"] for device in report["devices"]], ["ember", "ember"])
        status = {provider["name"]: provider["status"] for provider in report["providers"] if provider["enabled"]}
        self.assertEqual(status, {"ember": "ok", "nmos": "error", "ssdp": "ok"})  # no registry is in this network

    def test_window(self) -> None:
        screen = {**os.environ, "DISPLAY": ":" + (wine_folder / "screen").read_text("ascii").strip()}
        search = ["xdotool", "search", "--onlyvisible", "--name", f"^{NAME} - "]

        def window_is_there() -> bool:
            return subprocess.run(search, env=screen, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  check=False).returncode == 0

        self.assertFalse(window_is_there())
        with subprocess.Popen([PROJECT / "scripts/run-wine.sh", self.folder / f"{NAME}.exe"],
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as process:
            try:
                wait_until(lambda: process.poll() is not None or window_is_there(), "the window")
                self.assertIsNone(process.poll())
            finally:
                process.kill()


def registry(root: str, key: str) -> dict[str, str] | None:
    """The values of a key."""
    done = run_wine("reg", "query", rf"{root}\{key}", "/reg:64")
    if done.returncode:
        return None
    return dict(re.findall(r"^ {4}(\S+) {4}REG_\w+ {4}(.*?)\r?$", done.stdout, re.M))


def unix_path(path: str) -> Path:
    assert path.upper().startswith("C:\\"), path
    return drive / path[3:].replace("\\", "/")


def drive_content() -> set[str]:
    """All files and folders, without those that programs leave in folders for what is temporary."""
    return {str(path.relative_to(drive)) for path in drive.rglob("*")
            if "temp" not in (part.lower() for part in path.relative_to(drive).parts)}


class InstallerTest(unittest.TestCase):
    """The installer as somebody uses it who rolls it out: silent."""

    maxDiff = None

    @classmethod
    def setUpClass(cls) -> None:
        cls.portable = unpack(cls)
        cls.setup = package / f"{NAME}-{VERSION}-setup.exe"
        variables = "%LOCALAPPDATA%;%APPDATA%;%ProgramFiles%;%ProgramData%"
        local, roaming, programs, data = map(unix_path, wine("cmd", "/c", f"echo {variables}").strip().split(";"))
        menu = Path("Microsoft/Windows/Start Menu/Programs")
        # For each root of the registry, the folder and the entry of the start menu.
        cls.places = {"HKCU": (local / "Programs" / NAME, roaming / menu / f"{NAME}.lnk"),
                      "HKLM": (programs / NAME, data / menu / f"{NAME}.lnk")}
        (local / "Programs").mkdir(exist_ok=True)  # every Windows has it
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.old_setup = cls.make_old_version(Path(scratch.name))
        cls.clean = drive_content()
        if installed := [path for path in cls.clean if NAME in path]:
            raise AssertionError(f"the given folder of Wine has the program installed: {installed}")

    @staticmethod
    def make_old_version(folder: Path) -> Path:
        """The installer of a version that has files which this one lacks. It is small, and so quick."""
        content = folder / "content"
        (content / "old").mkdir(parents=True)
        for name in (f"{NAME}.exe", "old.dll", "old/old.txt"):
            (content / name).write_text("old", "utf-8")
        (folder / "files.nsh").write_text("".join(rf'Delete "$INSTDIR\{name}"' + "\n" for name in (
            f"{NAME}.exe", "old.dll", r"old\old.txt")), "utf-8")
        (folder / "folders.nsh").write_text(r'RMDir "$INSTDIR\old"', "utf-8")
        defines = {"NAME": NAME, "VERSION": OLD_VERSION, "FOLDER": content, "OUTPUT": folder / "old-setup.exe",
                   "UNINSTALL_FILES": folder / "files.nsh", "UNINSTALL_FOLDERS": folder / "folders.nsh",
                   "ICON": PROJECT / f"packaging/icons/{NAME}.ico"}
        subprocess.run(["makensis", "-V2", "-WX", "-NOCD", *(f"-D{key}={value}" for key, value in defines.items()),
                        PROJECT / "packaging/windows/installer.nsi"], check=True, timeout=60)
        return folder / "old-setup.exe"

    def setUp(self) -> None:
        self.assertEqual(drive_content(), self.clean, "something was left behind by a test before")

    def tearDown(self) -> None:
        """What the user wrote goes, and after a failure all the rest, so that it does not bring others."""
        if drive_content() == self.clean:
            return
        for root in self.places:
            for key in (KEY, UNINSTALL_KEY):
                run_wine("reg", "delete", rf"{root}\{key}", "/f")
        for path in sorted(drive_content() - self.clean, reverse=True):
            target = drive / path
            target.rmdir() if target.is_dir() else target.unlink()

    def netsh_calls(self) -> list[str]:
        """How netsh was called since the last time."""
        log = drive / "netsh.log"
        if not log.exists():
            return []
        calls = log.read_text("utf-8").splitlines()
        log.unlink()
        return [re.sub(r'^"?C:\\windows\\system32\\netsh\.exe"? +', "", call, flags=re.I) for call in calls]

    def netsh_call(self, verb: str, folder: str) -> str:
        rule = f'advfirewall firewall {verb} rule name="{NAME}" '
        if verb == "add":
            rule += "dir=in action=allow protocol=udp profile=private,domain remoteip=localsubnet "
        return rf'{rule}program="{folder}\{NAME}.exe"'

    def check_installed(self, root: str, folder: Path, windows_folder: str, version: str = VERSION) -> None:
        self.assertTrue(self.places[root][1].exists())
        self.assertIn(f"{windows_folder}\\{NAME}.exe".encode(), self.places[root][1].read_bytes())
        entry = registry(root, UNINSTALL_KEY)
        self.assertGreater(int(entry.pop("EstimatedSize"), 16), 0)
        self.assertEqual(entry, {
            "DisplayName": NAME, "DisplayVersion": version, "Publisher": "Corvane", "NoModify": "0x1",
            "NoRepair": "0x1", "DisplayIcon": rf"{windows_folder}\{NAME}.exe", "InstallLocation": windows_folder,
            "UninstallString": rf'"{windows_folder}\uninstall.exe"',
            "QuietUninstallString": rf'"{windows_folder}\uninstall.exe" /S'})
        (other,) = self.places.keys() - {root}
        self.assertIsNone(registry(other, UNINSTALL_KEY))
        self.assertFalse(self.places[other][1].exists())
        if version == VERSION:
            self.assertEqual(files_of(folder), sorted([*FILES, "uninstall.exe"]))
            for name in FILES:
                self.assertEqual((folder / name).read_bytes(), (self.portable / name).read_bytes(), name)

    def uninstall(self, root: str) -> None:
        """As the list of the installed programs does it, which ends before the uninstaller's work does."""
        command = registry(root, UNINSTALL_KEY)["QuietUninstallString"]
        program, arguments = re.fullmatch(r'"([^"]+)" (.*)', command).groups()
        wine(program, *arguments.split())
        wait_until(lambda: not unix_path(program).exists(), "the uninstaller's end")
        # Its own file is the last but one; the folder may go a moment later.
        time.sleep(0.5)

    def check_uninstalled(self, root: str, left: set[Path] = frozenset()) -> None:
        expected = self.clean | {str(path.relative_to(drive)) for path in left}
        self.assertEqual(drive_content(), expected)
        for key in (r"Software\Corvane", UNINSTALL_KEY):
            self.assertIsNone(registry(root, key))

    def test_for_one_user(self) -> None:
        """Who needs no administrator."""
        folder = self.places["HKCU"][0]
        shutil.copy(self.setup, drive / "setup.exe")
        wine(WITHOUT_ADMINISTRATOR, r"C:\setup.exe", "/S", "/AllUsers", status=STATUS_NO_ADMINISTRATOR)
        wine(WITHOUT_ADMINISTRATOR, r"C:\setup.exe", "/S")
        (drive / "setup.exe").unlink()
        windows_folder = "C:\\" + str(folder.relative_to(drive)).replace("/", "\\")
        self.check_installed("HKCU", folder, windows_folder)
        report = json.loads(wine(folder / f"{NAME}.exe", "--scan-once", "--json", "--enable", "ember"))
        self.assertEqual(report["devices"], [])
        mine = {folder / "reports/today.json", folder / "doc/notes.txt"}
        for path in mine:
            path.parent.mkdir(exist_ok=True)
            path.write_text("mine", "utf-8")
        self.uninstall("HKCU")
        self.check_uninstalled("HKCU", mine | {folder, folder / "doc", folder / "reports"})
        self.assertEqual(self.netsh_calls(), [])

    def test_for_everybody(self) -> None:
        wine(self.setup, "/S", "/AllUsers")
        windows_folder = rf"C:\Program Files\{NAME}"
        self.assertEqual(self.netsh_calls(), [self.netsh_call("add", windows_folder)])
        wine(WITHOUT_ADMINISTRATOR, rf"{windows_folder}\uninstall.exe", "/S", rf"_?={windows_folder}",
             status=STATUS_NO_ADMINISTRATOR)
        self.check_installed("HKLM", self.places["HKLM"][0], windows_folder)
        self.uninstall("HKLM")
        self.assertEqual(self.netsh_calls(), [self.netsh_call("delete", windows_folder)])
        self.check_uninstalled("HKLM")

    def test_declined_rule_and_another_folder(self) -> None:
        wine(self.setup, "/S", "/AllUsers", "/NoFirewall", r"/D=C:\Studio\Sondrix")
        self.check_installed("HKLM", drive / "Studio/Sondrix", r"C:\Studio\Sondrix")
        self.uninstall("HKLM")
        self.assertEqual(self.netsh_calls(), [])
        self.check_uninstalled("HKLM", {drive / "Studio"})

    def test_refused_rule(self) -> None:
        (drive / "netsh.fails").touch()
        wine(self.old_setup, "/S", "/AllUsers", status=STATUS_NO_RULE)
        self.assertEqual(len(self.netsh_calls()), 1)
        (drive / "netsh.fails").unlink()
        self.check_installed("HKLM", self.places["HKLM"][0], rf"C:\Program Files\{NAME}", OLD_VERSION)
        self.uninstall("HKLM")
        self.assertEqual(self.netsh_calls(), [])
        self.check_uninstalled("HKLM")

    def test_folder_that_cannot_be(self) -> None:
        (drive / "file").touch()
        wine(self.setup, "/S", "/CurrentUser", r"/D=C:\file\Sondrix", status=STATUS_FAILED)
        (drive / "file").unlink()
        self.check_uninstalled("HKCU")

    def test_file_that_cannot_be_written(self) -> None:
        """The installer says so, and what it did write can be removed."""
        obstacle = drive / "Sondrix/old.dll"
        obstacle.mkdir(parents=True)
        wine(self.old_setup, "/S", "/CurrentUser", r"/D=C:\Sondrix", status=STATUS_FAILED)
        obstacle.rmdir()
        self.uninstall("HKCU")
        self.check_uninstalled("HKCU")

    def test_over_an_older_version(self) -> None:
        folder = drive / "Sondrix"
        wine(self.old_setup, "/S", "/AllUsers", r"/D=C:\Sondrix")
        self.check_installed("HKLM", folder, r"C:\Sondrix", OLD_VERSION)
        self.assertEqual(files_of(folder), sorted([f"{NAME}.exe", "old.dll", "old/old.txt", "uninstall.exe"]))
        (folder / "mine.json").touch()

        wine(self.setup, "/S", "/AllUsers")
        (folder / "mine.json").unlink()
        self.check_installed("HKLM", folder, r"C:\Sondrix")
        self.assertFalse((folder / "old").exists())
        self.assertEqual(self.netsh_calls(), [
            self.netsh_call(verb, r"C:\Sondrix") for verb in ("add", "delete", "add")])

        wine(self.setup, "/S", "/AllUsers", r"/D=C:\Moved")
        self.assertFalse(folder.exists())
        self.check_installed("HKLM", drive / "Moved", r"C:\Moved")
        self.uninstall("HKLM")
        self.netsh_calls()
        self.check_uninstalled("HKLM")

    def test_while_the_program_runs(self) -> None:
        folder = drive / "Sondrix"
        wine(self.setup, "/S", "/CurrentUser", r"/D=C:\Sondrix")
        before = drive_content()
        with socket.create_server(("127.0.0.1", 0)) as silent:
            # Nobody answers there, so that the program waits.
            node = f"http://127.0.0.1:{silent.getsockname()[1]}/"
            configuration = Path(self.enterContext(tempfile.TemporaryDirectory())) / "configuration.json"
            configuration.write_text(json.dumps({
                "discovery": {"providers": {name: name == "nmos" for name in PROVIDERS}},
                "manualSeeds": {"nmosRegistries": [f"{node}{number}" for number in range(20)]}}), "utf-8")
            with subprocess.Popen([PROJECT / "scripts/run-wine.sh", folder / f"{NAME}.exe", "--scan-once", "--config",
                                   configuration], stdin=subprocess.DEVNULL) as process:
                try:
                    silent.settimeout(15)
                    silent.accept()[0].close()
                    wine(self.setup, "/S", "/CurrentUser", status=STATUS_RUNNING)
                    wine(self.setup, "/S", "/CurrentUser", r"/D=C:\Moved", status=STATUS_RUNNING)
                    wine(r"C:\Sondrix\uninstall.exe", "/S", r"_?=C:\Sondrix", status=STATUS_RUNNING)
                    self.assertIsNone(process.poll())
                    self.assertEqual(drive_content(), before)
                finally:
                    process.kill()
        self.check_installed("HKCU", folder, r"C:\Sondrix")
        wait_until(lambda: run_wine(r"C:\Sondrix\uninstall.exe", "/S", r"_?=C:\Sondrix").returncode == 0, "it can go")
        self.assertEqual(drive_content() - self.clean, {"Sondrix", "Sondrix/uninstall.exe"})
        (folder / "uninstall.exe").unlink()
        folder.rmdir()
        self.check_uninstalled("HKCU")


if __name__ == "__main__":
    if "--inside" not in sys.argv:
        os.execv(PROJECT / "tests/private_network.sh",
                 ["private_network.sh", sys.executable, "-B", __file__, "--inside", *sys.argv[1:]])
    sys.argv.remove("--inside")
    unittest.main()
