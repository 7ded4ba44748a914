#!/usr/bin/env python3
"""Runs every example of README.md, docs/guide.md and the help texts on simulated captures under the names that they
use. Arguments: the program, the source tree, and a folder to work in, which goes again.

Of documents: blocks ```sh, in order and in one folder. Before a block, `<!-- not run: WHY -->` leaves it out, and
`<!-- exit status N -->` tells what its commands end with, in place of 0. Blocks without a language, indented ones too,
are refused: nobody could tell whether they are to be run. Of help texts: the lines under "Examples:", each in a fresh
folder."""
import json
import os
import re
import shutil
import subprocess
import sys

program, source, work = map(os.path.abspath, sys.argv[1:])
failures = []
shutil.rmtree(work, ignore_errors=True)
os.makedirs(f"{work}/bin")
os.symlink(program, f"{work}/bin/cali")
os.environ["PATH"] = f"{work}/bin" + os.pathsep + os.environ["PATH"]
STOCK = f"{work}/stock"


def cali(line, folder):
    done = subprocess.run(["cali", *line.split()], cwd=folder, capture_output=True, text=True, errors="replace")
    if done.returncode != 0:
        sys.exit(f"cali {line}, to prepare: exit status {done.returncode}, expected 0\n{done.stderr[-2000:]}")


def pgm(file):
    """Width, height, and rows as bytes."""
    with open(file, "rb") as stream:
        data = stream.read()
    head = re.match(rb"P5\s(\d+)\s(\d+)\s\d+\s", data)
    width, height = int(head[1]), int(head[2])
    rows = data[head.end():]
    return width, height, [rows[2 * width * y:2 * width * (y + 1)] for y in range(height)]


def framed(source_file, target, left, top, width, height):
    """The capture amid a black frame; even offsets keep the mosaic."""
    inner_width, _, rows = pgm(source_file)
    dark = (64).to_bytes(2, "big")
    right = width - left - inner_width
    body = [dark * width] * top + [dark * left + row + dark * right for row in rows]
    body += [dark * width] * (height - len(body))
    with open(target, "wb") as stream:
        stream.write(b"P5\n%d %d\n4095\n" % (width, height) + b"".join(body))


def padded(source_file, target, row, stride):
    with open(source_file, "rb") as stream, open(target, "wb") as out:
        while data := stream.read(row):
            out.write(data + bytes(stride - row))


def reference_csv(results, target):
    """The built-in table as a measurement of it: sRGB primaries, D65."""
    to_xyz = ((0.4124, 0.3576, 0.1805), (0.2126, 0.7152, 0.0722), (0.0193, 0.1192, 0.9505))
    with open(results) as stream:
        values = json.load(stream)["colour_matrix"][0]["patches"]["reference"]
    with open(target, "w") as out:
        out.write("# white D65, observer 2, scale 1\npatch,X,Y,Z\n")
        for patch in range(24):
            colour = values[patch]
            xyz = [sum(factor * value for factor, value in zip(row, colour)) for row in to_xyz]
            out.write(f"{patch + 1}," + ",".join(f"{value:.6f}" for value in xyz) + "\n")


def put(names, folder):
    """Copies of files and folders of the stock, as links: the program replaces files, it does not write into them."""
    for name, origin in names.items():
        target = f"{folder}/{name}"
        shutil.rmtree(target, ignore_errors=True)
        if os.path.lexists(target):
            os.remove(target)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        if os.path.isdir(f"{STOCK}/{origin}"):
            shutil.copytree(f"{STOCK}/{origin}", target, copy_function=os.link)
        else:
            os.link(f"{STOCK}/{origin}", target)


