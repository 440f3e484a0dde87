"""python3 -m sondrix_lab --program PATH test_module...: runs lab tests in a sandbox.

Exit status: 0 when the tests passed, 77 when all of them were skipped, 1 otherwise.
"""

from __future__ import annotations

import argparse
import os
import sys
import unittest

from sondrix_lab import sandbox, wine

SKIPPED = 77


class LabResult(unittest.TextTestResult):
    """Counts what really ran: a skipped class does not appear in testsRun."""

    successes = 0

    def addSuccess(self, test: unittest.TestCase) -> None:
        self.successes += 1
        super().addSuccess(test)


def run_tests(modules: list[str]) -> int:
    suite = unittest.defaultTestLoader.loadTestsFromNames(modules)
    result = unittest.TextTestRunner(resultclass=LabResult, verbosity=2).run(suite)
    assert isinstance(result, LabResult)
    if not result.wasSuccessful():
        return 1
    if result.successes:
        return 0
    return SKIPPED if result.skipped else 1


def main() -> int:
    parser = argparse.ArgumentParser(prog="sondrix_lab", description="Run lab tests in a sandbox.")
    parser.add_argument("--program", help="path of CorvaneTVSondrix")
    parser.add_argument("--windows-program", help="path of CorvaneTVSondrix.exe, which runs under Wine")
    parser.add_argument("modules", nargs="+", help="test modules, classes or methods")
    arguments = parser.parse_args()
    if arguments.program:
        os.environ["SONDRIX_PROGRAM"] = os.path.abspath(arguments.program)
    if arguments.windows_program:
        os.environ[wine.PROGRAM_VARIABLE] = os.path.abspath(arguments.windows_program)
    if sandbox.is_inside():
        sandbox.furnish()
    elif not sandbox.obstacle():
        if arguments.windows_program:
            wine.prepare()
        return sandbox.enter(sys.argv[1:])
    return run_tests(arguments.modules)


if __name__ == "__main__":
    sys.exit(main())
