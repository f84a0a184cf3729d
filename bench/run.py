#!/usr/bin/env python3
"""Measures ours against its limits and prints one table. scripts/bench builds what this needs and calls it.

Ours and the limit take turns, round by round, so that a noisy moment falls on both; a figure is the median of
the rounds, a ratio the median of the rounds' ratios. Server and load generator have a core each. Figures are
never tests: the exit code tells only whether everything ran.
"""

import argparse
import contextlib
import dataclasses
import json
import os
import pathlib
import re
import resource
import signal
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import time

SOURCE = pathlib.Path(__file__).resolve().parent.parent
START_SECONDS = 20  # a server that is not ready by then has failed
GET = '{"jsonrpc":"2.0","id":1,"method":"control:get","params":["LUM"]}'
SUBSCRIBE = '{"jsonrpc":"2.0","id":1,"method":"control:addListener","params":["BRI"]}'
IPC_GET = struct.pack("<HHI4s10xH", 0x13FE, 0x2, 0, b"MUL", 24)  # the same over the local IPC
CHANGE = '{"jsonrpc":"2.0","id":1,"method":"control:set","params":["BRI",%d]}'
CHANGES = [CHANGE % value for value in (10, 20)]  # in turn, so that each is one


@dataclasses.dataclass
class Figure:
    """One line of the table. The goal is an upper bound of the ratio, or of ours where there is no limit or
    the goal is absolute."""
    job: str
    measure: str
    unit: str
    ours: float
    limit: float | None = None
    ratio: float | None = None
    goal: float | None = None
    absolute: bool = False

    def verdict(self):
        if self.goal is None:
            return ""
        value = self.ours if self.absolute else self.ratio
        return "ok" if value <= self.goal else "MISSED"


class Bench:
    """What every row needs: where the programs are, how long to measure, on which cores."""

    def __init__(self, build, rounds, seconds, realtime):
        self.build = build
        self.rounds = rounds
        self.seconds = seconds
        self.realtime = realtime
        cores = sorted(os.sched_getaffinity(0))
        self.load_core, self.server_core = cores[0], cores[-1]

    def program(self, path):
        return str(self.build / path)

    def place(self, core):
        """Puts the calling process on a core; handed to a child as what it does first."""
        os.sched_setaffinity(0, {core})
        if self.realtime:
            os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))

    def output_of(self, core, command, **options):
        """Runs a program to its end and returns what it printed, read as JSON."""
        result = subprocess.run(command, preexec_fn=lambda: self.place(core), stdout=subprocess.PIPE,
                                **options)
        if result.returncode != 0:
            raise RuntimeError(f"{command[0]} failed with exit code {result.returncode}")
        return json.loads(result.stdout)

    def load(self, program, *arguments):
        """What a load generator printed."""
        return self.output_of(self.load_core, [self.program(program), *map(str, arguments)])

    @contextlib.contextmanager
    def server(self, command, ready):
        """Starts a server on its core; yields its process and its port, which `ready` finds in its output."""
        with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as log:
            process = subprocess.Popen(command, preexec_fn=lambda: self.place(self.server_core),
                                       stdout=output, stderr=log)
            try:
                yield process, self.await_port(process, output, ready)
            except BaseException:
                log.seek(0)
                sys.stderr.write(log.read())
                raise
            finally:
                process.terminate()
                process.wait()

    @staticmethod
    def await_port(process, output, ready):
        deadline = time.monotonic() + START_SECONDS
        while time.monotonic() < deadline and process.poll() is None:
            output.seek(0)
            if found := re.search(ready, output.read(), re.MULTILINE):
                return int(found[1])
            time.sleep(0.01)
        raise RuntimeError(f"{process.args[0]} did not get ready")

    @contextlib.contextmanager
    def daemon(self):
        with self.daemon_and_socket() as (process, port, _):
            yield process, port

    @contextlib.contextmanager
    def daemon_and_socket(self):
        """Yields its process, its port, the socket of its local IPC."""
        with tempfile.TemporaryDirectory(prefix="lantern-bench-") as folder:
            command = [self.program("apps/lanternd/lanternd"), "--port", "0", "--bind", "127.0.0.1",
                       "--run-dir", f"{folder}/run", "--state-dir", f"{folder}/state",
                       "--config-dir", str(SOURCE / "config")]
            with self.server(command, r"^lanternd ready: json-rpc=(\d+)") as (process, port):
                yield process, port, f"{folder}/run/main_controller.socket"

    def bare(self, program, *texts):
        return self.server([self.program(program), *texts], r"^ready: port=(\d+)")

    def alternate(self, measure_ours, measure_limit):
        """Rounds of both, the first one changing: lists of what they returned, round by round."""
        ours, limit = [], []
        for index in range(self.rounds):
            steps = [(ours, measure_ours), (limit, measure_limit)]
            for results, measure in steps if index % 2 == 0 else reversed(steps):
                results.append(measure())
        return ours, limit

    def in_process(self, *names):
        """Medians of benchmarks in lantern_bench: {name: {"ns": ..., "allocations": ...}}. Each is repeated
        as often as there are rounds, in random order."""
        command = [self.program("bench/lantern_bench"), "--benchmark_filter=^(%s)$" % "|".join(names),
                   f"--benchmark_repetitions={self.rounds}", "--benchmark_enable_random_interleaving=true",
                   f"--benchmark_min_time={self.seconds / 4}", "--benchmark_format=json"]
        output = self.output_of(self.server_core, command, stderr=subprocess.DEVNULL)
        runs = [run for run in output["benchmarks"] if run["run_type"] == "iteration"]
        if failed := [run["name"] for run in runs if run.get("error_occurred")]:
            raise RuntimeError(f"lantern_bench: {failed[0]} failed")
        result = {}
        for name in names:
            mine = [run for run in runs if run["run_name"] == name]
            if not mine:
                raise RuntimeError(f"lantern_bench has no benchmark {name}")
            result[name] = {"ns": statistics.median(run["cpu_time"] for run in mine),
                            "allocations": max(run["allocations"] for run in mine)}
        return result


