"""Clones and pushes over HTTP, from plain files and from the server's own back end."""

import sys
from pathlib import Path

from runner import free_port

SERVER = Path(__file__).resolve().parent / "gitServer.py"
FILES = 300


def git(run):
    port = free_port()
    origin = run.folder / "origin"
    served = run.folder / "served"
    bare = served / "project.git"
    for folder in (origin, served):
        folder.mkdir()

    def prepare(*words, cwd=origin):
        return run.must("git", "-c", "user.name=A", "-c", "user.email=a@b.invalid", *words,
                        recorded=False, cwd=cwd)

    prepare("init", "-q", "-b", "main")
    for commit in range(3):
        for number in range(FILES):
            (origin / str(number)).write_text(f"{commit} {number}\n" * (number + 1))
        prepare("add", ".")
        prepare("commit", "-q", "-m", f"Commit {commit}")
    prepare("clone", "-q", "--bare", origin, bare)
    prepare("config", "http.receivepack", "true", cwd=bare)
    prepare("update-server-info", cwd=bare)
    head = prepare("rev-parse", "main").output

    server = run.serve(sys.executable, SERVER, port, served, port=port)
    for title, path in (("back end", "git/project.git"),
                        ("plain files", "project.git")):
        clone = run.folder / title.replace(" ", "-")
        with run.measured():
            done = run.call("git", "clone", "-q", f"http://127.0.0.1:{port}/{path}", clone)
        run.check(f"{title}: the clone ends well", done.status == 0, done.errors[-300:])
        run.expect(f"{title}: the same commit", prepare("rev-parse", "HEAD", cwd=clone).output, head)
        run.expect(f"{title}: nothing is damaged",
                   run.call("git", "fsck", "--full", cwd=clone, recorded=False).status, 0)
        run.check(f"{title}: the same files",
                  all((clone / str(n)).read_bytes() == (origin / str(n)).read_bytes()
                      for n in range(FILES)))
    clone = run.folder / "back-end"
    (clone / "new").write_text("news\n")
    prepare("add", ".", cwd=clone)
    prepare("commit", "-q", "-m", "News", cwd=clone)
    with run.measured():
        pushed = run.call("git", "push", "-q", "origin", "main", cwd=clone)
    run.check("a push ends well", pushed.status == 0, pushed.errors[-300:])
    run.expect("the push has arrived", prepare("rev-parse", "main", cwd=bare).output,
               prepare("rev-parse", "HEAD", cwd=clone).output)
    run.end(server)


PROGRAMS = {"git": git}
