"""Runs one program once, bare or under the agent, in a folder of its own and within its time."""

import contextlib
import os
import pwd
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path


class Failure(Exception):
    """Ends a run; its text says why."""


class Command:
    """What a command left: its exit status, and its output as text."""

    def __init__(self, status, output, errors):
        self.status = status
        self.output = output
        self.errors = errors


class Run:
    """One run. A program calls its commands through this, and notes what it found in `check`.

    checks: by name, "ok", "skipped", or what was wrong.
    duration: the seconds spent inside `measured`.
    """

    def __init__(self, agent, traces, seconds):
        """agent: folder of the build whose agent records, None for a bare run. traces: all kinds
        on. seconds: the time for the whole run."""
        self.folder = Path(tempfile.mkdtemp(prefix="veltra-app-"))
        # Servers may serve it as another user.
        self.folder.chmod(0o755)
        self.checks = {}
        self.duration = 0.0
        self._agent = agent
        self._deadline = time.monotonic() + seconds
        self._seconds = seconds
        self._recordings = 0
        self._servers = []
        self._environment = {
            name: value for name, value in os.environ.items()
            if not name.startswith("VELTRA_") and name != "LD_PRELOAD"
        }
        self._environment["LC_ALL"] = "C.UTF-8"
        self._environment["HOME"] = str(self.folder)
        if agent and traces:
            # Whatever user a command runs as writes there.
            (self.folder / "trace").mkdir()
            (self.folder / "trace").chmod(0o1777)
            self._environment["VELTRA_SOCKET_AGENT_DEBUG_LVL"] = "1023"
            self._environment["VELTRA_SOCKET_AGENT_DEBUG_DIR"] = str(self.folder / "trace")

    @property
    def messages(self):
        """How many messages were recorded so far."""
        return sum(path.read_bytes().count(b"\n") for path in self.folder.glob("recording.*"))

    def check(self, name, holds, otherwise="does not hold"):
        self.checks[name] = "ok" if holds else str(otherwise)

    def expect(self, name, found, wanted):
        self.check(name, found == wanted, f"{found!r} instead of {wanted!r}")

    @contextlib.contextmanager
    def measured(self):
        begin = time.monotonic()
        yield
        self.duration += time.monotonic() - begin

    def call(self, *command, input=None, recorded=True, user=None, cwd=None):
        """Runs a command to its end, under the agent where there is one and `recorded` is true,
        and gives its Command. Raises Failure at the end of the run's time."""
        process = self._start(command, recorded, user, cwd, subprocess.PIPE, subprocess.PIPE,
                              subprocess.PIPE)
        try:
            output, errors = process.communicate(input, timeout=self._remaining())
        except subprocess.TimeoutExpired:
            self._kill(process)
            process.communicate()
            raise Failure(f"{Path(command[0]).name} was still running after {self._seconds} s")
        return Command(process.returncode, output.decode(errors="replace"),
                       errors.decode(errors="replace"))

    def must(self, *command, **settings):
        """The same for a command without which there is no run: Failure unless it ends with 0."""
        done = self.call(*command, **settings)
        if done.status != 0:
            raise Failure(f"{' '.join(map(str, command))[:80]} ended with {done.status}: "
                          + (done.errors or done.output).strip()[-300:])
        return done

    def serve(self, *command, port=None, recorded=True, user=None):
        """Starts a server and waits until somebody listens on `port`. Its output goes to the file
        "server.log"."""
        with open(self.folder / "server.log", "ab") as log:
            server = self._start(command, recorded, user, None, subprocess.DEVNULL, log, log)
        self._servers.append(server)
        while port and not self._listening(port):
            if server.poll() is not None:
                raise Failure(f"{Path(command[0]).name} ended with {server.returncode}: "
                              + self.server_log()[-300:])
            if self._remaining() == 0:
                raise Failure(f"{Path(command[0]).name} did not listen within {self._seconds} s")
            time.sleep(0.01)
        return server

    def end(self, server, by=signal.SIGTERM):
        """Asks a server to end, and gives its exit status. Raises Failure if it does not end."""
        if by and server.poll() is None:
            server.send_signal(by)
        try:
            return server.wait(timeout=self._remaining())
        except subprocess.TimeoutExpired:
            raise Failure(f"a server was still running after {self._seconds} s")

    def server_log(self):
        return (self.folder / "server.log").read_text(errors="replace")

    def clean_up(self):
        for server in self._servers:
            self._kill(server)
            server.wait()
        shutil.rmtree(self.folder)

    def _start(self, command, recorded, user, cwd, stdin, stdout, stderr):
        command = [str(part) for part in command]
        if user:
            group = pwd.getpwnam(user).pw_gid
            command = ["setpriv", f"--reuid={user}", f"--regid={group}", "--clear-groups", *command]
        if self._agent and recorded:
            self._recordings += 1
            command = [str(self._agent / "tools/record/veltra-record"), "-q", "-o",
                       str(self.folder / f"recording.{self._recordings}"), "--", *command]
        return subprocess.Popen(command, stdin=stdin, stdout=stdout, stderr=stderr,
                                cwd=cwd or self.folder, env=self._environment,
                                start_new_session=True)

    def _remaining(self):
        return max(0, self._deadline - time.monotonic())

    @staticmethod
    def _kill(process):
        # The group outlives its leader where that left children.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)

    @staticmethod
    def _listening(port):
        wanted = f":{port:04X}"
        for table in ("/proc/net/tcp", "/proc/net/tcp6"):
            for line in Path(table).read_text().splitlines()[1:]:
                fields = line.split()
                if fields[1].endswith(wanted) and fields[3] == "0A":
                    return True
        return False


def free_port():
    """A TCP port on which nobody listens, below those that the system gives out by itself."""
    while True:
        port = random.randrange(20000, 32000)
        with contextlib.suppress(OSError):
            socket.create_server(("127.0.0.1", port)).close()
            return port