class Client:
    """A plain JSON-RPC client, to learn what ours answers before the limit is made to answer the same."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=5)
        self.messages = self.socket.makefile("rb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.messages.close()
        self.socket.close()

    def receive(self):
        text = bytearray()
        while (byte := self.messages.read(1)) != b"\0":
            if not byte:
                raise RuntimeError("lanternd closed the connection")
            text += byte
        return text.decode()

    def call(self, request):
        self.socket.sendall(request.encode() + b"\0")
        reply = self.receive()
        if "result" not in json.loads(reply):
            raise RuntimeError(f"lanternd refused {request}: {reply}")
        return reply


def compare(job, ours, limit, measures):
    """Figures of two lists of results; measures: key in a result -> (name, unit, goal or None)."""
    for key, (name, unit, goal) in measures.items():
        ratios = [mine[key] / theirs[key] for mine, theirs in zip(ours, limit)]
        yield Figure(job, name, unit, statistics.median(r[key] for r in ours),
                     statistics.median(r[key] for r in limit), statistics.median(ratios), goal)


def get_row(job, options, cpu_goal, p50_goal=None):
    """Requests to the daemon, against a bare epoll echo that answers each with the daemon's own reply."""
    def run(bench):
        # A generator that sleeps must be woken by the server's sends, and only the slower server pays for
        # that: the faster one keeps it busy. On a core of its own it therefore never sleeps.
        spin = ["--spin"] if bench.load_core != bench.server_core else []
        with bench.daemon() as (daemon, port):
            with Client(port) as client:
                reply = client.call(GET)
            with bench.bare("bench/limits/bench_epoll_echo", reply) as (echo, echo_port):
                def load(process, at):
                    result = bench.load("bench/load/bench_request_load", "--port", at, "--request", GET,
                                        *options, *spin, "--seconds", bench.seconds,
                                        "--server-pid", process.pid)
                    if result["reply_bytes"] != len(reply) + 1:
                        raise RuntimeError(f"replies of {result['reply_bytes']} bytes, not {len(reply) + 1}")
                    return result
                ours, limit = bench.alternate(lambda: load(daemon, port), lambda: load(echo, echo_port))
        return compare(job, ours, limit, {"server_cpu_us": ("CPU/request", "us", cpu_goal),
                                          "p50_us": ("p50", "us", p50_goal)})
    return run


