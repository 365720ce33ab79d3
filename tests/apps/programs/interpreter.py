"""The Python interpreter's own tests, a program for each suite."""

import xml.etree.ElementTree as ElementTree

# The rest of the resources stands for what the machine has: only what leaves it is off.
RESOURCES = "all,-network,-urlfetch,-largefile,-cpu"


def suite(name, resources=RESOURCES, without=()):
    """A program that runs a suite. without: patterns of tests to leave out."""

    def program(run):
        results = run.folder / "results.xml"
        left_out = [part for pattern in without for part in ("-i", pattern)]
        with run.measured():
            done = run.call("/usr/bin/python3.11", "-m", "test", "--junit-xml", results,
                            "-u", resources, *left_out, name)
        if not results.exists() or not results.stat().st_size:
            run.check("runs to its end", False, done.output[-500:])
            return
        for case in ElementTree.parse(results).iter("testcase"):
            run.checks[case.get("name")] = outcome(case)

    return program


def outcome(case):
    for kind in ("failure", "error"):
        problem = case.find(kind)
        if problem is not None:
            return (problem.text or problem.get("message") or kind).strip().splitlines()[-1]
    return "skipped" if case.find("skipped") is not None else "ok"


PROGRAMS = {
    # A virtual machine's own address family hangs where its host does not answer.
    "python-socket": suite("test_socket", without=["*VSOCK*"]),
    "python-select": suite("test_select"),
    "python-selectors": suite("test_selectors"),
    "python-asyncio": suite("test_asyncio"),
    "python-http-client": suite("test_httplib"),
    "python-http-server": suite("test_httpservers"),
    "python-urllib": suite("test_urllib2_localnet"),
    # Asks for the network, but stays on loopback.
    "python-socketserver": suite("test_socketserver", resources="all"),
    "python-ssl": suite("test_ssl"),
    "python-subprocess": suite("test_subprocess"),
}
