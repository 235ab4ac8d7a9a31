"""The rows that the programs print, and what is made of them: a table, JSON, a document."""
import datetime
import os
import pathlib
import re
import shutil
import subprocess

clients = ["raw", "library", "curl", "sushy", "redfishtool"]
others = [client for client in clients if client != "raw"]


class Row:
    """measure, unit, "side value"..., target, verdict, with tabs between them."""

    def __init__(self, line):
        self.measure, self.unit, *sides, self.target, self.verdict = line.split("\t")
        self.sides = dict(side.split(" ") for side in sides)  # as text: with the program's own number of digits

    def cost(self, client):
        """How many times as much as libcurl alone it takes; of what is the better the more there is, the reverse."""
        if client not in self.sides or float(self.sides.get("raw", 0)) <= 0 or float(self.sides[client]) <= 0:
            return None
        ratio = float(self.sides[client]) / float(self.sides["raw"])
        return 1 / ratio if self.unit.endswith("/s") else ratio

    def as_json(self):
        return {"measure": self.measure, "unit": self.unit, "target": self.target, "verdict": self.verdict,
                "sides": {side: float(value) for side, value in self.sides.items()},
                "costBesideRaw": {client: self.cost(client) for client in others if self.cost(client)}}


def output(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def version_of(package):
    return output("/usr/bin/python3", "-c", f"import importlib.metadata as m; print(m.version('{package}'))") or "unknown"


def versions():
    """Of the clients that others wrote; empty where one is not installed."""
    return {"curl": " ".join(output("curl", "--version").split()[1:2]),
            "sushy": output("/usr/bin/python3", "-c", "from sushy import auth; print(1)") and version_of("sushy"),
            "redfishtool": shutil.which("redfishtool") and version_of("redfishtool")}


def absent():
    return [client for client, version in versions().items() if not version]


def line_of(file, name):
    found = re.search(rf"^{name}\s*[:=]\s*(.*)$", pathlib.Path(file).read_text(), re.MULTILINE)
    return found.group(1).strip('"') if found else "unknown"


def machine(top, loads, effort):
    commit = output("git", "-C", top, "describe", "--always", "--dirty") or "unknown"
    memory = int(line_of("/proc/meminfo", "MemTotal").split()[0]) / (1 << 20)
    return {"date": datetime.date.today().isoformat(), "commit": commit,
            "processor": f"{os.cpu_count()} x {line_of('/proc/cpuinfo', 'model name')}", "memory": f"{memory:.1f} GiB",
            "system": f"{line_of('/etc/os-release', 'PRETTY_NAME')}, Linux {os.uname().release}",
            "libcurl": output("pkg-config", "--modversion", "libcurl") or "unknown",
            "OpenSSL": output("pkg-config", "--modversion", "openssl") or "unknown",
            "load average": f"{loads[0]:.1f} before, {loads[1]:.1f} after; {os.cpu_count()} processors", "rounds": f"{effort} %",
            **{client: version or "not installed" for client, version in versions().items()}}


def cells(rows):
    """Ratios first, then figures: a header and lines of texts."""
    missing = absent()

    def cell(row, client, text):
        return text if text is not None else "absent" if client in missing and "raw" in row.sides else "-"

    yield ["measure", *(client + "/raw" for client in others), "unit", *clients, "target", ""]
    for row in rows:
        ratios = [cell(row, client, row.cost(client) and f"{row.cost(client):.3g}") for client in others]
        figures = [cell(row, client, row.sides.get(client)) for client in clients]
        yield [row.measure, *ratios, row.unit, *figures, row.target, row.verdict]


def table(rows):
    lines = list(cells(rows))
    widths = [max(len(line[i]) for line in lines) for i in range(len(lines[0]))]
    return "\n".join("  ".join(text.ljust(width) if i in (0, len(others) + 1) else text.rjust(width)
                               for i, (text, width) in enumerate(zip(line, widths))).rstrip() for line in lines) + "\n"


def markdown(rows):
    header, *lines = ("| " + " | ".join(line) + " |" for line in cells(rows))
    return "\n".join([header, "|---|" + "---:|" * (len(others) + len(clients) + 3), *lines])


def document(rows, facts, file, svg):
    effort = "" if facts["rounds"] == "100 %" else " --effort " + facts["rounds"].split()[0]
    return f"""# Benchmarks

The last run of

    bench/run{effort} --document docs/{file.name}

which writes this file and its chart. [bench/README.md](../bench/README.md) says what each measure is and what stands on
each side; a figure without its machine says nothing, and one of a busy machine says little.

![What each client takes, as a multiple of libcurl alone]({os.path.relpath(svg, file.parent)})

A ratio is what a client takes as a multiple of what libcurl alone takes: 1.02 is two percent more. `-` is what a client
does not do, `absent` one that was not installed; `over` is a target that the library missed.

{markdown(rows)}

| | |
|---|---|
""" + "".join(f"| {name} | {value} |\n" for name, value in facts.items())
