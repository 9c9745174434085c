"""Measures Kestrel beside OpenCV, libvips and Pillow: the same operation in turn, call by call, on one pinned core, each
library in a process of its own. Tells the minimum and the median of seven calls on a heap that keeps its pages, and on
one as a program starts with (cold). `./dev bench --help` lists the options."""
import argparse
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
OURS = "Kestrel"
PEERS = ("OpenCV", "libvips", "Pillow")
SIZE = (6000, 4000)
SMALL = (97, 61)
FAR_SLOWER = 2
TIMES_ALONE = 3

# A heap that gives nothing back to the system, in huge pages where the system has them.
WARM = {"MALLOC_MMAP_MAX_": "0", "MALLOC_TRIM_THRESHOLD_": str(1 << 36), "MALLOC_TOP_PAD_": str(64 << 20),
        "MALLOC_ARENA_MAX": "1", "GLIBC_TUNABLES": "glibc.malloc.hugetlb=1"}
WITHOUT_AVX512 = {"OPENCV_CPU_DISABLE": "AVX512-SKX"}

TONES = [f for i in range(10) for f in ("-f", f"Exposure:Red=01{i},Green=020,Blue=-05" if i % 2 == 0
                                        else f"Sepia:Sepia=05{i}")]
# Whole commands: what the row is called, the name of the job, input, output, and our options.
JOBS = (
    ("sepia, 1600 wide, sharpen", "reduce", "picture.jpg", "out.jpg",
     ["-f", "Sepia:Sepia=100", "-f", "Scale:MaximumHorizontalSize=1600,MaximumVerticalSize=1600",
      "-f", "Sharpen:Sharpness=080"]),
    ("rotate 7 degrees", "rotate", "picture.jpg", "out.jpg", ["-f", "Rotate:Angle=7.000,MirrorOn=0"]),
    ("ten tone filters, 96 MP", "tones", "large.jpg", "out.jpg", TONES),
    ("invert one pixel", "start", "pixel.png", "out.png", ["-f", "Invert:Inversity=100"]),
)
TITLES = {
    "line": "Operations", "codec": "Files", "command": "Whole commands", "growth": "Growth", "filter": "Every filter",
    "scale": "Scaling outside of filters", "dust": "The search for dust", "storage": "Storages",
    "upkeep": "What a line costs that computes nothing",
}


class Program:
    """A library's program: what it can do, and a call of it."""

    def __init__(self, command, environment):
        self.pipe = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                     env=dict(os.environ, **environment))
        self.version = self.pipe.stdout.readline().strip()
        self.calls = {}
        for line in iter(self.pipe.stdout.readline, ""):
            if line == "\n":
                return
            row, call = line.rstrip("\n").split("\t")
            self.calls[row] = call
        raise SystemExit(f"bench: {command[0]} ended early")

    def measure(self, row):
        self.pipe.stdin.write(row + "\n")
        self.pipe.stdin.flush()
        answer = self.pipe.stdout.readline().strip()
        if not answer or answer.startswith("!"):
            raise SystemExit(f"bench: {self.version}: {row}: {answer[1:] or 'the program ended'}")
        return float(answer)

    def end(self):
        self.pipe.stdin.close()
        self.pipe.wait()


class Command:
    """Programs that do a whole job from file to file: CPU time of one run, or the time that passes where threads share
    it, and its memory."""

    def __init__(self, commands, shared):
        self.commands, self.shared, self.memory = commands, shared, {}
        self.calls = {"command/" + row: "" for row, *_ in JOBS}

    def measure(self, row):
        job = next(job for job in JOBS if "command/" + job[0] == row)
        start = time.monotonic()
        process = subprocess.Popen(self.commands(job))  # with the heap that it starts with
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = status
        if status:
            raise SystemExit(f"bench: {self.commands(job)[0]} failed at {row}")
        self.memory[row] = used.ru_maxrss >> 10
        return time.monotonic() - start if self.shared else used.ru_utime + used.ru_stime

    def end(self):
        pass


