"""Programs of our own for other languages' runtimes: these serve and fetch in one process."""

from pathlib import Path

HERE = Path(__file__).resolve().parent


def talk(*command):
    """A program that runs a command which prints a line for each check: its name, a tab, and "ok"
    or what was wrong."""

    def program(run):
        with run.measured():
            done = run.call(*command)
        for line in done.output.splitlines():
            name, _, outcome = line.partition("\t")
            run.checks[name] = outcome
        run.check("ends well", done.status == 0, f"{done.status}: {done.errors[-300:]}")
        run.expect("says nothing else", done.errors, "")

    return program


PROGRAMS = {
    "java": talk("java", HERE / "HttpTalk.java"),
    "node": talk("node", "--no-warnings", HERE / "httpTalk.mjs"),
}
