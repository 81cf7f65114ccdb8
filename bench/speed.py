"""Speed: one table, all ratios measured in one run of one machine, beside the budgets."""
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys

from bench.gateway import BIN, LIB, Gateway, free_port, print_table, require, scratch, wait_for

REPETITIONS = 5
ROUNDS = 7
EXCHANGES_A_ROUND = 300
STARTS = 60
PACKAGES = ("NUVEK.Counter", "NUVEK.DeviceInfo", "NUVEK.Interface")
MD5_BUDGET = 0.9  # of the throughput of a well-known library's portable C code
EXCHANGE_BUDGET = 1.25  # times what the bare responder takes
START_BUDGET_MS = 4.0  # beyond what the store takes to answer
TURN_BUDGET = 12000  # instructions of an idle turn
TABLE_ROWS = (8, 64)  # the longer table costs at most as much for each row as the shorter one


def operation_times():
    """Processor nanoseconds of one run, the least of several repetitions that were mixed with one another."""
    done = subprocess.run([BIN / "time_operations", "--benchmark_format=json", "--benchmark_min_time=0.1",
                           f"--benchmark_repetitions={REPETITIONS}", "--benchmark_enable_random_interleaving=true"],
                          capture_output=True, text=True, check=True)
    names = subprocess.run([BIN / "time_operations", "--benchmark_list_tests"], capture_output=True, text=True, check=True)
    times = {name: float("inf") for name in names.stdout.splitlines()}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            times[run["run_name"]] = min(run["cpu_time"], times[run["run_name"]])
    return times


def operation_counts(folder):
    """Instructions of one run in the program and its libraries; the kernel's are not seen."""
    subprocess.run(["valgrind", "-q", "--tool=callgrind", f"--callgrind-out-file={folder}/dump", BIN / "count_operations"],
                   check=True, capture_output=True)
    counts = {}
    for dump in folder.glob("dump.*"):
        text = dump.read_text()
        label = re.search(r"^desc: Trigger: Client Request: (.*)/(\d+)$", text, re.MULTILINE)
        if label:
            counts[label[1]] = int(re.search(r"^(?:totals|summary): (\d+)", text, re.MULTILINE)[1]) // int(label[2])
    return counts


def operation_rows(times, counts):
    """The rows, and the budgets that are broken."""
    rows, broken, budgets = [], [], count_budgets(counts)
    for name in [*times, *(name for name in counts if name not in times)]:
        subject, by = name.rsplit("/", 1)
        ours = f"{subject}/nuvek"
        taken, instructions = times.get(name), counts[name]
        row = [subject, by, f"{taken / 1000:.3f}" if taken else "-", instructions, "", "", ""]
        if name in budgets:
            row[6] = f"<= {budgets[name]} instr."
            if instructions > budgets[name]:
                broken.append(f"{subject}: {instructions} instructions")
        if by != "nuvek":
            ratio = times[ours] / taken
            row[4:6] = [f"{ratio:.2f}", f"{counts[ours] / instructions:.2f}"]
            if subject.startswith("MD5 of 65536") and "(C)" in by:
                row[6] = f"<= {1 / MD5_BUDGET:.2f}"
                if ratio > 1 / MD5_BUDGET:
                    broken.append(f"{subject}: {ratio:.2f} times the time of {by}")
        rows.append(row)
    return rows, broken


def count_budgets(counts):
    """The most instructions that some operations may take."""
    few, many = (f"Get an interface table of {rows}/nuvek" for rows in TABLE_ROWS)
    return {"idle turn of the main loop/nuvek": TURN_BUDGET, many: counts[few] * TABLE_ROWS[1] // TABLE_ROWS[0]}


def block_with_get(package):
    body = f'["u",{{"RPCMethod":"Get","ID":12345678,"ObjectPath":"{package}"}}]'
    return f"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n{body}"


def on_processor(choose, command, **options):
    """Starts a program on one processor. The two sides of an exchange have one each: on a common one, the side that is
    woken would have to wait until the other, done with its answer, has begun anew."""
    processors = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {choose(processors)})
    try:
        return subprocess.Popen(command, **options)
    finally:
        os.sched_setaffinity(0, processors)


class Asker:
    """One run of the platform's side of the exchange."""

    def __init__(self, folder, count, *outputs):
        self.port_file = folder / "port"
        self.port_file.unlink(missing_ok=True)
        self.process = on_processor(min, [BIN / "exchange", self.port_file, str(count), folder / "block", *outputs],
                                    stdout=subprocess.PIPE, text=True)
        wait_for("the exchange's port", self.port_file.exists, 10)
        self.port = int(self.port_file.read_text())

    def taken_us(self):
        output, _ = self.process.communicate(timeout=60)
        return [int(line) / 1000 for line in output.split()]