def programs(options):
    """The commands of the libraries that are here."""
    built = pathlib.Path(options.build) / "bench"
    found = {OURS: [str(built / "bench_kestrel")]}
    for name, program in (("OpenCV", "bench_opencv"), ("libvips", "bench_vips")):
        if (built / program).exists():
            found[name] = [str(built / program)]
    if subprocess.run([sys.executable, "-c", "import PIL"], stderr=subprocess.DEVNULL).returncode == 0:
        found["Pillow"] = [sys.executable, str(HERE / "pillow.py")]
    if options.ours:
        found = {OURS: found[OURS]}
    if not options.dry:
        missing = [name for name in PEERS if name not in found and not options.ours]
        if missing:
            print("bench: not here:", ", ".join(missing), file=sys.stderr)
    return found


def start(options, folder, heap):
    """The programs, and whole commands, that take turns on a heap."""
    environment = {**(WARM if heap == "warm" else {}), **(WITHOUT_AVX512 if options.simd == "avx2" else {})}
    words = [str(folder), str(options.threads)] + (["fresh"] if heap == "cold" else []) + \
            (["avx2"] if options.simd == "avx2" else [])
    found = programs(options)
    running = {name: Program(command + words, environment) for name, command in found.items()}
    kestrel = str(pathlib.Path(options.build) / "apps" / "kestrel" / "kestrel")

    def whole(name):
        def command(job):
            _, key, source, target, ours = job
            files = [str(folder / source), str(folder / target)]
            if name == OURS:
                return [kestrel, "apply", *files, *ours, "--quiet", "--threads", str(options.threads)]
            return found[name] + ["job", key] + files
        return command

    shared = options.threads > 1
    commands = {name: Command(whole(name), shared) for name in found}
    return running, commands


def measure(contestants, row, times):
    """Minimum and median of the calls of each; all take turns. A first call warms up and does not count; who then shows
    to be far slower than another is not called again."""
    for program in contestants.values() if times > 1 else ():
        program.measure(row)
    seconds = {name: [program.measure(row)] for name, program in contestants.items()}
    fastest = min(taken[0] for taken in seconds.values())
    turns = {name: contestants[name] for name, taken in seconds.items() if taken[0] <= FAR_SLOWER * fastest}
    for _ in range(times - 1):
        for name, program in turns.items():
            seconds[name].append(program.measure(row))
    return {name: {"minimum": min(s), "median": statistics.median(s)} for name, s in seconds.items()}


def run(options, folder, heap, results, versions):
    running, commands = start(options, folder, heap)
    versions.update((name, program.version) for name, program in running.items())
    for group in ([running] if heap == "cold" else [running, commands]):
        for row in group[OURS].calls:
            wanted = re.search(options.only, row) if options.only else True
            peers = {name: program for name, program in group.items() if row in program.calls}
            if not wanted or (heap == "cold" and not row.startswith("line/")):
                continue
            times = options.times if len(peers) > 1 or options.ours else min(options.times, TIMES_ALONE)
            for name, figures in measure(peers, row, times).items():
                entry = results.setdefault(row, {}).setdefault(name, {"call": peers[name].calls[row]})
                entry[heap] = figures
                if isinstance(peers[name], Command):
                    entry["megabytes"] = peers[name].memory[row]
            if sys.stderr.isatty():
                print("\r" + f"{heap}: {row}"[:78].ljust(78), end="", file=sys.stderr, flush=True)
    for program in running.values():
        program.end()


def best_peer(entry, heap="warm"):
    """The fastest of the others, and how many times as long we take; nothing when we are alone."""
    peers = {name: e[heap]["minimum"] for name, e in entry.items() if name != OURS and heap in e}
    if not peers:
        return None, None
    name = min(peers, key=peers.get)
    return name, entry[OURS][heap]["minimum"] / peers[name]


def number(seconds):
    ms = seconds * 1e3
    return f"{ms:.0f}" if ms >= 100 else f"{ms:.1f}" if ms >= 1 else f"{ms:.4f}"


def cell(entry, name, heap="warm"):
    figures = entry.get(name, {}).get(heap)
    return f"{number(figures['minimum'])} / {number(figures['median'])}" if figures else ""


