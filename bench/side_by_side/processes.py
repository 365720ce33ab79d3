"""The programs that are measured, and the sink that takes what they send."""

import os
import re
import resource
import shutil
import statistics
import subprocess
import tempfile

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(REPOSITORY, "build", "bench")
AGENT = os.path.join(BUILD, "src", "libveltra_socket_agent.so")
DRIVER = os.path.join(BUILD, "bench", "veltra_bench_driver")
SINK = os.path.join(BUILD, "bench", "veltra_bench_sink")

# In none of the networks: whoever reaches it went through the SOCKS server.
FAR_AWAY = "192.0.2.7:80"


ALL_PROCESSORS = os.sched_getaffinity(0)
ONE_PROCESSOR = {max(ALL_PROCESSORS)}
OTHER_PROCESSORS = ALL_PROCESSORS - ONE_PROCESSOR or ONE_PROCESSOR


def stay_on_one_processor():
    """From now on, with whatever is started. Otherwise it is a matter of luck whether who sends and
    who receives share one, which makes a connection half as long again."""
    os.sched_setaffinity(0, ONE_PROCESSOR)


class Process:
    """A program that answers lines with lines, on the one processor or on the given ones."""

    def __init__(self, command, environment=None, processors=ONE_PROCESSOR):
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith("VELTRA_") and name != "LD_PRELOAD"}
        self.process = subprocess.Popen(command, env={**kept, **(environment or {})}, text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        preexec_fn=lambda: os.sched_setaffinity(0, processors))

    def ask(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        return self.read()

    def read(self):
        answer = self.process.stdout.readline()
        if not answer:
            raise SystemExit(f"bench: {self.process.args} has ended with {self.process.wait()}")
        return [float(word) for word in answer.split()]

    def end(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Sink(Process):
    """Takes connections to its ports and counts them, each port for itself."""

    def __init__(self, discarding, socks=0, work_nanoseconds=0, backlog=4096):
        super().__init__([SINK, str(discarding), str(socks), str(work_nanoseconds), str(backlog)])
        ports = [int(port) for port in self.read()]
        self.discarding, self.socks = ports[:discarding], ports[discarding:]

    def take_port(self):
        return self.discarding.pop()

    def take_socks_port(self):
        return self.socks.pop()

    def count(self, port):
        """Connections that ended, bytes and errors since this was last asked."""
        return [int(number) for number in self.ask(str(port))]


class Lab:
    """Starts what is needed and ends all of it."""

    def __init__(self, quick):
        self.quick = quick
        self.folder = tempfile.mkdtemp()
        self.running = []
        self.sink = self.keep(Sink(discarding=60, socks=20))
        self.reader = f"127.0.0.1:{self.sink.take_port()}"

    def keep(self, process):
        self.running.append(process)
        return process

    def end(self):
        for process in reversed(self.running):
            process.end()
        shutil.rmtree(self.folder)

    def rounds(self, count):
        return max(5, count // 10) if self.quick else count

    def bare(self, *arguments, processors=ONE_PROCESSOR):
        return self.keep(Process([DRIVER, *arguments], processors=processors))

    def agent(self, *arguments, port=None, unplugged=False, socks=None, processors=ONE_PROCESSOR):
        environment = {"LD_PRELOAD": AGENT,
                       "VELTRA_SOCKET_AGENT_PORT_NUMBER": str(port or self.sink.take_port())}
        if unplugged:
            environment["VELTRA_SOCKET_AGENT_UNPLUG_AGENT"] = ""
        if socks:
            environment["VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS"] = "127.0.0.1"
            environment["VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4"] = str(socks)
        return self.keep(Process([DRIVER, *arguments], environment, processors))

    def strace(self):
        return self.keep(Process(["strace", "-f", "-o", "/dev/null", DRIVER]))

    def torsocks(self, socks, processors=ONE_PROCESSOR):
        return self.keep(Process(["torsocks", "-a", "127.0.0.1", "-P", str(socks), DRIVER],
                                 processors=processors))

    def proxychains4(self, socks, processors=ONE_PROCESSOR):
        settings = os.path.join(self.folder, f"proxychains-{socks}")
        with open(settings, "w") as file:
            file.write(f"strict_chain\nquiet_mode\n[ProxyList]\nsocks5 127.0.0.1 {socks}\n")
        return self.keep(Process(["proxychains4", "-q", "-f", settings, DRIVER], processors=processors))


def medians(rounds, questions):
    """Asks every program its question in turn, `rounds` times, and gives the median of the first
    number of each program's answers. `questions`: name -> (program, line)."""
    answers = {name: [] for name in questions}
    names = list(questions)
    for turn in range(rounds):
        # Nobody always comes behind the same neighbour.
        for i in range(len(names)):
            name = names[(turn + i) % len(names)]
            program, line = questions[name]
            answers[name].append(program.ask(line)[0])
    return {name: statistics.median(values) for name, values in answers.items()}


class MachineWatch:
    """How much others used of the machine meanwhile."""

    def __init__(self):
        self.load = os.getloadavg()[0]
        self.busy, self.total = self._processor_time()
        self.own = self._own_time()

    @staticmethod
    def _processor_time():
        with open("/proc/stat") as file:
            times = [int(number) for number in re.findall(r"\d+", file.readline())[:8]]
        return (sum(times) - times[3] - times[4]) / os.sysconf("SC_CLK_TCK"), \
            sum(times) / os.sysconf("SC_CLK_TCK")

    @staticmethod
    def _own_time():
        return sum(usage.ru_utime + usage.ru_stime for usage in
                   (resource.getrusage(resource.RUSAGE_SELF), resource.getrusage(resource.RUSAGE_CHILDREN)))

    def report(self):
        busy, total = self._processor_time()
        others = max(0.0, (busy - self.busy) - (self._own_time() - self.own))
        return (f"load average {self.load:.2f} before and {os.getloadavg()[0]:.2f} after; other programs used "
                f"{100 * others / (total - self.total):.0f} % of {os.cpu_count()} processors")
