"""The installed program and its Debian package, as a user of a distribution meets them."""

from __future__ import annotations

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOLS = {"desktop-file-validate": "desktop-file-utils", "appstreamcli": "appstream", "man": "man-db", "zsh": "zsh",
         "fish": "fish", "lintian": "lintian", "dpkg-shlibdeps": "dpkg-dev"}
BASH_COMPLETION = Path("/usr/share/bash-completion/bash_completion")
MISSING = [package for tool, package in TOOLS.items() if not shutil.which(tool)]
if not BASH_COMPLETION.exists():
    MISSING.append("bash-completion")
if MISSING:
    print(f"skipped: packages are missing: {', '.join(MISSING)}", file=sys.stderr)
    sys.exit(77)

BUILD = Path(os.environ["SONDRIX_BUILD"])
ID = "example.corvane.CorvaneTVSondrix"
ICONS = ["16x16", "24x24", "32x32", "48x48", "64x64", "128x128", "256x256", "512x512"]
FILES = [
    "bin/CorvaneTVSondrix",
    f"share/applications/{ID}.desktop",
    "share/bash-completion/completions/CorvaneTVSondrix",
    "share/corvanetvsondrix/config.schema.json",
    "share/corvanetvsondrix/report.schema.json",
    "share/doc/corvanetvsondrix/changelog.gz",
    "share/doc/corvanetvsondrix/copyright",
    "share/doc/corvanetvsondrix/report.md",
    "share/doc/corvanetvsondrix/sample-config.json",
    "share/doc/corvanetvsondrix/security.md",
    "share/fish/vendor_completions.d/CorvaneTVSondrix.fish",
    *(f"share/icons/hicolor/{size}/apps/{ID}.png" for size in ICONS),
    f"share/icons/hicolor/scalable/apps/{ID}.svg",
    "share/man/man1/CorvaneTVSondrix.1.gz",
    f"share/metainfo/{ID}.metainfo.xml",
    "share/zsh/site-functions/_CorvaneTVSondrix",
]
PROVIDERS = ["mdns", "ssdp", "upnpDlna", "roku", "cast", "airplay", "nmos", "ember", "onvif", "ndi", "sapAes67"]


def run(*command: str | Path, environment: dict[str, str] | None = None) -> str:
    """What the command prints; one that fails is an error of the test, with all that it said."""
    done = subprocess.run([str(each) for each in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, encoding="utf-8", check=False, timeout=200,
                          env={**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})})
    if done.returncode:
        raise AssertionError(f"{command[0]} ended with status {done.returncode}:\n{done.stdout}")
    return done.stdout


def scratch_folder(case: type[unittest.TestCase]) -> Path:
    folder = tempfile.TemporaryDirectory()
    case.addClassCleanup(folder.cleanup)
    return Path(folder.name)


def files_of(folder: Path) -> list[str]:
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def icon_size(path: Path) -> tuple[int, int]:
    """The width and the height that stand in the head of a PNG."""
    head = path.read_bytes()[:24]
    return int.from_bytes(head[16:20], "big"), int.from_bytes(head[20:24], "big")


