"""One side of a comparison: a program that is run, and what it used."""

import dataclasses
import os
import shutil
import statistics
import subprocess
import threading

LONGEST_RUN = 300  # seconds; what takes longer counts as failed


class Failed(Exception):
    """A program that did not do its work."""


@dataclasses.dataclass
class Used:
    """What a finished process has used: seconds, and what it wrote."""

    wall: float
    cpu: float  # user and system, all threads
    output: str


@dataclasses.dataclass
class Figures:
    """The cost of one picture, or of one second of sound."""

    cpu: float  # milliseconds
    rate: float  # a second; 0 for what runs in real time
    told: dict = dataclasses.field(default_factory=dict)  # other numbers of the same run


def run(command, environment=None):
    """Runs a command to its end; raises Failed when it leaves with anything but 0."""
    start = os.times().elapsed
    with subprocess.Popen(
        command,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        env={**os.environ, **(environment or {})},
    ) as child:
        timer = threading.Timer(LONGEST_RUN, child.kill)
        timer.start()
        errors = []
        reader = threading.Thread(target=lambda: errors.append(child.stderr.read()))
        reader.start()
        output = child.stdout.read()
        reader.join()
        _, status, usage = os.wait4(child.pid, 0)
        timer.cancel()
        child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        lines = errors[0].decode(errors="replace").strip().splitlines() or ["without a word"]
        raise Failed(f"left with {child.returncode}: {lines[-1]}")
    wall = os.times().elapsed - start
    return Used(wall, usage.ru_utime + usage.ru_stime, output.decode(errors="replace"))


def told(output):
    """The numbers that a benchmark hands on, in lines of "bench: NAME VALUE"."""
    values = {}
    for line in output.splitlines():
        words = line.split()
        if len(words) == 3 and words[0] == "bench:":
            values[words[1]] = float(words[2])
    return values


@dataclasses.dataclass
class Benchmark:
    """A benchmark program of the library, which counts its steady state itself."""

    name: str
    command: list

    def missing(self):
        return None if os.access(self.command[0], os.X_OK) else f"{self.command[0]} is not built"

    def measure(self):
        values = told(run(self.command).output)
        if "cpu" not in values:
            raise Failed("told no figures")
        return Figures(values["cpu"], values.get("fps", 0.0), values)


@dataclasses.dataclass
class Program:
    """Any program: what a long run costs beyond a short one, so that the start is taken off."""

    name: str
    command: object  # from a number of pictures, or of seconds, to the command
    count: int
    brief: int = 2
    needs: tuple = ()  # GStreamer's elements
    environment: dict = dataclasses.field(default_factory=dict)

    def missing(self):
        program = self.command(self.brief)[0]
        if shutil.which(program) is None:
            return f"{program} is not installed"
        for element in self.needs:
            if subprocess.run(["gst-inspect-1.0", "--exists", element], check=False).returncode:
                return f"GStreamer has no {element} here"
        return None

    def measure(self):
        brief = run(self.command(self.brief), self.environment)
        whole = run(self.command(self.count), self.environment)
        more = self.count - self.brief
        if whole.wall <= brief.wall or whole.cpu <= brief.cpu:
            raise Failed("the long run took no longer than the short one")
        cpu = (whole.cpu - brief.cpu) / more * 1000.0
        return Figures(cpu, more / (whole.wall - brief.wall))


@dataclasses.dataclass
class Spread:
    """A median, and what it lies between."""

    middle: float
    least: float
    most: float

    @staticmethod
    def of(values):
        return Spread(statistics.median(values), min(values), max(values))

    @staticmethod
    def of_ratios(ours, theirs):
        """Round by round: both sides of a ratio were measured one after the other."""
        return Spread.of([mine / other for mine, other in zip(ours, theirs)])