def groups(results):
    found = {}
    for row in results:
        found.setdefault(row.split("/")[0], []).append(row)
    for group in TITLES:
        if group in found:
            yield group, found[group]


def table(results, group, rows, extra):
    """Header and lines of a group. Rows where another library leads come first, where others are beside."""
    peers = [name for name in PEERS if any(name in results[row] for row in rows)]
    cold = any("cold" in results[row][OURS] for row in rows)
    memory = group == "command"
    columns = {name: results_of for name, results_of in extra.items() if any(row in results_of for row in rows)}
    header = [TITLES[group].lower(), OURS, *peers] + (["peer", "ours / peer"] if peers else [])
    header += ["cold: " + OURS, "cold: best peer"] if cold and peers else ["cold"] if cold else []
    header += list(columns) + (["MB: " + ", ".join([OURS, *peers])] if memory else [])
    if peers:
        rows = sorted(rows, key=lambda row: -(best_peer(results[row])[1] or 0))
    lines = []
    for row in rows:
        entry = results[row]
        line = [row.split("/", 1)[1], cell(entry, OURS), *(cell(entry, name) for name in peers)]
        if peers:
            name, ratio = best_peer(entry)
            call = entry[name]["call"] if name else ""
            line += [(f"{name}: {call}" if call else name or ""), f"{ratio:.2f}" if ratio else ""]
        if cold:
            line.append(number(entry[OURS]["cold"]["minimum"]) if "cold" in entry[OURS] else "")
            if peers:
                name, _ = best_peer(entry, "cold") if "cold" in entry[OURS] else (None, None)
                line.append(f"{number(entry[name]['cold']['minimum'])} ({name})" if name else "")
        for of in columns.values():
            line.append(number(of[row][OURS]["warm"]["minimum"]) if row in of else "")
        if memory:
            line.append(", ".join(str(entry[name]["megabytes"]) if name in entry else "-" for name in (OURS, *peers)))
        lines.append(line)
    return header, lines


def show(results, extra):
    for group, rows in groups(results):
        header, lines = table(results, group, rows, extra)
        widths = [max(len(line[i]) for line in [header, *lines]) for i in range(len(header))]
        print()
        for line in [header, *lines]:
            print("  ".join(text.ljust(w) if i == 0 else text.rjust(w)
                            for i, (text, w) in enumerate(zip(line, widths))).rstrip())


def machine():
    """The family of the CPU and its instruction sets, in general words."""
    flags = set()
    try:
        for line in open("/proc/cpuinfo"):
            if line.startswith("flags"):
                flags = set(line.split())
                break
    except OSError:
        pass
    sets = [name for name, flag in (("SSE4.2", "sse4_2"), ("AVX2", "avx2"), ("AVX-512", "avx512bw"),
                                    ("AVX-512 VBMI", "avx512vbmi")) if flag in flags]
    return f"{platform.machine()} with {', '.join(sets)}" if sets else platform.machine()


DOCUMENT = """# Performance

Written by `./dev bench --write-docs`; do not edit. `./dev bench` measures the same anew, `./dev bench --only PATTERN` a
part of it.

Each row is one piece of work in Kestrel and in the other libraries, called as their best users call them. The calls
take turns on one pinned core, one thread each. Figures are milliseconds of CPU time over a picture of {width} x {height}
pixels: the minimum and the median of {times} calls, of {alone} where Kestrel is alone, and of one where another library
is {slower} times as fast. Kestrel's times are those of a line of one filter from a source to a sink, with its mask; the
bytes are those of the plain rule on every machine. The others keep their results between calls where they can, and all
heaps keep their pages; "cold" is the same on a heap as a program starts with, every result in new memory. Rows in which
another library leads stand first. The last columns are Kestrel's minimum with the instruction sets up to AVX2 only, and
the time that passes with two threads. The JPEG files of the rows for files have quality 92 and half of the color's lines
and columns (4:2:0), the PNG files the usual compression.

Whole commands go from file to file: Kestrel's program, and programs that were written with the other libraries for the
job, which decode JPEG files reduced where they can. They start with an ordinary heap; the figures are CPU time and the
largest memory. They write JPEG files with all of the color (4:4:4), but for OpenCV, which writes 4:2:0.

Machine: {machine}. Versions: {versions}.
A plain copy of the picture's bytes took {copy} ms.
"""


