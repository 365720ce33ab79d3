"""Runs tests of the interpreter's own and writes how each went, a line for each, into a file: what
the tests themselves print is another matter. usage: pythonTests.py FILE NAME..."""

import sys
import unittest


class Outcomes(unittest.TestResult):
    def __init__(self):
        super().__init__()
        self.lines = []

    def startTest(self, test):
        super().startTest(test)
        self._before = self._counts()

    def stopTest(self, test):
        failed, skipped = (now > before for now, before in zip(self._counts(), self._before))
        self.lines.append(f"{test.id()} {'failed' if failed else 'skipped' if skipped else 'ok'}\n")
        super().stopTest(test)

    def _counts(self):
        return len(self.failures) + len(self.errors), len(self.skipped)


if __name__ == "__main__":
    # Tests change the folder.
    with open(sys.argv[1], "w") as file:
        outcomes = Outcomes()
        unittest.defaultTestLoader.loadTestsFromNames(sys.argv[2:]).run(outcomes)
        file.writelines(outcomes.lines)
        for test, problem in outcomes.failures + outcomes.errors:
            file.write(f"{test}: {problem}\n")