def ipc_rounds(bench, options):
    """Requests over the local IPC beside a silent JSON-RPC client, and rounds of a bare epoll server on a Unix
    socket that answers each with the daemon's own reply: lists of results."""
    spin = ["--spin"] if bench.load_core != bench.server_core else []
    with bench.daemon_and_socket() as (daemon, port, path), Client(port):
        with socket.socket(socket.AF_UNIX) as client:
            client.settimeout(5)
            client.connect(path)
            client.sendall(IPC_GET)
            reply = client.recv(4096)
        echo_path = path + ".echo"
        with bench.bare("bench/limits/bench_epoll_echo", echo_path, reply.hex()) as (echo, _):
            def load(process, at):
                result = bench.load("bench/load/bench_request_load", "--socket", at,
                                    "--request-hex", IPC_GET.hex(), *options, *spin,
                                    "--seconds", bench.seconds, "--server-pid", process.pid)
                if result["reply_bytes"] != len(reply):
                    raise RuntimeError(f"replies of {result['reply_bytes']} bytes, not {len(reply)}")
                return result
            return bench.alternate(lambda: load(daemon, path), lambda: load(echo, echo_path))


def ipc_row(job, p50_goal, p99_goal):
    def run(bench):
        ours, limit = ipc_rounds(bench, [])
        yield from compare(job, ours, limit, {"p50_us": ("p50", "us", p50_goal),
                                              "server_cpu_us": ("CPU/request", "us", None)})
        yield Figure(job, "p99", "us", statistics.median(result["p99_us"] for result in ours),
                     statistics.median(result["p99_us"] for result in limit), goal=p99_goal, absolute=True)
    return run


def ipc_fairness_row(job, clients, goal):
    """How much longer the median of the client served worst is than that of the one served best."""
    def run(bench):
        ours, limit = ipc_rounds(bench, ["--clients", clients])
        spread = [[result["worst_client_p50_us"] / result["best_client_p50_us"] for result in results]
                  for results in (ours, limit)]
        yield Figure(job, "worst/best p50", "", *map(statistics.median, spread), goal=goal, absolute=True)
        yield from compare(job, ours, limit, {"p50_us": ("p50", "us", None)})
    return run


def fan_out_row(job, subscribers, goal, finding_goal):
    """Changes told to so many subscribers, against a bare loop of sends of the same text; and what finding
    those subscribers takes of the sends."""
    def measure(bench):
        with bench.daemon() as (daemon, port):
            with Client(port) as listener, Client(port) as sender:
                listener.call(SUBSCRIBE)
                reply = sender.call(CHANGES[0])
                notification = listener.receive()
            with bench.bare("bench/limits/bench_send_loop", notification, reply) as (loop, loop_port):
                def load(process, at, *options):
                    changes = [option for change in CHANGES for option in ("--change", change)]
                    return bench.load("bench/load/bench_fan_out_load", "--port", at, *options, *changes,
                                      "--notification-size", len(notification) + 1,
                                      "--subscribers", subscribers, "--seconds", bench.seconds,
                                      "--server-pid", process.pid)
                return bench.alternate(lambda: load(daemon, port, "--subscribe", SUBSCRIBE),
                                       lambda: load(loop, loop_port))

    def run(bench):
        ours, limit = measure(bench)
        yield from compare(job, ours, limit, {"p50_us": ("to the last byte", "us", goal),
                                              "server_cpu_us": ("CPU/change", "us", None)})
        name = f"FindRecipients/{subscribers}"
        finding = bench.in_process(name)[name]["ns"] / 1000
        sends = statistics.median(result["p50_us"] for result in limit)
        yield Figure(job, "finding them/sends", "us", finding, sends, finding / sends, finding_goal)
    return run


def in_process_row(job, ours, limit, absolute_goal=None, goal=None, allocations_goal=0):
    """A benchmark of lantern_bench, which must not allocate unless told otherwise, beside its limit. The goal is
    that of the ratio, unless there is one of the time alone."""
    def run(bench):
        medians = bench.in_process(ours, limit)
        mine, theirs = medians[ours], medians[limit]
        yield Figure(job, "time", "ns", mine["ns"], theirs["ns"], mine["ns"] / theirs["ns"],
                     goal=goal if absolute_goal is None else absolute_goal,
                     absolute=absolute_goal is not None)
        yield Figure(job, "allocations", "", mine["allocations"], goal=allocations_goal, absolute=True)
    return run