class InstallationTest(unittest.TestCase):
    """`cmake --install` into an empty folder."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.root = scratch_folder(cls)
        run(os.environ["SONDRIX_CMAKE"], "--install", BUILD, "--prefix", cls.root)
        cls.share = cls.root / "share"
        cls.help = run(cls.root / "bin" / "CorvaneTVSondrix", "--help", "--scan-once")
        cls.options = sorted(set(re.findall(r"--[a-z-]+", cls.help)) - {"--help-all"})

    def test_files(self) -> None:
        self.assertEqual(files_of(self.root), sorted(FILES))

    def test_desktop_entry(self) -> None:
        self.assertEqual(run("desktop-file-validate", self.share / "applications" / f"{ID}.desktop"), "")

    def test_metainfo(self) -> None:
        path = self.share / "metainfo" / f"{ID}.metainfo.xml"
        self.assertIn("Validation was successful", run("appstreamcli", "validate", "--no-net", path))
        version = run(self.root / "bin" / "CorvaneTVSondrix", "--version", "--scan-once").split()[-1]
        self.assertIn(f'<release version="{version}"', path.read_text("utf-8"))

    def test_icons(self) -> None:
        for size in ICONS:
            with self.subTest(size):
                path = self.share / "icons" / "hicolor" / size / "apps" / f"{ID}.png"
                self.assertEqual("{}x{}".format(*icon_size(path)), size)

    def test_manual_page(self) -> None:
        page = run("man", "--warnings", "-l", self.share / "man" / "man1" / "CorvaneTVSondrix.1.gz",
                   environment={"MANWIDTH": "120", "MAN_KEEP_FORMATTING": "", "MANPAGER": "cat"})
        self.assertNotIn("warning", page)
        words = set(re.findall(r"--[a-z-]+", page))
        self.assertEqual(sorted(words), self.options)
        for provider in PROVIDERS:
            self.assertIn(provider, page)

    def bash(self, *words: str) -> list[str]:
        """What bash offers for the last word."""
        line = " ".join(words)
        script = f"""
            source {BASH_COMPLETION}
            source {self.share}/bash-completion/completions/CorvaneTVSondrix
            COMP_WORDS=({' '.join(f"'{word}'" for word in words)}) COMP_CWORD={len(words) - 1}
            COMP_LINE='{line}' COMP_POINT={len(line)} COMP_TYPE=9 COMP_KEY=9
            compopt() {{ :; }} # bash lets it be called within a completion alone
            _CorvaneTVSondrix CorvaneTVSondrix '{words[-1]}' '{words[-2]}'
            printf '%s\\n' "${{COMPREPLY[@]}}"
        """
        return sorted(run("bash", "-c", script).split())

    def test_bash_completion(self) -> None:
        self.assertEqual(self.bash("CorvaneTVSondrix", "--"), self.options)
        self.assertEqual(self.bash("CorvaneTVSondrix", "--sc"), ["--scan-once"])
        self.assertEqual(self.bash("CorvaneTVSondrix", "--enable", ""), sorted(PROVIDERS))
        self.assertEqual(self.bash("CorvaneTVSondrix", "--disable", "mdns,n"), ["mdns,ndi", "mdns,nmos"])
        self.assertEqual(self.bash("CorvaneTVSondrix", "--api-port", ""), [])

    def fish(self, line: str) -> list[str]:
        script = f"source {self.share}/fish/vendor_completions.d/CorvaneTVSondrix.fish; complete -C '{line}'"
        home = self.root / "fish"
        home.mkdir(exist_ok=True)
        try:
            output = run("fish", "--no-config", "-c", script, environment={"HOME": str(home)})
        finally:
            shutil.rmtree(home)
        return sorted(entry.split("\t")[0] for entry in output.splitlines())

    def test_fish_completion(self) -> None:
        self.assertEqual(self.fish("CorvaneTVSondrix --"), self.options)
        self.assertEqual(self.fish("CorvaneTVSondrix --enable n"), ["ndi", "nmos"])

    def zsh(self, line: str) -> str:
        """What stands on the screen of zsh after a tabulator behind the line."""
        script = f"""
            zmodload zsh/zpty
            zpty shell 'TERM=dumb zsh -f -i'
            zpty -w shell 'PS1=; fpath=({self.share}/zsh/site-functions $fpath); autoload -U compinit; compinit -u -D'
            zpty -w shell 'zstyle ":completion:*" list-prompt ""; LISTMAX=0; setopt auto_list; print READY'
            zpty -r shell ignored '*READY*READY*'
            zpty -w -n shell $'{line}\\t'
            sleep 1
            zpty -w -n shell $'\\x15print DO''NE\\n'
            zpty -r shell screen '*DONE*'
            print -r -- "$screen"
            zpty -d shell
        """
        return run("zsh", "-f", "-c", script)

    def test_zsh_completion(self) -> None:
        screen = self.zsh("CorvaneTVSondrix --")
        for option in self.options:
            self.assertIn(option, screen)
        screen = self.zsh("CorvaneTVSondrix --enable=mdns,n")
        self.assertIn("ndi", screen)
        self.assertIn("nmos", screen)
        self.assertNotIn("roku", screen)


class DebianPackageTest(unittest.TestCase):
    """The package that CPack makes, and what dpkg makes of it."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = scratch_folder(cls)
        run(os.environ["SONDRIX_CPACK"], "-G", "DEB", "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder)
        (cls.package,) = cls.folder.glob("*.deb")

    def test_lintian(self) -> None:
        # The tests run as root, which lintian remarks on.
        output = [line for line in run("lintian", "--fail-on", "none", self.package).splitlines()
                  if not line.startswith("running with root")]
        self.assertEqual(output, [])

    def test_dependencies(self) -> None:
        depends = run("dpkg-deb", "--field", self.package, "Depends")
        for library in ("libqt5core5a", "libqt5gui5", "libqt5network5", "libqt5widgets5", "libstdc++6", "libc6"):
            self.assertRegex(depends, rf"(^|[ ,|]){re.escape(library)} ")

    def test_installed_program_scans(self) -> None:
        """dpkg unpacks and configures it in a root of its own; the libraries are those of this machine."""
        root = self.folder / "root"
        (root / "var" / "lib" / "dpkg").mkdir(parents=True)
        (root / "var" / "lib" / "dpkg" / "status").touch()
        run("dpkg", "--root", root, "--force-depends", "--force-not-root", "--force-script-chrootless", "-i",
            self.package)
        status = run("dpkg-query", "--admindir", root / "var" / "lib" / "dpkg", "-W", "-f", "${Status}",
                     "corvanetvsondrix")
        self.assertEqual(status, "install ok installed")
        program = root / "usr" / "bin" / "CorvaneTVSondrix"
        sample = root / "usr" / "share" / "doc" / "corvanetvsondrix" / "sample-config.json"
        report = json.loads(run(program, "--scan-once", "--json", "--config", sample, "--disable", "nmos"))
        self.assertEqual([device["provider"] for device in report["devices"]], ["ember", "ember"])
        run("dpkg", "--root", root, "--force-not-root", "--force-script-chrootless", "--purge", "corvanetvsondrix")
        self.assertFalse(program.exists())


if __name__ == "__main__":
    unittest.main()
