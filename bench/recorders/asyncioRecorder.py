"""A recorder written with asyncio; see plainRecorder.cpp for what it prints.

usage: asyncioRecorder.py LATE_MS BACKLOG EXPECTED [FILE]
"""

import asyncio
import collections
import sys

LATE, BACKLOG, EXPECTED = float(sys.argv[1]) / 1000, int(sys.argv[2]), int(sys.argv[3])
FILE = open(sys.argv[4], "wb") if len(sys.argv) > 4 else None
PATIENCE = 5  # seconds

ended = collections.Counter()
errors = 0
activity = None


class Stream(asyncio.Protocol):
    def __init__(self):
        self.length = 0
        self.parts = []

    def connection_made(self, transport):
        activity.set()
        if LATE > 0:
            transport.pause_reading()
            asyncio.get_running_loop().call_later(LATE, transport.resume_reading)

    def data_received(self, data):
        self.length += len(data)
        if FILE:
            self.parts.append(data)
        activity.set()

    def connection_lost(self, error):
        global errors
        errors += error is not None
        ended[self.length] += 1
        if FILE:
            FILE.write(b"".join(self.parts))
        activity.set()


async def main():
    global activity
    activity = asyncio.Event()
    server = await asyncio.get_running_loop().create_server(Stream, "127.0.0.1", 0, backlog=BACKLOG)
    print(server.sockets[0].getsockname()[1], flush=True)
    while sum(ended.values()) < EXPECTED:
        activity.clear()
        try:
            await asyncio.wait_for(activity.wait(), PATIENCE)
        except asyncio.TimeoutError:
            break
    for length, count in sorted(ended.items()):
        print(length, count)
    print("errors", errors)


asyncio.run(main())
