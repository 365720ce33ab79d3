"""Serves the folder given over HTTP: what is below /git/ through git's own back end, other paths as
plain files. usage: gitServer.py PORT FOLDER"""

import functools
import http.server
import os
import subprocess
import sys
import urllib.parse


class Handler(http.server.SimpleHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        if self.path.startswith("/git/"):
            self.ask_back_end(b"")
        else:
            super().do_GET()

    def do_POST(self):
        self.ask_back_end(self.rfile.read(int(self.headers["Content-Length"])))

    def ask_back_end(self, body):
        url = urllib.parse.urlsplit(self.path)
        environment = dict(
            os.environ, GIT_PROJECT_ROOT=self.directory, GIT_HTTP_EXPORT_ALL="1",
            PATH_INFO=url.path.removeprefix("/git"), QUERY_STRING=url.query,
            REQUEST_METHOD=self.command, CONTENT_TYPE=self.headers.get("Content-Type", ""),
            CONTENT_LENGTH=str(len(body)), REMOTE_USER="somebody", REMOTE_ADDR="127.0.0.1",
            HTTP_CONTENT_ENCODING=self.headers.get("Content-Encoding", ""),
            GIT_PROTOCOL=self.headers.get("Git-Protocol", ""))
        answer = subprocess.run(["git", "http-backend"], input=body, env=environment,
                                stdout=subprocess.PIPE, check=True).stdout
        head, _, content = answer.partition(b"\r\n\r\n")
        headers = dict(line.split(": ", 1) for line in head.decode().split("\r\n"))
        self.send_response(int(headers.pop("Status", "200").split()[0]))
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)


class Server(http.server.ThreadingHTTPServer):
    # More than a client asks for at once.
    request_queue_size = 400


if __name__ == "__main__":
    port, directory = sys.argv[1:]
    Server(("127.0.0.1", int(port)),
           functools.partial(Handler, directory=directory)).serve_forever()
