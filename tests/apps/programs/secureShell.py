"""A secure shell server with keys and settings of its own, and its clients."""

import hashlib
import os
import pwd
from pathlib import Path

from runner import free_port

PAYLOAD = bytes(range(256)) * 16384
SESSIONS = 5


def settings(folder, port):
    template = (Path(__file__).parent / "sshd_config.in").read_text()
    return template.replace("@port@", str(port)).replace("@folder@", str(folder))


def openssh(run):
    user = pwd.getpwuid(os.geteuid()).pw_name
    port = free_port()
    page_port = free_port()
    tunnel_port = free_port()
    for key in ("host_key", "user_key"):
        run.must("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", run.folder / key,
                 recorded=False)
    configuration = run.folder / "sshd_config"
    configuration.write_text(settings(run.folder, port))
    if os.geteuid() == 0:
        # The server shuts itself in there; the system's own makes it at its start.
        os.makedirs("/run/sshd", mode=0o755, exist_ok=True)
    server = run.serve("/usr/sbin/sshd", "-D", "-e", "-f", configuration, port=port)
    options = ("-F", "none", "-i", run.folder / "user_key", "-o", "IdentitiesOnly=yes",
               "-o", "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null",
               "-o", "LogLevel=ERROR")
    there = (*options, "-p", port, f"{user}@127.0.0.1")

    with run.measured():
        greeting = run.call("ssh", *there, "echo hello; echo oops >&2; exit 7")
        run.expect("output", greeting.output, "hello\n")
        run.expect("errors", greeting.errors, "oops\n")
        run.expect("exit status", greeting.status, 7)
        piped = run.call("ssh", *there, "sha256sum", input=PAYLOAD)
        run.expect("a large input", piped.output.split()[:1], [hashlib.sha256(PAYLOAD).hexdigest()])
        for session in range(SESSIONS):
            run.expect(f"session {session + 1}",
                       run.call("ssh", *there, f"echo {session}").output, f"{session}\n")
        (run.folder / "payload").write_bytes(PAYLOAD)
        copied = run.call("scp", *options, "-q", "-P", port, run.folder / "payload",
                          f"{user}@127.0.0.1:{run.folder}/copy")
        run.expect("a copy ends well", (copied.status, copied.errors), (0, ""))
        run.check("the copy is whole", (run.folder / "copy").exists()
                  and (run.folder / "copy").read_bytes() == PAYLOAD)

    run.serve("python3", "-m", "http.server", "--bind", "127.0.0.1", "--directory", run.folder,
              page_port, port=page_port, recorded=False)
    tunnel = run.serve("ssh", *options, "-N", "-L",
                       f"127.0.0.1:{tunnel_port}:127.0.0.1:{page_port}", "-p", port,
                       f"{user}@127.0.0.1", port=tunnel_port)
    fetched = run.call("curl", "-sf", "-o", run.folder / "fetched",
                       f"http://127.0.0.1:{tunnel_port}/payload")
    run.expect("fetching through a tunnel ends well", fetched.status, 0)
    run.check("what came through the tunnel is whole", (run.folder / "fetched").exists()
              and (run.folder / "fetched").read_bytes() == PAYLOAD)
    run.end(tunnel)
    run.end(server)
    log = run.server_log()
    for word in ("fatal:", "error:", "Bad system call", "crash"):
        run.check(f"no {word} in the server's log", word not in log, log[-500:])


PROGRAMS = {"openssh": openssh}
