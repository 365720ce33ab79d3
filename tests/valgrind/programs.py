"""What runs under valgrind: real clients and servers, and the probes that press the agent hardest."""

import http.server
import signal
import socket
import subprocess
import threading
import time
import urllib.request
from contextlib import contextmanager

PAGE = b"hello from the server\n" * 100
SECONDS = 60


class Failure(Exception):
    """A program that has not done its work."""


def expect(is_right, text):
    if not is_right:
        raise Failure(text)


def expect_recorded(memcheck, *texts, recording="recording"):
    content = memcheck.recording(recording)
    for text in texts:
        expect(text in content, f"not recorded: {text}")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for_server(port):
    deadline = time.monotonic() + SECONDS
    while time.monotonic() < deadline:
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return
        except ConnectionRefusedError:
            time.sleep(0.05)
    raise Failure(f"nobody listens on port {port}")


@contextmanager
def web_server():
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.send_response(200)
            self.send_header("Content-Length", str(len(PAGE)))
            self.end_headers()
            self.wfile.write(PAGE)

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    try:
        yield server.server_address[1]
    finally:
        server.shutdown()
        thread.join()
        server.server_close()


@contextmanager
def running(process):
    try:
        yield process
    finally:
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
        process.wait(timeout=SECONDS)


def fetch(memcheck, port, **how):
    status, page = memcheck.run(["curl", "-s", f"http://127.0.0.1:{port}/"], **how)
    expect(status == 0 and page == PAGE.decode(), f"curl: status {status}, {len(page)} bytes")
    expect_recorded(memcheck, "<connect ", 'data_AS="GET / HTTP/1.1', "hello from the server",
                    "<close ")


def curl(memcheck):
    with web_server() as port:
        fetch(memcheck, port)


def socks(memcheck):
    port = free_port()
    server = subprocess.Popen(["microsocks", "-i", "127.0.0.1", "-p", str(port)],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    with running(server), web_server() as web:
        wait_for_server(port)
        fetch(memcheck, web, record=("--socks", f"127.0.0.1:{port}", "--double-log"))
        expect_recorded(memcheck, 'sockserror_I4="0"')


def netcat(memcheck):
    with socket.create_server(("127.0.0.1", 0)) as listener:
        def answer():
            connection, _ = listener.accept()
            with connection:
                while text := connection.recv(4096):
                    connection.sendall(text.upper())

        thread = threading.Thread(target=answer)
        thread.start()
        status, text = memcheck.run(["nc", "-N", "127.0.0.1", listener.getsockname()[1]],
                                    stdin="some words\n")
        thread.join()
    expect((status, text) == (0, "SOME WORDS\n"), f"nc: status {status}, {text!r}")
    expect_recorded(memcheck, 'data_AS="some words', 'data_AS="SOME WORDS')


def http_server(memcheck):
    port = free_port()
    command = ["python3", "-m", "http.server", "--bind", "127.0.0.1", port]
    with running(memcheck.start(command)):
        wait_for_server(port)
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/", timeout=SECONDS) as answer:
            expect(answer.status == 200, f"status {answer.status}")
    expect_recorded(memcheck, 'name_AS="listen"')


# Threads, datagrams, forks and other programs.
PYTHON_CLIENT = """
import os, socket, subprocess, sys, threading, urllib.request
def fetch():
    for _ in range(2):
        assert urllib.request.urlopen(sys.argv[1]).read().startswith(b'hello')
threads = [threading.Thread(target=fetch) for _ in range(3)]
for thread in threads: thread.start()
for thread in threads: thread.join()
child = os.fork()
if child == 0:
    fetch()
    os._exit(0)
assert os.waitpid(child, 0)[1] == 0
assert subprocess.run(['true']).returncode == 0
one, other = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
one.bind(('127.0.0.1', 0))
other.sendto(b'datagram', one.getsockname())
assert one.recvfrom(100)[0] == b'datagram'
other.connect(one.getsockname())
other.sendmsg([b'in two ', b'pieces'])
assert one.recvmsg(100)[0] == b'in two pieces'
print('done')
"""


def python_client(memcheck):
    with web_server() as port:
        status, text = memcheck.run(["python3", "-c", PYTHON_CLIENT, f"http://127.0.0.1:{port}/"])
    expect((status, text) == (0, "done\n"), f"python3: status {status}, {text!r}")
    expect_recorded(memcheck, "<connect ", "hello from the server")


def redis(memcheck):
    port = free_port()
    server = ["redis-server", "--port", port, "--bind", "127.0.0.1", "--save", "",
              "--dir", memcheck.folder]
    client = ["redis-cli", "-p", port]
    with running(memcheck.start(server, recording="server-recording")):
        wait_for_server(port)
        for command, answer in ((["set", "key", "value"], "OK\n"), (["get", "key"], "value\n")):
            status, text = memcheck.run([*client, *command])
            expect((status, text) == (0, answer), f"redis-cli: status {status}, {text!r}")
            expect_recorded(memcheck, "<send ", "<receive ")
    expect_recorded(memcheck, 'name_AS="listen"', recording="server-recording")


def probe(name, *words, expected="failures: 0"):
    def run(memcheck):
        status, text = memcheck.run([memcheck.build / f"tests/fault/veltra_probe_{name}", *words])
        expect(status == 0 and expected in text.splitlines(), f"status {status}\n{text}")
        expect_recorded(memcheck, "<process ")

    return run


ALL = {
    "curl": curl,
    "socks": socks,
    "netcat": netcat,
    "forks": probe("forks", "storm"),
    "http-server": http_server,
    "python-client": python_client,
    "redis": redis,
    "signals": probe("signals", "same-socket", "2"),
    "signals-in-sockets": probe("signals", "new-socket", "2"),
    "cancelled-receive": probe("cancellation", "recv", "deferred"),
    "cancelled-anywhere": probe("cancellation", "anywhere", "deferred"),
    "vfork": probe("programs", "vfork-executes", expected="close: 0 errno 77"),
    "posix-spawn": probe("programs", "spawns", expected="close: 0 errno 77"),
    "descriptors": probe("descriptors", "close-by-range", expected="own.txt: its own"),
}
