#!/usr/bin/env python3
"""Time per query through pyvisa, with QVvisa and with pyvisa's backend in Python, on one simulated instrument.

Runs under `qvvisa-sim --tcp --serial --`. Argument: the library. States ratios and exits with 1 if one is missed.
"""

import os
import sys
import time

import pyvisa

# Task, how often in a turn, how many turns.
TASKS = {
    "query": (lambda instrument: instrument.query("VOLT?"), 200, 20),
    "block": (lambda instrument: instrument.query_binary_values("DATA:BLOC? 65536", "B", container=bytes), 3, 3),
}
# How much longer the other backend takes, at least. pyvisa's way to call any shared library takes 3 us more in each
# query than its own Python does, and a block has a newline, where its reads end, every 256 bytes.
AT_LEAST = {("TCP", "query"): 0.75, ("TCP", "block"): 0.6, ("serial", "query"): 0.75, ("serial", "block"): 10}

TCP = os.environ["QVVISA_SIM_TCP"]
SERIAL = os.environ["QVVISA_SIM_SERIAL"]
PORT = os.environ["QVVISA_SERIAL_PORTS"].partition("=")[2]
NAMES = {"TCP": {"QVvisa": TCP, "@py": TCP}, "serial": {"QVvisa": SERIAL, "@py": "ASRL%s::INSTR" % PORT}}


def best_time(manager, name, task, count):
    """Only noise can make a run longer than the shortest one."""
    with manager.open_resource(name, read_termination="\n", write_termination="\n", timeout=20000) as instrument:
        task(instrument)
        times = []
        for _ in range(count):
            start = time.perf_counter()
            task(instrument)
            times.append(time.perf_counter() - start)
        return min(times)


def main():
    managers = {"QVvisa": pyvisa.ResourceManager(sys.argv[1]), "@py": pyvisa.ResourceManager("@py")}
    missed = False
    for bus, names in NAMES.items():
        for task_name, (task, count, turns) in TASKS.items():
            # Taking turns spreads a burst of load over both.
            best = dict.fromkeys(managers, float("inf"))
            for _ in range(turns):
                for backend, manager in managers.items():
                    best[backend] = min(best[backend], best_time(manager, names[backend], task, count))
            ratio = best["@py"] / best["QVvisa"]
            at_least = AT_LEAST[bus, task_name]
            missed = missed or ratio < at_least
            print("%-6s  %-5s  QVvisa %8.1f us   @py %8.1f us   %6.2f times, at least %.2f" %
                  (bus, task_name, best["QVvisa"] * 1e6, best["@py"] * 1e6, ratio, at_least))
    return int(missed)


if __name__ == "__main__":
    sys.exit(main())
