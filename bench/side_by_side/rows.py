"""The rows of the table: what is measured, what is to be reached, what was found."""

import json
import os
import shutil
import statistics
import subprocess
from dataclasses import dataclass

from .processes import (AGENT, ALL_PROCESSORS, BUILD, DRIVER, FAR_AWAY, OTHER_PROCESSORS, Sink,
                        medians)

CALLS = ("send", "write", "sendto", "sendmsg", "recv", "read", "recvfrom", "recvmsg")
KIB = 1024
MIB = 1024 * 1024


@dataclass
class Row:
    what: str
    to_reach: str
    found: str
    reached: bool | None = None  # None: for comparison only


def size_text(size):
    for unit, name in ((MIB, "MiB"), (KIB, "KiB")):
        if size >= unit:
            return f"{size // unit} {name}"
    return f"{size} B"


def compared(label, time, bare, limit, allowance=0):
    """The text of a comparison, and whether the limit holds: a ratio, or else so many ns more."""
    ratio, more = time / bare, time - bare
    added = f"{more:+.0f} ns" if abs(more) < 10000 else f"{more / 1000:+.0f} µs"
    return f"{label} {ratio:.2f} ({added})", ratio <= limit or more <= allowance


def comparisons(what, to_reach, found):
    return Row(what, to_reach, ", ".join(text for text, _ in found), all(holds for _, holds in found))


def noise(lab):
    times = medians(lab.rounds(300), {name: (lab.bare(), "plain write 5000") for name in ("one", "other")})
    ratio = times["one"] / times["other"]
    return Row("write of 1 byte, bare against bare: how far to trust the rest", "", f"{ratio:.3f}")


def plain_calls(lab):
    for arguments, what, to_reach, limit, allowance in (
            ((), "write, read, recv of 1 byte, unknown descriptor, one thread", "1.08 or +10 ns", 1.08, 10),
            (("--idle-thread",), "the same with a second thread", "1.30 or +60 ns", 1.30, 60)):
        bare, agent = lab.bare(*arguments), lab.agent(*arguments)
        found = []
        for call in ("write", "read", "recv"):
            line = f"plain {call} 5000"
            times = medians(lab.rounds(300), {"bare": (bare, line), "agent": (agent, line)})
            found.append(compared(call, times["agent"], times["bare"], limit, allowance))
        yield comparisons(what, to_reach, found)


def unrecorded_sockets(lab):
    for arguments, what, limit in (((), "call on a known socket that is not recorded", 1.10),
                                   (("--idle-thread",), "the same with a second thread", 1.35)):
        bare = lab.bare(*arguments)
        agent = lab.agent(*arguments, socks=lab.sink.take_socks_port())
        found = []
        for label, line, bare_line in (
                ("UDP recv of nothing", "udp recv 3000", None),
                ("UDP send and recv", "udp exchange 500", None),
                ("AF_UNIX recv of nothing", "local recv 3000", None),
                ("AF_UNIX send and recv", "local exchange 500", None),
                ("rerouted recv of nothing", f"connected {FAR_AWAY} 3000", f"connected {lab.reader} 3000")):
            times = medians(lab.rounds(300), {"bare": (bare, bare_line or line), "agent": (agent, line)})
            found.append(compared(label, times["agent"], times["bare"], limit))
        yield comparisons(what, f"{limit:.2f}", found)


def unplugged(lab):
    bare, agent = lab.bare(), lab.agent(unplugged=True)
    for size, count in ((1, 100), (KIB, 100), (64 * KIB, 20)):
        found = []
        for call in CALLS:
            line = f"stream {call} {size} {count}"
            times = medians(lab.rounds(60), {"bare": (bare, line), "agent": (agent, line)})
            found.append(compared(call, times["agent"], times["bare"], 1.15))
        yield comparisons(f"unplugged, data call of {size_text(size)} on a stream", "1.15", found)


def many_sockets(lab):
    programs = {(name, count): start("--sockets", str(count))
                for name, start in (("bare", lab.bare), ("agent", lab.agent)) for count in (0, 10000)}
    found = []
    for label, line, allowance in (("unknown descriptor", "plain write 5000", 5),
                                   ("oldest socket", "udp recv 3000", 50)):
        times = medians(lab.rounds(300), {key: (program, line) for key, program in programs.items()})
        added = (times["agent", 10000] - times["agent", 0]) - (times["bare", 10000] - times["bare", 0])
        found.append((f"{label} {added:+.1f} ns", added <= allowance))
    yield comparisons("added cost with 10,000 sockets open", "5 ns, 50 ns", found)


