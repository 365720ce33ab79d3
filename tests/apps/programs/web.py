"""A web server under load, and a client that fetches many files at once."""

import hashlib
import os
import re
import signal
from pathlib import Path

from runner import free_port

NGINX_CONFIGURATION = """\
daemon off;
master_process on;
worker_processes 2;
pid {folder}/nginx.pid;
{user}
events {{}}
http {{
    access_log off;
    sendfile on;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    server {{
        listen 127.0.0.1:{port};
        root {folder}/site;
        location /behind/ {{ proxy_pass http://127.0.0.1:{port}/; }}
        location /answer {{ return 200 "an answer\\n"; }}
    }}
}}
"""

MANY_FILES = 200

FILE_SERVER = """\
import functools, http.server, sys
class Server(http.server.ThreadingHTTPServer):
    request_queue_size = 400
handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=sys.argv[2])
Server(("127.0.0.1", int(sys.argv[1])), handler).serve_forever()
"""


def digest(data):
    return hashlib.sha256(data).hexdigest()


def nginx(run):
    port = free_port()
    site = run.folder / "site"
    site.mkdir()
    (site / "page").write_text("".join(f"{line}\n" for line in range(2000)))
    (site / "large").write_bytes(bytes(range(256)) * 40000)
    configuration = run.folder / "nginx.conf"
    configuration.write_text(NGINX_CONFIGURATION.format(
        folder=run.folder, port=port, user="user nobody nogroup;" if os.geteuid() == 0 else ""))
    errors = run.folder / "error.log"
    server = run.serve("/usr/sbin/nginx", "-p", run.folder, "-c", configuration, "-e", errors,
                       port=port)
    for path in ("page", "large", "behind/page", "behind/large"):
        fetched = run.folder / path.replace("/", "-")
        run.must("curl", "-sf", "-o", fetched, f"http://127.0.0.1:{port}/{path}", recorded=False)
        run.expect(f"{path} arrives whole", digest(fetched.read_bytes()),
                   digest((site / Path(path).name).read_bytes()))
    for path in ("page", "behind/page", "answer"):
        load = run.call("wrk", "-t", 2, "-c", 20, "-d", "3s", f"http://127.0.0.1:{port}/{path}")
        run.check(f"the load on {path} ends well", load.status == 0, load.errors)
        run.check(f"no errors on {path}",
                  "Socket errors" not in load.output and "Non-2xx" not in load.output, load.output)
        rate = re.search(r"Requests/sec: +([0-9.]+)", load.output)
        run.check(f"{path} is served", rate and float(rate[1]) > 0, load.output)
        if rate and float(rate[1]) > 0:
            # The load lasts a time, not a number of requests: what one takes counts.
            run.duration += 1 / float(rate[1])
    run.expect("the server ends well", run.end(server, signal.SIGQUIT), 0)
    log = errors.read_text()
    run.check("the error log is empty", not log, log[-500:])


def curl(run):
    port = free_port()
    site = run.folder / "site"
    fetched = run.folder / "fetched"
    site.mkdir()
    fetched.mkdir()
    for number in range(1, MANY_FILES + 1):
        (site / str(number)).write_bytes(b"%d " % number * (number * 40))
    server = run.serve("python3", "-c", FILE_SERVER, port, site, port=port)
    with run.measured():
        done = run.call("curl", "--no-progress-meter", "--fail", "--parallel", "--parallel-immediate",
                        "--parallel-max", 200, "-o", f"{fetched}/#1",
                        f"http://127.0.0.1:{port}/[1-{MANY_FILES}]")
    run.expect("ends well", done.status, 0)
    run.expect("says nothing", done.output + done.errors, "")
    for number in range(1, MANY_FILES + 1):
        copy = fetched / str(number)
        run.check(f"file {number} arrives whole",
                  copy.exists() and copy.read_bytes() == (site / str(number)).read_bytes())
    run.end(server)


PROGRAMS = {"nginx": nginx, "curl": curl}
