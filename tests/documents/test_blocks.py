"""Every command of the documents is run by a test, here or elsewhere."""

from __future__ import annotations

import importlib
import unittest
from dataclasses import dataclass
from pathlib import Path

from sondrix_documents import case
from sondrix_documents.blocks import PROJECT, Block, blocks_of, documents, parse

FOLDER = Path(__file__).resolve().parent
SHELL = "sh"
OTHER_NAMES_OF_SHELL = ("bash", "console", "shell", "shell-session", "zsh")


@dataclass(frozen=True)
class Elsewhere:
    """A block that no test here runs: what does run its commands, and why not these tests."""

    document: str
    text: str
    runner: str
    reason: str


ELSEWHERE = (
    Elsewhere("README.md", "scripts/run.sh --scan-once --json\nscripts/test.sh\nscripts/demo.sh --json\n",
              "scripts/check-fresh.sh",
              "scripts/test.sh is what runs these tests; scripts/run.sh builds by the same functions, and what it "
              "then starts is run by tests/app/console_process_test.cpp; what scripts/demo.sh starts is lab_demo. "
              "scripts/check-fresh.sh runs the first two in a bare system"),
    Elsewhere("README.md", "cmake --preset dev && cmake --build --preset dev && ctest --preset dev\n",
              "scripts/test.sh", "its last steps are these three commands, with these tests among what they run"),
    Elsewhere("CONTRIBUTING.md", "cmake --preset dev\ncmake --build --preset dev\n", "scripts/test.sh",
              "its first steps"),
    Elsewhere("CONTRIBUTING.md",
              "ctest --preset dev                 # all\n"
              "ctest --preset dev -R ssdp         # those with ssdp in their name\n"
              "ctest --preset dev -L lab          # the lab alone\n"
              "scripts/test.sh --preset asan      # all, with the sanitizers\n"
              "scripts/test-windows.sh            # the Windows program and its tests, under Wine\n"
              "scripts/fuzz.sh 60 ssdp_response   # one fuzz target for a minute\n", ".ci/run",
              "it runs all of these tests, and those under Wine; a fuzzer is built anew and runs for a minute"),
    Elsewhere("CONTRIBUTING.md",
              "scripts/check-format.sh            # clang-format\n"
              "scripts/tidy.sh                    # clang-tidy\n"
              "scripts/analyse.sh                 # clazy and cppcheck\n"
              ".ci/run                            # all of it, and the tests in dev, asan and under Wine\n", ".ci/run",
              "it runs the other three"),
    Elsewhere("docs/build-windows.md",
              "scripts/build-qt-windows.sh        # Qt for Windows, once\n"
              "scripts/package-windows.sh         # the installer and the zip\n", "scripts/test-windows.sh",
              "it runs both, and holds what they make against tests/windows/test_package.py"),
    Elsewhere("docs/build-windows.md",
              "SONDRIX_WINDOWS_PACKAGE=build/windows/package /usr/bin/python3 -B tests/windows/test_package.py\n",
              "scripts/test-windows.sh", "its ctest runs this as windows_package"),
    Elsewhere("docs/build-windows.md",
              "cmake --preset windows\n"
              "cmake --build --preset windows\n"
              "scripts/run-wine.sh build/windows/app/CorvaneTVSondrix.exe --scan-once --json > report.json\n"
              "scripts/run-wine.sh --stop\n", "scripts/test-windows.sh",
              "it builds by the first two; tests/lab/test_wine.py makes a report by the third in a network of its own"),
)


def recipe_classes() -> list[type[case.RecipeTestCase]]:
    """Those of the modules that ctest runs."""
    registration = (FOLDER / "CMakeLists.txt").read_text("utf-8")
    line = next(line for line in registration.splitlines() if line.startswith("foreach(name IN ITEMS "))
    names = line.removeprefix("foreach(name IN ITEMS ").removesuffix(")").split()
    modules = [importlib.import_module(f"test_{name}") for name in names]
    return [value for module in modules for value in vars(module).values()
            if isinstance(value, type) and issubclass(value, case.RecipeTestCase)]


def unknown_blocks(blocks: list[Block], classes: list[type[case.RecipeTestCase]],
                   elsewhere: tuple[Elsewhere, ...]) -> list[str]:
    sections = {(each.document, heading) for each in classes for heading in each.headings}
    known = {(each.document, each.text) for each in elsewhere}
    return [f"{block}: no test runs it" for block in blocks if block.language == SHELL
            and (block.document, block.heading) not in sections and (block.document, block.text) not in known]


def idle_entries(blocks: list[Block], elsewhere: tuple[Elsewhere, ...]) -> list[str]:
    there = {(block.document, block.text) for block in blocks if block.language == SHELL}
    return [f"{each.document} has no such block any more: {each.text}" for each in elsewhere
            if (each.document, each.text) not in there]


class BlocksTest(unittest.TestCase):
    """What the documents hold, against what the tests know."""

    def setUp(self) -> None:
        self.blocks = [block for document in documents() for block in blocks_of(document)]

    def test_every_command_is_known(self) -> None:
        self.assertEqual(unknown_blocks(self.blocks, recipe_classes(), ELSEWHERE), [])

    def test_every_entry_of_the_table_is_needed(self) -> None:
        self.assertEqual(idle_entries(self.blocks, ELSEWHERE), [])
        self.assertEqual([each.runner for each in ELSEWHERE if not (PROJECT / each.runner).is_file()], [])

    def test_commands_are_marked_as_commands(self) -> None:
        """A block under another name would slip through."""
        self.assertEqual([str(block) for block in self.blocks if block.language in OTHER_NAMES_OF_SHELL], [])
        self.assertEqual([str(block) for block in self.blocks if block.language == ""], [])

    def test_commands_for_windows_say_so(self) -> None:
        blocks = [block for block in self.blocks if block.language == "powershell"]
        self.assertEqual([str(block) for block in blocks if not block.text.startswith("# For Windows.")], [])
        self.assertEqual(len([block for block in blocks if block.document == "docs/cookbook.md"]), 1)


class SelfTest(unittest.TestCase):
    """The checks above can fail."""

    TEXT = "# One\n```sh\ntrue\n```\n## Two\n```json\n{}\n```\n\n```sh\n# no heading\nfalse\n```\n"

    def test_parts(self) -> None:
        self.assertEqual([(block.heading, block.line, block.language, block.text)
                          for block in parse("a.md", self.TEXT)],
                         [("One", 2, "sh", "true\n"), ("Two", 6, "json", "{}\n"),
                          ("Two", 10, "sh", "# no heading\nfalse\n")])

    def test_block_without_an_end(self) -> None:
        with self.assertRaises(ValueError):
            parse("a.md", "```sh\ntrue\n")

    def test_unknown_block(self) -> None:
        class OneTest(case.RecipeTestCase):
            document = "a.md"
            headings = ("One",)

        self.assertEqual(unknown_blocks(parse("a.md", self.TEXT), [OneTest], ()),
                         ["a.md:10 (Two): no test runs it"])
        self.assertEqual(len(unknown_blocks(parse("b.md", self.TEXT), [OneTest], ())), 2)

    def test_idle_entry(self) -> None:
        entries = (Elsewhere("a.md", "true\n", "", ""), Elsewhere("a.md", "true \n", "", ""))
        self.assertEqual(len(idle_entries(parse("a.md", self.TEXT), entries)), 1)