def two_threads(lab):
    bare, agent = lab.bare("--idle-thread", processors=ALL_PROCESSORS), lab.agent("--idle-thread", processors=ALL_PROCESSORS)
    # Long enough for the second thread to come to a processor of its own.
    times = medians(lab.rounds(40), {"one": (agent, "plain write 200000"), "two": (agent, "threads 200000"),
                                     "bare": (bare, "threads 200000")})
    of_one, of_bare = times["one"] / times["two"], times["bare"] / times["two"]
    yield Row("two threads on plain calls: calls of one thread, bare calls", "1.45 x, 0.62 x",
              f"{of_one:.2f} x, {of_bare:.2f} x", of_one >= 1.45 and of_bare >= 0.62)


def message_length(lab, agent, port, line):
    """What the agent sends for one call of the kind, in bytes."""
    agent.ask(line.format(count=1))
    lab.sink.count(port)
    agent.ask(line.format(count=20))
    connections, size, _ = lab.sink.count(port)
    if connections != 20:
        raise SystemExit(f"bench: {connections} messages for 20 calls")
    return size // connections


def against_floor(lab, agent, port, bare, line, rounds, count):
    length = message_length(lab, agent, port, line)
    asked = line.format(count=count)
    floor_port = lab.floor_port
    return medians(lab.rounds(rounds), {
        "agent": (agent, asked), "bare": (bare, asked),
        "floor": (bare, f"{asked} 127.0.0.1:{floor_port} {length} linger")})


def recorded_calls(lab):
    bare = lab.bare()
    for size in (1, KIB):
        port = lab.sink.take_port()
        agent = lab.agent(port=port)
        found = []
        for call in CALLS:
            times = against_floor(lab, agent, port, bare, f"stream {call} {size} {{count}}", 60, 20)
            found.append(compared(call, times["agent"], times["floor"], 1.10))
        yield comparisons(f"recorded call of {size_text(size)} against the floor", "1.10", found)


def payload_sizes(lab):
    """Also fills lab.by_size for the plot."""
    bare, silent = lab.bare(), lab.agent(unplugged=True)
    found = []
    for size, limit, rounds, count in ((1, None, 60, 20), (64, None, 60, 20), (KIB, None, 60, 20),
                                       (16 * KIB, 1.6, 60, 10), (64 * KIB, 2.2, 60, 5), (MIB, 3.0, 60, 2),
                                       (16 * MIB, None, 20, 1)):
        port = lab.sink.take_port()
        agent = lab.agent(port=port)
        start = f"bulk {lab.reader}" if size >= MIB else "stream send"
        times = against_floor(lab, agent, port, bare, f"{start} {size} {{count}}", rounds, count)
        line = f"{start} {size} {count}"
        times["unplugged"] = medians(lab.rounds(rounds), {"unplugged": (silent, line)})["unplugged"]
        lab.by_size[size] = times
        if limit:
            text, holds = compared(size_text(size), times["agent"], times["floor"], limit)
            found.append((text, holds))
        agent.end()
        lab.running.remove(agent)
    yield comparisons("recorded send against the floor", "1.6, 2.2, 3.0", found)
    per_byte = {size: lab.by_size[size]["agent"] / size for size in (64 * KIB, 16 * MIB)}
    ratio = per_byte[16 * MIB] / per_byte[64 * KIB]
    yield Row("time per payload byte at 16 MiB against 64 KiB", "6", f"{ratio:.2f}", ratio <= 6)


