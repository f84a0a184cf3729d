#!/usr/bin/python3
"""Draws docs/thermal.png: temperature and fan of the image device while the light goes from 10 % to 100 %.

    scripts/setup --for plot
    tools/plot_thermal.py [--build build/default] [--out docs/thermal.png]

Starts a lanternd of its own for each thermal mode, watches TP1 and FN1 through lanternctl, and at the end of
the first run stops the fan until its alarm comes. Takes some two and a half minutes.
"""

import argparse
import json
import pathlib
import re
import subprocess
import tempfile
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # the back end is chosen first

SOURCE = pathlib.Path(__file__).resolve().parent.parent
BEFORE, RISE, FAULT = 10, 110, 25  # seconds at 10 %, at 100 %, and with the fan stopped
MODES = {0: ("default", "tab:blue"), 1: ("quiet", "tab:orange")}


class Projector:
    """A daemon in a folder of its own."""

    def __init__(self, build, folder):
        self.folder = folder
        self.client = str(build / "apps/lanternctl/lanternctl")
        self.daemon = subprocess.Popen(
            [str(build / "apps/lanternd/lanternd"), "--port", "0", "--bind", "127.0.0.1", "--run-dir",
             f"{folder}/run", "--state-dir", f"{folder}/state", "--config-dir", str(SOURCE / "config")],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.port = self.wait_for_port()

    def wait_for_port(self):
        """A first start tells of the account that it made before it is ready."""
        for line in self.daemon.stdout:
            if ready := re.search(r"json-rpc=(\d+)", line):
                return ready[1]
        raise RuntimeError(f"lanternd ended with {self.daemon.wait()}")

    def ctl(self, *arguments):
        return subprocess.run([self.client, "--port", self.port, *arguments], check=True,
                              capture_output=True, text=True).stdout

    def set(self, code, value):
        subprocess.run([self.client, "--ipc", f"{self.folder}/run", "set", code, str(value)], check=True,
                       stdout=subprocess.DEVNULL)

    def read(self):
        """°C and rpm at this moment."""
        lines = self.ctl("--json", "get", "TP1", "FN1").splitlines()
        celsius, rpm = (json.loads(line)["value"] for line in lines)
        return celsius / 10, rpm

    def is_fan_alarm(self):
        return any(alarm["group"] == "Fans" for alarm in json.loads(self.ctl("call", "status:getAlarms", "{}")))

    def close(self):
        self.daemon.terminate()
        self.daemon.wait()


def record(projector, seconds, start, rows, until=lambda: False):
    end = time.monotonic() + seconds
    while time.monotonic() < end and not until():
        rows.append((time.monotonic() - start, *projector.read()))
        time.sleep(0.25)


def run(build, mode, with_fault):
    """Rows of seconds, °C, rpm; and when the fan was stopped and when the alarm came."""
    rows, stopped, alarm = [], None, None
    with tempfile.TemporaryDirectory(prefix="lantern-plot-") as folder:
        projector = Projector(build, folder)
        try:
            for code, value in (("TCM", mode), ("PWR", 1), ("LUM", 100)):
                projector.set(code, value)
            time.sleep(40)  # comes to rest at 10 %
            start = time.monotonic() + BEFORE
            record(projector, BEFORE, start, rows)
            projector.set("LUM", 1000)
            record(projector, RISE, start, rows)
            if with_fault:
                stopped = time.monotonic() - start
                projector.set("SIM+FANS", 1)
                record(projector, FAULT, start, rows, projector.is_fan_alarm)
                alarm = time.monotonic() - start
                record(projector, 5, start, rows)
        finally:
            projector.close()
    return rows, stopped, alarm


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=SOURCE / "build/default")
    parser.add_argument("--out", type=pathlib.Path, default=SOURCE / "docs/thermal.png")
    arguments = parser.parse_args()

    targets = json.loads((SOURCE / "config/thermal.json").read_text())["zones"]["die"]["targets"]
    figure, (heat, fan) = plt.subplots(2, 1, sharex=True, figsize=(9, 6.5), layout="constrained")
    for mode, (name, colour) in MODES.items():
        rows, stopped, alarm = run(arguments.build, mode, with_fault=mode == 0)
        seconds, celsius, rpm = zip(*rows)
        heat.plot(seconds, celsius, color=colour, label=f"{name} (target {targets[name]} °C)")
        heat.axhline(targets[name], color=colour, linestyle=":", linewidth=1)
        fan.plot(seconds, rpm, color=colour, label=name)
        if stopped is not None:
            for axes in (heat, fan):
                axes.axvline(stopped, color="grey", linestyle="--", linewidth=1)
                axes.axvline(alarm, color="tab:red", linestyle="--", linewidth=1)
            fan.annotate("fan stopped", (stopped, 0), (-4, 4), textcoords="offset points", ha="right",
                         color="grey")
            fan.annotate("alarm", (alarm, 0), (4, 4), textcoords="offset points", color="tab:red")
    for axes in (heat, fan):
        axes.axvline(0, color="black", linewidth=1)
        axes.grid(alpha=0.3)
        axes.legend(loc="upper left")
    heat.set_title("Image device while the light goes from 10 % to 100 % at 0 s")
    heat.set_ylabel("TP1, °C")
    fan.set_ylabel("FN1, rpm")
    fan.set_ylim(bottom=0)
    fan.set_xlabel("seconds")
    figure.savefig(arguments.out, dpi=110)


if __name__ == "__main__":
    main()