def lateness_row(job, goal, share_goal):
    """Periodic jobs in the daemon's loop, against a heap and clock_nanosleep. The share is turned round, so
    that its goal is an upper bound too: the ideal number of runs over ours."""
    def run(bench):
        def measure(side):
            program = bench.program("bench/software/utility/bench_job_lateness")
            return bench.output_of(bench.server_core, [program, side, str(bench.seconds)])
        ours, limit = bench.alternate(lambda: measure("ours"), lambda: measure("limit"))
        yield from compare(job, ours, limit, {"p50_us": ("p50 of the lateness", "us", goal)})
        yield Figure(job, "ideal/ours, runs", "", 1 / statistics.median(r["share"] for r in ours),
                     1 / statistics.median(r["share"] for r in limit), goal=share_goal, absolute=True)
    return run


def idle_row(job, seconds, cpu_goal, memory_goal):
    """The daemon left alone."""
    def ticks(pid):
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])  # utime, stime

    def run(bench):
        with bench.daemon() as (daemon, _):
            time.sleep(1)  # what the start left to do
            before = ticks(daemon.pid)
            time.sleep(seconds)
            share = (ticks(daemon.pid) - before) / os.sysconf("SC_CLK_TCK") / seconds
            status = pathlib.Path(f"/proc/{daemon.pid}/status").read_text()
        memory = int(re.search(r"^VmRSS:\s+(\d+) kB", status, re.MULTILINE)[1]) / 1024
        yield Figure(job, "CPU", "% of a core", 100 * share, goal=cpu_goal, absolute=True)
        yield Figure(job, "RSS", "MiB", memory, goal=memory_goal, absolute=True)
    return run


# Every row: its name on the command line and how it is measured. The goals are upper bounds.
ROWS = {
    "get-1": get_row("JSON-RPC get, 1 client, one at a time", [], cpu_goal=1.45, p50_goal=1.25),
    "get-32": get_row("JSON-RPC get, 1 client, 32 in flight", ["--in-flight", 32], cpu_goal=0.80),
    "get-100c": get_row("JSON-RPC get, 100 clients", ["--clients", 100], cpu_goal=1.6),
    "get-1000c": get_row("JSON-RPC get, 1000 clients", ["--clients", 1000], cpu_goal=1.6),
    "get-idle": get_row("JSON-RPC get, 1 client and 999 idle", ["--idle", 999], cpu_goal=1.45, p50_goal=1.2),
    "ipc-get": ipc_row("Local IPC get, 1 client, one at a time", p50_goal=1.35, p99_goal=1000),
    "ipc-50c": ipc_fairness_row("Local IPC get, 50 clients", 50, goal=2),
    "fan-out-100": fan_out_row("Change told to 100 subscribers", 100, goal=1.10, finding_goal=0.05),
    "fan-out-1000": fan_out_row("Change told to 1000 subscribers", 1000, goal=1.10, finding_goal=0.05),
    "set-value": in_process_row("SetValue, nobody listens", "SetValue", "SetValueLimit", absolute_goal=100),
    "look-up": in_process_row("Control by code, of 300", "GetControl", "GetControlLimit"),
    "serial-parse": in_process_row("Serial line, 8 messages parsed", "SerialParse", "SerialParseLimit", goal=1.11),
    "cep": in_process_row("CEP, ten properties, decode + encode", "CepWithCrc", "CepWithCrcLimit", goal=2.2,
                          allocations_goal=2),
    "cep-plain": in_process_row("CEP, the same without CRC", "CepWithoutCrc", "CepWithoutCrcLimit", goal=1.0,
                                allocations_goal=2),
    "crc16": in_process_row("CRC-16/ARC of 4 KiB", "Crc16", "Crc16Limit", goal=1.11),
    "crc32": in_process_row("CRC-32 of 4 KiB", "Crc32", "Crc32Limit", goal=1.05),
    "jobs-pass": in_process_row("Pass over 100 jobs, none due", "SchedulerPass", "SchedulerPassLimit", goal=2.5),
    "jobs-dispatch": in_process_row("Run of an empty job", "DispatchJob", "DispatchJobLimit", goal=1.5),
    "jobs-late": lateness_row("100 jobs of 10 to 20 ms", goal=1.1, share_goal=1 / 0.99),
    "field-read": in_process_row("Register field read, mapped", "ReadField", "ReadFieldLimit", goal=1.5),
    "field-write": in_process_row("Register field write, mapped", "WriteField", "WriteFieldLimit", goal=1.5),
    "port-write": in_process_row("4096 words into a FIFO port", "WritePort", "WritePortLimit", goal=1.5),
    "idle": idle_row("lanternd left alone", 5, cpu_goal=1, memory_goal=30),
}