def escaping(lab):
    output = subprocess.run(
        [os.path.join(BUILD, "bench", "veltra_micro_benchmarks"), "--benchmark_filter=^(copy|escape)",
         "--benchmark_format=json", f"--benchmark_repetitions={5 if lab.quick else 25}",
         f"--benchmark_min_time={0.02 if lab.quick else 0.05}", "--benchmark_enable_random_interleaving=true",
         "--benchmark_report_aggregates_only=true"],
        check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    times = {entry["run_name"]: entry["cpu_time"] for entry in json.loads(output)["benchmarks"]
             if entry["aggregate_name"] == "median"}
    found = []
    for payload, limit in (("text", 12), ("printable", 7), ("random", 28), ("newlines", 25)):
        ratio = times[f"escape/{payload}"] / times["copy"]
        found.append((f"{payload} {ratio:.1f}", ratio <= limit))
    yield comparisons("escaping 64 KiB against memcpy of it", "12, 7, 28, 25", found)


def rerouting(lab):
    # A SOCKS server does not wait for its client's processor.
    apart = {"processors": OTHER_PROCESSORS}
    silent = lab.agent(unplugged=True, socks=lab.sink.take_socks_port(), **apart)
    recording = lab.agent(socks=lab.sink.take_socks_port(), **apart)
    programs = {"agent": (silent, FAR_AWAY), "recording": (recording, FAR_AWAY),
                "bare": (lab.bare(**apart), lab.reader)}
    for other in ("torsocks", "proxychains4"):
        if shutil.which(other):
            programs[other] = (getattr(lab, other)(lab.sink.take_socks_port(), **apart), FAR_AWAY)
    times = medians(lab.rounds(60), {name: (program, f"reconnect {address} 10")
                                     for name, (program, address) in programs.items()})
    found = ", ".join(f"{name} {time / 1000:.0f} µs" for name, time in times.items())
    reached = times["agent"] <= times["torsocks"] if "torsocks" in times else None
    yield Row("rerouted connect and close: agent (unplugged) against torsocks", "not slower", found, reached)


def first_call(call, environment):
    output = subprocess.run([DRIVER, "--first-call", call], env=environment, check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    return float(output)


def start_up(lab):
    bare = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
    agent = {**bare, "LD_PRELOAD": AGENT, "VELTRA_SOCKET_AGENT_PORT_NUMBER": str(lab.sink.take_port())}
    found = []
    for call in ("write", "socket"):
        times = {"bare": [], "agent": []}
        for _ in range(lab.rounds(100)):
            times["bare"].append(first_call(call, bare))
            times["agent"].append(first_call(call, agent))
        more = (statistics.median(times["agent"]) - statistics.median(times["bare"])) / 1e6
        found.append((f"{call} {more:+.3f} ms", more <= 0.5))
    yield comparisons("start-up: first call to its return", "+0.5 ms", found)


def flat_out(lab):
    slices, seconds = (3, 1) if lab.quick else (12, 5)
    port = lab.sink.take_port()
    agent, bare = lab.agent(port=port, processors=ALL_PROCESSORS), lab.bare(processors=ALL_PROCESSORS)
    length = message_length(lab, agent, port, "stream send 64 {count}")
    totals = {"agent": [], "floor": []}
    for _ in range(slices):
        totals["agent"].append(agent.ask(f"flatout 64 {seconds}"))
        totals["floor"].append(bare.ask(f"flatout 64 {seconds} 127.0.0.1:{lab.floor_port} {length} linger"))
    rates = {name: sum(run[0] for run in runs) / sum(run[1] for run in runs) for name, runs in totals.items()}
    late = {name: statistics.median(run[3] for run in runs) / 1e6 for name, runs in totals.items()}
    can_bind = all(run[5] == 1 for run in totals["agent"])
    connections, _, errors = lab.sink.count(port)
    # The bind at the end of each slice leaves a message of its own.
    lost = sum(run[0] for run in totals["agent"]) + slices - connections
    ratio = rates["agent"] / rates["floor"]
    found = (f"{ratio:.2f} x ({rates['agent']:.0f} against {rates['floor']:.0f} messages a second), "
             f"99 % within {late['agent']:.3f} ms (floor {late['floor']:.3f} ms), {lost:.0f} lost, {errors} broken, "
             f"own bind {'possible' if can_bind else 'NOT possible'}")
    yield Row(f"recording flat out for {slices * seconds} seconds", "0.9 x, 0.2 ms, no error", found,
              ratio >= 0.9 and late["agent"] < 0.2 and lost == 0 and errors == 0 and can_bind)


def others(lab):
    """What other ways of looking at a program's calls cost."""
    bare = lab.bare()
    for name in ("strace", "torsocks", "proxychains4"):
        if not shutil.which(name):
            continue
        arguments = () if name == "strace" else (lab.sink.take_socks_port(),)
        count = 100 if name == "strace" else 5000
        program = getattr(lab, name)(*arguments)
        times = medians(lab.rounds(60), {"bare": (bare, f"plain write {count}"),
                                         "other": (program, f"plain write {count}")})
        yield Row(f"write of 1 byte under {name}", "", compared("", times["other"], times["bare"], 0)[0].strip())


def slow_recorder(lab):
    sink = lab.keep(Sink(discarding=1, work_nanoseconds=100000, backlog=50))
    agent = lab.agent(port=sink.take_port(), processors=ALL_PROCESSORS)
    calls, seconds, median, _, longest, _ = agent.ask(f"flatout 64 {1 if lab.quick else 5}")
    yield Row("recorder with 100 µs of work a message and a queue of 50", "",
              f"{calls / seconds:.0f} calls a second, median {median / 1000:.0f} µs, longest {longest / 1e6:.1f} ms")


ALL = (plain_calls, unrecorded_sockets, unplugged, many_sockets, two_threads, recorded_calls, payload_sizes,
       escaping, rerouting, start_up, flat_out, slow_recorder, others)
