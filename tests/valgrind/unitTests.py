"""The unit tests under memcheck, in a process each, because what they test is state of the process."""

import os
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from memcheck import OPTIONS, errors_in

SECONDS = 120

def programs_in(build):
    return sorted(path for path in (build / "tests/unit").glob("*/veltra_*")
                  if path.is_file() and os.access(path, os.X_OK))


def names_in(program):
    listing = subprocess.run([program, "--gtest_list_tests"], capture_output=True, text=True,
                             check=True).stdout
    suite = ""
    for line in listing.splitlines()[1:]:
        if not line.startswith(" "):
            suite = line.split()[0]
        else:
            yield suite + line.split()[0]


def check(program, name):
    with tempfile.TemporaryDirectory(prefix="veltra-valgrind-") as folder:
        command = ["valgrind", *OPTIONS, f"--log-file={folder}/%p.log", program,
                   f"--gtest_filter={name}"]
        try:
            done = subprocess.run(command, capture_output=True, text=True, errors="replace",
                                  cwd=program.parent, timeout=SECONDS)
        except subprocess.TimeoutExpired:
            return [f"{name} hangs"]
        wrong = [f"{name} fails\n{done.stdout[-2000:]}"] if done.returncode != 0 else []
        for log in Path(folder).glob("*.log"):
            wrong += [f"{name}\n{error}" for error in errors_in(log.read_text(errors="replace"))]
        return wrong


def check_unit_tests(build):
    """What is wrong with any of them, as a list of texts."""
    tests = [(program, name) for program in programs_in(build) for name in names_in(program)]
    if not tests:
        return ["no unit tests are built"]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda test: check(*test), tests)
        return [wrong for result in results for wrong in result]
