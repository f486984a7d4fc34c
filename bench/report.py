#!/usr/bin/env python3
"""Sums up what scripts/bench measured: medians over the rounds and their ratios, against the goals.

report.py OUT: reads OUT/rounds/*.json, writes OUT/report.json and OUT/report.txt and prints the latter.
"""
import collections
import datetime
import json
import pathlib
import statistics
import subprocess
import sys

SIZES = ["320x240", "640x480", "1280x1024"]
JUDGED = SIZES[1:]


def processor():
    """Model and caches, as lscpu tells them."""
    text = subprocess.run(["lscpu"], capture_output=True, text=True, check=True).stdout
    fields = dict(line.split(":", 1) for line in text.splitlines() if ":" in line)
    wanted = ["Model name", "CPU(s)", "L1d cache", "L2 cache", "L3 cache"]
    return {name: fields[name].strip() for name in wanted if name in fields}


def read_rounds(folder):
    """Benchmarks by name, figure by figure, each the median of the rounds; and the programs' own figures."""
    series = collections.defaultdict(lambda: collections.defaultdict(list))
    for path in sorted(folder.glob("*.json")):
        content = json.loads(path.read_text())
        for entry in content.get("benchmarks", []):
            name = entry["name"].split("/iterations:")[0]
            for key, value in entry.items():
                if key in ("ns_per_pixel", "fps") or key.startswith("stage: "):
                    series[name][key].append(value)
        for key, value in content.get("figures", {}).items():
            series["figure"][key].append(value)
    return {name: {key: statistics.median(values) for key, values in figures.items()}
            for name, figures in series.items()}


class Report:
    def __init__(self, measured):
        self.measured = measured
        self.lines = []
        self.goals = []

    def value(self, name, key="ns_per_pixel"):
        return self.measured.get(name, {}).get(key)

    def goal(self, text, value, limit, unit, least=False):
        """One line of the comparison. limit: the largest value, or the smallest one."""
        if value is None:
            return
        met = value >= limit if least else value <= limit
        self.goals.append({"goal": text, "value": value, "limit": limit, "unit": unit, "met": met})

    def ratios(self):
        for size in JUDGED:
            ours = f"frame/linear/{size}/units:1"
            theirs = f"opencv/best/{size}/units:1"
            if self.value(ours) is None or self.value(theirs) is None:
                continue
            self.goal(f"whole frame {size}, OpenCV's time / ours", self.value(theirs) / self.value(ours), 2.3, "x", True)
            stages = [("flat field", ["flat field"], 4.0), ("statistics", ["extremes and mean", "histogram"], 4.0),
                      ("colourise", ["colourise"], 2.7)]
            for name, parts, least in stages:
                both = [sum(self.value(way, f"stage: {part}") for part in parts)
                        for way in (theirs, theirs.replace("best", "usual"))]
                self.goal(f"{name} {size}, OpenCV's time / ours",
                          min(both) / self.value(ours, f"stage: {name}"), least, "x", True)
        fps = self.value("frame/default/640x480/units:1", "fps")
        if fps:
            self.goal("default settings 640x480, whole frame", 1000.0 / fps, 4.0, "ms")

    def figures(self):
        known = [("live_640x480_60Hz_cpu_percent", 7.5, False), ("live_1280x1024_30Hz_cpu_percent", 13.0, False),
                 ("cameras_640x480_60Hz", 13, True), ("handover_640x480_median_ms", 1.3, False),
                 ("handover_640x480_99_percent_ms", 2.5, False), ("handover_1280x1024_median_ms", 5.0, False),
                 ("handover_1280x1024_99_percent_ms", 8.0, False), ("pool_two_tasks_ratio", 1.3, False),
                 ("resident_MiB_per_extra_camera", 24.0, False), ("start_ms", 60.0 + 2 * 1000.0 / 60.0, False)]
        for key, limit, least in known:
            self.goal(key.replace("_", " "), self.value("figure", key), limit, "", least)

    def table(self):
        """All benchmarks: a row per name and number of units, ns per pixel by size."""
        rows = collections.OrderedDict()
        for name in self.measured:
            parts = name.split("/")
            if len(parts) == 4:
                rows.setdefault((parts[0], parts[1], parts[3]), {})[parts[2]] = self.measured[name]
        self.lines.append(f"{'ns per pixel (frames per second)':42}" + "".join(f"{size:>20}" for size in SIZES))
        for (kind, name, units), sizes in sorted(rows.items()):
            cells = [f"{sizes[s]['ns_per_pixel']:9.3f} ({sizes[s]['fps']:7.0f})" if s in sizes else "" for s in SIZES]
            self.lines.append(f"{kind + ' ' + name + ', ' + units:42}" + "".join(f"{cell:>20}" for cell in cells))

    def stages(self):
        for name in ["frame/linear", "frame/default", "opencv/best"]:
            entry = self.measured.get(f"{name}/640x480/units:1")
            if not entry:
                continue
            self.lines += ["", f"{name} at 640x480, one unit, by stage (ns per pixel)"]
            self.lines += [f"  {key[7:]:24}{value:8.3f}" for key, value in entry.items() if key.startswith("stage: ")]

    def write(self, folder):
        self.ratios()
        self.figures()
        machine = processor()
        self.lines += [f"{datetime.date.today()}  {machine.get('Model name', 'unknown processor')}", ""]
        self.table()
        self.stages()
        if "figure" in self.measured:
            self.lines += ["", "figures"]
            self.lines += [f"  {key:44}{value:12.3f}" for key, value in self.measured["figure"].items()]
        self.lines += ["", "goals"]
        for goal in self.goals:
            relation = "met" if goal["met"] else "MISSED"
            self.lines.append(f"  {goal['goal']:52}{goal['value']:9.2f}{goal['unit']:3} goal {goal['limit']:6.2f}  {relation}")
        content = {"date": str(datetime.date.today()), "processor": machine, "medians": self.measured,
                   "goals": self.goals}
        (folder / "report.json").write_text(json.dumps(content, indent=1) + "\n")
        text = "\n".join(self.lines) + "\n"
        (folder / "report.txt").write_text(text)
        print(text, end="")


def main():
    folder = pathlib.Path(sys.argv[1])
    measured = read_rounds(folder / "rounds")
    if not measured:
        sys.exit("report.py: nothing was measured")
    Report(measured).write(folder)


if __name__ == "__main__":
    main()