def make_stock():
    os.makedirs(STOCK)
    common = "--illuminants 2850 5000 6500 --series-levels 4"
    for line in (f"simulate rggb --seed 1 {common}",
                 f"simulate bggr --seed 2 --pattern BGGR {common}",
                 f"simulate scene --seed 3 --chart perspective {common}",
                 f"simulate other --seed 4 --chart perspective --format raw --illuminants 2850 6500 --series-levels 0",
                 f"simulate dng --seed 5 --chart perspective --format dng --pattern BGGR {common}",
                 f"simulate raw10 --seed 6 --format mipi --bits 10 --chart perspective {common}",
                 "simulate small --seed 7 --size 332x262 --format pgm --illuminants 5000 --series-levels 0"):
        cali(line, STOCK)
    for folder in ("rggb", "scene", "dng"):
        cali(f"calibrate {folder}/session.toml", STOCK)
        shutil.move(f"{STOCK}/{folder}/results.json", f"{STOCK}/{folder}.json")
    for folder in ("scene", "dng", "raw10"):
        os.remove(f"{STOCK}/{folder}/session.toml")
    for step in ("blc rggb/dark_1.raw", "lsc rggb/flat_5000K.raw", "awb rggb/grey_5000K.raw"):
        cali(f"{step} --session rggb/session.toml --results one_light.json", STOCK)
    cali("ccm rggb/chart_5000K.raw --session rggb/session.toml --illuminant 5000 --values rggb.json --results ccm.json",
         STOCK)
    put({"calibrated": "rggb", "calibrated/results.json": "rggb.json"}, STOCK)
    for folder in ("rggb", "bggr"):
        os.makedirs(f"{STOCK}/{folder}_series")
        for name in os.listdir(f"{STOCK}/{folder}"):
            if re.fullmatch(r"series_.*\.raw", name):
                os.link(f"{STOCK}/{folder}/{name}", f"{STOCK}/{folder}_series/{name}")
    # The guide's name for the brightness series.
    os.makedirs(f"{STOCK}/named")
    for name in os.listdir(f"{STOCK}/scene"):
        if name.endswith(".raw"):
            os.link(f"{STOCK}/scene/{name}", f"{STOCK}/named/{name.replace('series', 'noise')}")
    framed(f"{STOCK}/small/chart_5000K.pgm", f"{STOCK}/framed.pgm", 40, 40, 412, 342)
    padded(f"{STOCK}/raw10/dark_1.raw", f"{STOCK}/padded.raw", 2400, 2432)
    reference_csv(f"{STOCK}/rggb.json", f"{STOCK}/reference.csv")
    for unit in (1, 2):
        cali(f"simulate line7/unit_{unit} --seed {unit} --size 640x480 --format raw --illuminants 5000 --series-levels 0",
             STOCK)
    cali("calibrate line7/unit_1 line7/unit_2 --out tuned", STOCK)
    cali("export rggb.json --format rpi-pisp --out imx.json", STOCK)
    with open(f"{STOCK}/units.txt", "w") as out:
        out.write("golden.json\nunit_17.json\n")
    with open(f"{STOCK}/line.toml", "w") as out:
        out.write("[diff]\ngain = [2, 5]\n")


HELP_FILES = {
    "shots": "calibrated", "DIR": "dng", "series": "rggb_series",
    "dark.raw": "rggb/dark_1.raw", "flat.raw": "rggb/flat_5000K.raw", "grey.raw": "rggb/grey_5000K.raw",
    "grey.pgm": "rggb/grey_5000K.pgm", "chart.raw": "scene/chart_5000K.raw", "chart.pgm": "rggb/chart_5000K.pgm",
    "dark.pgm": "rggb/dark_1.pgm", "dark_1.pgm": "rggb/dark_1.pgm", "dark_2.pgm": "rggb/dark_2.pgm",
    "dark_1.dng": "dng/dark_1.dng", "dark_2.dng": "dng/dark_2.dng", "my_chart.csv": "reference.csv",
    "ccm.json": "ccm.json", "golden.json": "rggb.json", "unit_17.json": "scene.json",
    "line7": "line7", "tuned": "tuned", "imx.json": "imx.json", "line.toml": "line.toml", "units.txt": "units.txt", "session.toml": "rggb/session.toml",
    "l1_1.pgm": "rggb/series_1_1.pgm", "l1_2.pgm": "rggb/series_1_2.pgm",
    "l2_1.pgm": "rggb/series_3_1.pgm", "l2_2.pgm": "rggb/series_3_2.pgm",
}
# What single examples mean by a name.
OTHERWISE = (
    ("cali init shots &&", {"shots": "dng"}),
    ("cali init shots --size 1920x1080 --pattern RGGB --bits 10", {"shots": "raw10"}),
    ("--packing raw10 --stride-bytes 2432", {"dark.raw": "padded.raw"}),
    ("--corners 40 40 370 38", {"chart.pgm": "framed.pgm"}),
    ("--reference my_chart.csv", {"chart.pgm": "scene/chart_5000K.pgm", "results.json": "one_light.json"}),
    ("cali verify", {"results.json": "rggb.json"}),
    ("cali simulate", None),
)
DOCUMENT_FILES = {
    "README.md": {
        "shots": "dng", "dark.raw": "bggr/dark_1.raw", "flat.raw": "bggr/flat_5000K.raw",
        "grey.raw": "bggr/grey_5000K.raw", "chart.pgm": "bggr/chart_5000K.pgm", "series_folder": "bggr_series",
        "golden.json": "dng.json",
    },
    "docs/guide.md": {
        "shots": "named", "another_grey.raw": "other/grey_2850K.raw", "another_chart.raw": "other/chart_6500K.raw",
        "golden.json": "rggb.json", "unit_0815.json": "scene.json",
    },
}