def asked_agent(folder, count, *outputs):
    asker = Asker(folder, count, *outputs)
    with scratch() as root:
        gateway = Gateway(pathlib.Path(root), asker.port)
        gateway.process = on_processor(max, [BIN / "nuvek"], env=gateway.environment, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL, start_new_session=True)
        try:
            return asker.taken_us()
        finally:
            gateway.stop()


def asked_responder(folder, count):
    asker = Asker(folder, count)
    responder = on_processor(max, [BIN / "responder", str(asker.port), folder / "registration", folder / "answer"])
    try:
        return asker.taken_us()
    finally:
        responder.terminate()
        responder.wait()


def exchange_rows(folder):
    rows, broken = [], []
    for package in PACKAGES:
        (folder / "block").write_text(block_with_get(package))
        asked_agent(folder, 20, folder / "registration", folder / "answer")
        agent, bare = [], []
        for _ in range(ROUNDS):
            agent += asked_agent(folder, EXCHANGES_A_ROUND)
            bare += asked_responder(folder, EXCHANGES_A_ROUND)
        ratio = statistics.median(agent) / statistics.median(bare)
        subject = f"Get {package}, processes on loopback"
        rows.append([subject, "nuvek", f"{statistics.median(agent):.1f}", "", "", "", ""])
        rows.append([subject, "bare C responder", f"{statistics.median(bare):.1f}", "", f"{ratio:.2f}", "",
                     f"<= {EXCHANGE_BUDGET}"])
        if ratio > EXCHANGE_BUDGET:
            broken.append(f"{subject}: {ratio:.2f} times the bare responder's time")
    return rows, broken


def watched_start(command, environment):
    """Starts a program under the watch and returns what it told: milliseconds from exec to the first byte sent and to the
    first select, and of that in the store and in the shell."""
    process = subprocess.Popen([BIN / "launch", LIB / "libwatch.so", *command], env=environment,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    told = {}
    for line in process.stderr:
        found = re.fullmatch(r"(exec|send|select) (\d+) (\d+) (\d+)\n", line)
        if found:
            told[found[1]] = [int(number) / 1e6 for number in found.groups()[1:]]
        if len(told) == 3:
            break
    process.terminate()
    process.wait()
    process.stderr.close()
    start = told.pop("exec")[0]
    return {what: [clock - start, store, shell] for what, (clock, store, shell) in told.items()}


def start_rows(folder):
    (folder / "block").write_text(block_with_get(PACKAGES[0]))
    samples = {"nuvek": [], "bare C program": []}
    for _ in range(STARTS):
        for by, taken in samples.items():
            asker = Asker(folder, 1)
            with scratch() as root:
                gateway = Gateway(pathlib.Path(root), asker.port)
                command = [BIN / "nuvek"] if by == "nuvek" else \
                    [BIN / "opener", str(free_port()), str(asker.port), folder / "registration"]
                taken.append(watched_start(command, gateway.environment))
            asker.process.kill()
            asker.process.wait()
            asker.process.stdout.close()
    # The lower quartile: what other programs of the machine add is not the program's.
    quartile = {by: {what: [statistics.quantiles((one[what][k] for one in taken), n=4)[0] for k in range(3)]
                     for what in ("send", "select")} for by, taken in samples.items()}
    rows = []
    for what, subject in (("send", "exec to first byte of a due registration"), ("select", "exec to first select")):
        (ours, store, shell), (bare, _, _) = quartile["nuvek"][what], quartile["bare C program"][what]
        rows.append([subject, "nuvek", f"{ours * 1000:.0f}", "", "", "", ""])
        rows.append(["  of that the store's answers", "", f"{store * 1000:.0f}", "", "", "", ""])
        rows.append(["  of that the shell (insmod)", "", f"{shell * 1000:.0f}", "", "", "", ""])
        rows.append([subject, "bare C program", f"{bare * 1000:.0f}", "", f"{ours / bare:.2f}", "", ""])
    beyond = quartile["nuvek"]["send"][0] - quartile["nuvek"]["send"][1]
    rows.append(["exec to first byte beyond the store's answers", "nuvek", f"{beyond * 1000:.0f}", "", "", "",
                 f"<= {START_BUDGET_MS * 1000:.0f} us"])
    broken = [f"start-up: {beyond:.1f} ms beyond the store's answers"] if beyond > START_BUDGET_MS else []
    return rows, broken


def main():
    require("valgrind")
    with scratch() as name:
        folder = pathlib.Path(name)
        parts = [operation_rows(operation_times(), operation_counts(folder)), exchange_rows(folder), start_rows(folder)]
    print_table(["what", "by", "us", "instructions", "nuvek's time / its", "instructions", "budget"],
                [row for rows, _ in parts for row in rows])
    broken = [line for _, lines in parts for line in lines]
    for line in broken:
        print(f"bench: budget broken: {line}", file=sys.stderr)
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
