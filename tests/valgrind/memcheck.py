"""Running programs under memcheck, and reading what it says."""

import os
import re
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCES = HERE.parents[1] / "src"
AGENT = "libveltra_socket_agent.so"

# A child that is forked and executes nothing writes into its parent's log.
OPTIONS = ("--num-callers=30", "--leak-check=full", "--show-leak-kinds=definite",
           "--trace-children=yes", "--child-silent-after-fork=no", "--fullpath-after=",
           f"--suppressions={HERE / 'suppressions'}")
SECONDS = 300


def errors_in(log):
    """The errors in a log: texts that are parted by empty lines, for each process."""
    parts = {}
    errors = []
    for line in log.splitlines():
        found = re.match(r"==(\d+)== ?(.*)", line)
        if found is None:
            continue
        process, text = found.groups()
        if text:
            parts.setdefault(process, []).append(text)
        else:
            errors.append("\n".join(parts.pop(process, [])))
    errors += ["\n".join(part) for part in parts.values()]
    return [error for error in errors if re.search(r"^   (at|by) 0x", error, re.MULTILINE)]


class Memcheck:
    """Runs of one kind, whose logs lie in a folder."""

    def __init__(self, build, folder, traces=False):
        self.build = build
        self.folder = folder
        self._environment = dict(os.environ, PYTHONMALLOC="malloc", PYTHONDONTWRITEBYTECODE="1")
        if traces:
            self._environment["VELTRA_SOCKET_AGENT_DEBUG_DIR"] = str(folder / "traces")
            self._environment["VELTRA_SOCKET_AGENT_DEBUG_LVL"] = "1023"

    def command(self, command, record=(), recording="recording"):
        """The command under memcheck, recorded; the options are those of the launcher."""
        return [str(self.build / "tools/record/veltra-record"), *record,
                "-o", str(self.folder / recording), "--", "valgrind", *OPTIONS,
                f"--log-file={self.folder}/%p.log", *map(str, command)]

    def start(self, command, **how):
        return subprocess.Popen(self.command(command, **how), env=self._environment,
                                cwd=self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def run(self, command, stdin="", **how):
        """Runs to the end; returns exit status and standard output."""
        done = subprocess.run(self.command(command, **how), env=self._environment, cwd=self.folder,
                              input=stdin, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              text=True, errors="replace", timeout=SECONDS)
        return done.returncode, done.stdout

    def recording(self, name="recording"):
        return (self.folder / name).read_text(errors="replace")

    def complaints(self):
        """The errors that have the agent in them, and logs without an end."""
        logs = {path: path.read_text(errors="replace") for path in self.folder.glob("*.log")}
        wrong = [] if logs else ["valgrind has not run"]
        for text in logs.values():
            wrong += [error for error in errors_in(text)
                      if AGENT in error or str(SOURCES) in error]
        return wrong