def number(value):
    """Three digits that mean something: 0.00471, 5.49, 3846."""
    return "" if value is None else f"{value:.3g}" if abs(value) < 1000 else f"{value:.0f}"


def goal_text(figure):
    if figure.goal is None:
        return ""
    return f"<= {figure.goal:g}" + (f" {figure.unit}" if figure.absolute else "")


def print_table(figures):
    heads = ("job", "measure", "unit", "ours", "limit", "ratio", "goal", "")
    rows = [(f.job, f.measure, f.unit, number(f.ours), number(f.limit), number(f.ratio), goal_text(f),
             f.verdict()) for f in figures]
    widths = [max(len(row[i]) for row in [heads, *rows]) for i in range(len(heads))]
    right = {3, 4, 5}  # figures stand under each other's last digit
    for row in [heads, *rows]:
        cells = (cell.rjust(width) if i in right else cell.ljust(width)
                 for i, (cell, width) in enumerate(zip(row, widths)))
        print("  ".join(cells).rstrip())


def parse_arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__.split("\n")[0])
    option = parser.add_argument
    option("rows", nargs="*", metavar="row", help="rows to measure (default: all): " + ", ".join(ROWS))
    option("--quick", action="store_true", help="three short rounds instead of five: a rough look")
    option("--realtime", action="store_true",
           help="give server and load generator their cores before all other programs (needs root)")
    option("--json", action="store_true", help="print the figures as JSON instead of a table")
    option("--build", type=pathlib.Path, default=SOURCE / "build/bench", help="the build folder to measure")
    arguments = parser.parse_args()
    if unknown := [row for row in arguments.rows if row not in ROWS]:
        parser.error(f"there is no row {unknown[0]}; the rows are " + ", ".join(ROWS))
    return arguments


def busy_cores(seconds):
    """How many cores the machine keeps busy while nothing is measured."""
    def busy_ticks():
        fields = pathlib.Path("/proc/stat").read_text().split("\n")[0].split()[1:]
        return sum(map(int, fields[:8])) - int(fields[3]) - int(fields[4])  # all but idle and disk waits

    before = busy_ticks()
    time.sleep(seconds)
    return (busy_ticks() - before) / os.sysconf("SC_CLK_TCK") / seconds


def main():
    arguments = parse_arguments()
    limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))  # the daemon serves 1000 clients
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the servers are ended too

    rounds, seconds = (3, 0.3) if arguments.quick else (5, 1.0)
    bench = Bench(arguments.build, rounds, seconds, arguments.realtime)
    busy = busy_cores(seconds=0.5)
    if bench.load_core == bench.server_core:
        print("note: one core only; server and load generator disturb each other", file=sys.stderr)
    if busy > 0.1:
        print(f"note: others keep {busy:.1f} cores busy; take the figures with care", file=sys.stderr)

    figures, failed = [], []
    for name in arguments.rows or ROWS:
        print(f"measuring {name} ...", file=sys.stderr, flush=True)
        try:
            figures += ROWS[name](bench)
        except (RuntimeError, OSError, ValueError) as error:
            print(f"{name} failed: {error}", file=sys.stderr)
            failed.append(name)
    if arguments.json:
        print(json.dumps([{**dataclasses.asdict(f), "verdict": f.verdict()} for f in figures], indent=1))
    else:
        print_table(figures)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