def run(where, command, folder, expected=0):
    done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=folder, stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace")
    if done.returncode != expected:
        tail = "\n    ".join(done.stdout.splitlines()[-25:])
        failures.append(f"{where}: {command}: exit status {done.returncode}, expected {expected}\n    {tail}")


def help_examples():
    text = subprocess.run(["cali", "--help"], capture_output=True, text=True, check=True).stdout
    commands = re.findall(r"^  ([a-z-]+) ", text.split("Subcommands:")[1].split("\n\n")[0], re.M)
    yield from (("cali --help", line) for line in re.findall(r"^  (cali .*)$", text, re.M))
    for command in commands:
        text = subprocess.run(["cali", command, "--help"], capture_output=True, text=True, check=True).stdout
        examples = re.search(r"^Examples:\n((?:  \S.*\n)+)", text, re.M)
        if not examples:
            failures.append(f"cali {command} --help: no example")
            continue
        yield from ((f"cali {command} --help", line.strip()) for line in examples[1].splitlines())


def blocks(name, text):
    """Line, mark and commands of each block to run; what is neither run nor marked is a failure."""
    fence, start, mark, body, before = None, 0, "", [], ""
    for number, line in enumerate(text.splitlines(), 1):
        if fence is None and line.startswith("```"):
            fence, start, body = line[3:].strip(), number, []
            if not fence:
                failures.append(f"{name}:{number}: a block without a language, expected ```sh or another")
        elif fence is not None and line.startswith("```"):
            if fence == "sh":
                yield start, mark, "\n".join(body).replace("\\\n", "").splitlines()
            fence, mark = None, ""
        elif fence is not None:
            body.append(line)
        elif line.startswith("<!--"):
            mark = line
        else:
            mark = mark if not line else ""
            if line.startswith("    ") and not before.strip():
                failures.append(f"{name}:{number}: an indented block, expected ```sh or another language")
        before = line
    if fence is not None:
        failures.append(f"{name}:{start}: the block does not end")


make_stock()
count = 0
for where, line in help_examples():
    folder = f"{work}/{count}"
    os.makedirs(folder)
    count += 1
    files = dict(HELP_FILES)
    for part, others in OTHERWISE:
        if part in line:
            files = {} if others is None else files | others
    put(files, folder)
    run(where, line, folder)
    shutil.rmtree(folder)

for name, files in DOCUMENT_FILES.items():
    folder = f"{work}/{os.path.basename(name)}"
    os.makedirs(f"{folder}/build/release/host")
    os.symlink(program, f"{folder}/build/release/host/cali")
    put(files, folder)
    with open(f"{source}/{name}") as stream:
        text = stream.read()
    ran = 0
    for start, mark, commands in blocks(name, text):
        if mark.startswith("<!-- not run: "):
            continue
        status = re.fullmatch(r"<!-- exit status (\d+) -->", mark)
        if mark and not status:
            failures.append(f"{name}:{start}: '{mark}', expected '<!-- not run: WHY -->' or '<!-- exit status N -->'")
        for command in commands:
            run(f"{name}:{start}", command, folder, int(status[1]) if status else 0)
            ran += 1
    if ran == 0:
        failures.append(f"{name}: no example")
    count += ran

shutil.rmtree(work)
print("\n".join(failures) or f"{count} examples run")
sys.exit(bool(failures))