def document(options, results, versions, extra):
    text = DOCUMENT.format(times=options.times, alone=min(options.times, TIMES_ALONE), slower=FAR_SLOWER, width=SIZE[0],
                           height=SIZE[1], machine=machine(), versions=", ".join(versions.values()),
                           copy=cell(results["line/copy"], OURS))
    for group, rows in groups(results):
        header, lines = table(results, group, rows, extra)
        text += f"\n## {TITLES[group]}\n\n| {' | '.join(header)} |\n|{'---|' * len(header)}\n"
        text += "".join(f"| {' | '.join(line)} |\n" for line in lines)
    pathlib.Path(options.write_docs).write_text(text)


def read_options(words):
    parser = argparse.ArgumentParser(prog="./dev bench", description="Measures Kestrel beside other libraries.")
    parser.add_argument("--only", metavar="PATTERN", help="rows whose group/name has this, such as line/ or 'encode png'")
    parser.add_argument("--heap", choices=("warm", "cold", "both"), default="both")
    parser.add_argument("--threads", type=int, default=1, help="for lines that several may share; tells elapsed time")
    parser.add_argument("--simd", choices=("avx2",), help="no instruction set above this one")
    parser.add_argument("--ours", action="store_true", help="without the other libraries")
    parser.add_argument("--times", type=int, default=7, help="calls of each [7]")
    parser.add_argument("--json", metavar="FILE", help="write the figures, too; - is standard output, without the text")
    parser.add_argument("--write-docs", nargs="?", const=str(HERE.parent / "docs" / "performance.md"), metavar="FILE",
                        help="measure all, also on AVX2 and with two threads, and write docs/performance.md")
    parser.add_argument("--dry", action="store_true", help="everything once over a picture of a few pixels")
    parser.add_argument("--build", default=str(HERE.parent / "build" / "release"), help=argparse.SUPPRESS)
    options = parser.parse_args(words)
    if options.write_docs and options.only:
        parser.error("--write-docs measures all rows")
    return options


def measure_all(options, folder):
    cores = sorted(os.sched_getaffinity(0))
    os.sched_setaffinity(0, cores[-options.threads:])
    results, versions = {}, {}
    for heap in (["warm", "cold"] if options.heap == "both" else [options.heap]):
        run(options, folder, heap, results, versions)
    os.sched_setaffinity(0, cores)
    if sys.stderr.isatty():
        print("\r" + " " * 78 + "\r", end="", file=sys.stderr)
    return results, versions


def part(options, **changes):
    """Kestrel's figures for the operations under other conditions."""
    return argparse.Namespace(**{**vars(options), "only": "^(line|command)/", "heap": "warm", "ours": True, **changes})


def main(words):
    options = read_options(words)
    if options.dry:
        options.times = 1
    with tempfile.TemporaryDirectory(prefix="kestrel-bench-") as name:
        folder = pathlib.Path(name)
        width, height = SMALL if options.dry else SIZE
        maker = pathlib.Path(options.build) / "bench" / "bench_kestrel"
        subprocess.run([str(maker), "make", name, str(width), str(height)], check=True)
        results, versions = measure_all(options, folder)
        extra = {}
        if options.write_docs:
            extra = {"AVX2": measure_all(part(options, simd="avx2", only="^line/"), folder)[0],
                     "2 threads": measure_all(part(options, threads=2), folder)[0]}
    if not results:
        raise SystemExit(f"bench: no row has {options.only!r}")
    if options.json:
        whole = json.dumps({"machine": machine(), "versions": versions, "seconds": results}, indent=1)
        if options.json == "-":
            print(whole)
            return
        pathlib.Path(options.json).write_text(whole + "\n")
    show(results, extra)
    print("\nmilliseconds, minimum / median; " + ("elapsed" if options.threads > 1 else "CPU") + " time")
    if options.write_docs:
        document(options, results, versions, extra)


if __name__ == "__main__":
    main(sys.argv[1:])
