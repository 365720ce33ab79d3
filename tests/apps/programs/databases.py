"""Database servers under the load of their own benchmark programs."""

import os
import pwd
import re
import signal

from runner import free_port

REDIS_REQUESTS = 3000
# What every kind of request leaves behind is compared.
REDIS_KINDS = ("set", "get", "incr", "lpush", "sadd", "hset")

POSTGRES_PROGRAMS = "/usr/lib/postgresql/15/bin"
CLIENTS = 4
TRANSACTIONS = 100


def redis(run):
    port = free_port()
    server = run.serve("redis-server", "--port", port, "--bind", "127.0.0.1", "--dir", run.folder,
                       "--save", "", "--appendonly", "yes", port=port)

    def ask(*words):
        return run.must("redis-cli", "-p", port, *words, recorded=False).output.strip()

    with run.measured():
        load = run.call("redis-benchmark", "-p", port, "-n", REDIS_REQUESTS, "-c", 20,
                        "-t", ",".join(REDIS_KINDS), "-q")
    run.expect("the benchmark ends well", load.status, 0)
    for kind in REDIS_KINDS:
        run.check(f"the benchmark reports {kind}", f"{kind.upper()}: " in load.output, load.output)
    done = dict(re.findall(r"cmdstat_(\w+):calls=(\d+)", ask("INFO", "commandstats")))
    for kind in REDIS_KINDS:
        run.expect(f"every {kind} has arrived", done.get(kind), str(REDIS_REQUESTS))
    run.expect("the counter is right", ask("GET", "counter:__rand_int__"), str(REDIS_REQUESTS))
    run.expect("the list is whole", ask("LLEN", "mylist"), str(REDIS_REQUESTS))
    run.expect("a child saves it", ask("BGSAVE"), "Background saving started")
    while "rdb_bgsave_in_progress:1" in ask("INFO", "persistence"):
        pass
    run.check("the child ends well", "rdb_last_bgsave_status:ok" in ask("INFO", "persistence"))
    run.call("redis-cli", "-p", port, "SHUTDOWN")
    run.expect("the server ends well", run.end(server, by=None), 0)


def postgres(run):
    user = "nobody" if os.geteuid() == 0 else None
    cluster = run.folder / "cluster"
    cluster.mkdir(mode=0o700)
    if user:
        account = pwd.getpwnam(user)
        os.chown(cluster, account.pw_uid, account.pw_gid)
    name = "veltra"
    port = free_port()
    made = run.call(f"{POSTGRES_PROGRAMS}/initdb", "-D", cluster, "-U", name, "-A", "trust",
                    "--no-sync", user=user, cwd=cluster)
    run.check("a cluster is made", made.status == 0, made.errors[-300:])
    server = run.serve(f"{POSTGRES_PROGRAMS}/postgres", "-D", cluster, "-p", port,
                       "-c", "listen_addresses=127.0.0.1", "-c", "fsync=off",
                       "-c", f"unix_socket_directories={cluster}", port=port, user=user)
    to_server = ("-h", "127.0.0.1", "-p", port, "-U", name)

    def ask(query):
        return run.must("psql", *to_server, "-Atqc", query, "postgres", recorded=False).output.strip()

    filled = run.call("pgbench", *to_server, "-i", "-q", "postgres")
    run.check("the tables are filled", filled.status == 0, filled.errors[-300:])
    for title, settings in (("mixed", ()), ("reading", ("-S", "-M", "prepared")),
                            ("reconnecting", ("-S", "-C"))):
        times = TRANSACTIONS if title != "reconnecting" else 10
        with run.measured():
            load = run.call("pgbench", *to_server, "-n", "-c", CLIENTS, "-j", 2, "-t", times,
                            *settings, "postgres")
        wanted = CLIENTS * times
        run.check(f"{title}: ends well", load.status == 0, load.errors[-300:])
        run.check(f"{title}: all transactions are done",
                  f"actually processed: {wanted}/{wanted}\n" in load.output, load.output)
        run.check(f"{title}: none has failed",
                  "number of failed transactions: 0 " in load.output, load.output)
    run.expect("the history is whole", ask("select count(*) from pgbench_history"),
               str(CLIENTS * TRANSACTIONS))
    for table, column in (("accounts", "abalance"), ("tellers", "tbalance"),
                          ("branches", "bbalance")):
        run.expect(f"the {table} add up", ask(f"select sum({column}) from pgbench_{table}"),
                   ask("select sum(delta) from pgbench_history"))
    run.expect("the server ends well", run.end(server, signal.SIGINT), 0)
    log = run.server_log()
    for word in ("ERROR:", "PANIC:", "terminated by signal"):
        run.check(f"no {word} in the server's log", word not in log, log[-500:])


PROGRAMS = {"redis": redis, "postgres": postgres}
