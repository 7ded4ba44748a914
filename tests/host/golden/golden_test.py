#!/usr/bin/env python3
"""What the program makes of simulated sessions, good and bad, is what it made before: every text, figure and file, by
digests in digests.txt beside this. scripts/update-golden alone writes them. Arguments: the program, and a folder in which
everything is left, to be compared with that of another build; "--first" ends with the first scene that differs."""
import base64
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import zlib

DIGESTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "digests.txt")
WRONG = os.path.join(os.path.dirname(DIGESTS), "wrong")  # documents that are refused, and sessions that hold hardly anything
LIGHTS = "--illuminants 2850 4000 6500"
FORMS = ["registers --illuminant 4000 --gain 1", "header --illuminant 2850 --gain 4", "cube --illuminant 6500", "csv",
         "rpi-bcm2835", "rpi-pisp", "rkisp1", "dng", "ti3 --illuminant 4000"]
FAULTS = """light-leak saturated-dark=1 defects column dark-drift tilt dust smear flat-clipping grey-clipping chart-clipping
    flat-dim grey-dim chart-dim grey-light=5600 grey-on-chart shading-by-light chart-shift chart-mirrored wrong-light flicker
    series-clipping burst-flicker""".split()

# Name: commands; what they print and write is told apart by it.
SCENES = {
    "whole": [
        f"simulate whole --size 320x240 --seed 3 --format raw {LIGHTS} --gains 1 4 --burst 2 --bend 0.4 --axis 9 -5",
        "check whole/session.toml",
        "calibrate whole/session.toml --registers --corrected --pictures --tables --report whole/report.html"
        " --log whole/library.log",
        "show whole/results.json",
        "verify whole/flat_4000K_g1_1.raw --session whole/session.toml --results whole/results.json --out whole/flat.pgm",
        "verify whole/grey_2850K_g1_2.raw --session whole/session.toml --results whole/results.json --out whole/grey.raw",
        "verify whole/chart_6500K_g1_1.raw --session whole/session.toml --results whole/results.json",
        *(f"export whole/results.json --format {form}" for form in FORMS),
        "export whole/results.json --format rpi-pisp --out whole/tuning.json",
        "validate whole/tuning.json",
    ],
    "found": [  # by names, in packed files, with a chart somewhere in the picture
        "simulate found --size 640x480 --pattern GBRG --bits 10 --seed 8 --format mipi --names tuning --chart perspective"
        " --illuminants 3200 5200 --series-levels 0",
        "init found --overwrite --size 640x480 --pattern GBRG --bits 10 --packing raw10",
        "calibrate found/session.toml --json",
    ],
    "mono": ["simulate mono --size 200x160 --pattern MONO --bits 14 --seed 4 --format dng --illuminants 5000",
             "calibrate mono/session.toml", "export mono/results.json --format rkisp1"],
    "steps": [
        "simulate steps --size 320x240 --seed 6 --format pgm --illuminants 3000 4500 6000",
        "blc steps/dark_1.pgm steps/dark_2.pgm --pattern RGGB --results steps/r.json",
        *(f"{step} steps/{shot}_{light}K.pgm --illuminant {light} --results steps/r.json"
          for light in (3000, 4500, 6000)
          for step, shot in (("lsc --pattern RGGB", "flat"), ("awb --pattern RGGB", "grey"),
                             ("ccm --pattern RGGB", "chart"), ("clut --nodes 5", "chart"))),
        "awb-curve --results steps/r.json",
        "chart steps/chart_4500K.pgm --pattern RGGB --picture steps/found.png",
        "diff whole/results.json steps/r.json", "diff steps/r.json whole/results.json",
    ],
    "many": [  # one of them far off
        *(f"simulate many{unit} --size 64x48 --seed {unit} --dark-frames 2 --series-levels 0 --illuminants 5000"
          + " --fault light-leak" * (unit == 8) for unit in range(1, 9)),
        "calibrate many1 many2 many3 many4 many5 many6 many7 many8 --only blc,awb --out many",
        "report --list many/units.txt --out many/report.html",
    ],
    "texts": ["help --man", *(f"help --completion {shell}" for shell in ("bash", "zsh", "fish")),
              *(f"help {topic}" for topic in ("results verdict stale exposure luma registers pack uncertainty leave-one-out"
                                              " mired").split())],
    "partial": [  # hardly any values, and what there is of other files
        "simulate partial --size 128x96 --seed 9 --series-levels 0 --illuminants 5000",
        "calibrate partial/session.toml --only blc",
        *(f"export partial/results.json --format {form}" for form in FORMS),
        "verify partial/flat_5000K.raw --session partial/session.toml --results whole/results.json",
        "verify partial/flat_5000K.raw --session partial/session.toml --results whole/results.json --force",
        "verify partial/flat_5000K.raw --session partial/session.toml --results partial/results.json --stage black-level",
        "chart partial/chart_5000K.raw --session partial/session.toml --black-level partial/results.json",
        "chart partial/flat_5000K.raw --session partial/session.toml --page partial/pick.html",
        "check partial/session.toml", "help", "help nothing",
    ],
    "refused": [f"{'check' if name.endswith('.toml') else 'validate'} wrong/{name}" for name in sorted(os.listdir(WRONG))],
    "units": ["calibrate steps whole mono --only blc --out units --jobs 2", "summary units",
              "report steps/r.json whole/results.json --out units/report.html"],
    **{fault: [f"simulate {fault} --size 256x192 --seed 5 --format raw --illuminants 2850 5000 --series-levels 5 --burst 2"
               f" --fault {fault}", f"calibrate {fault}/session.toml"] for fault in FAULTS},
}


def rounded(number):
    """As far as every libm and compiler agree."""
    return f"{float(number):.6g}"


def pixels(png):
    """Its samples as they lie in the file; zlib's versions may pack them otherwise."""
    found, at = b"", 8
    while at < len(png):
        length = int.from_bytes(png[at:at + 4], "big")
        if png[at + 4:at + 8] == b"IDAT":
            found += png[at + 8:at + 8 + length]
        at += length + 12
    return zlib.decompress(found)


def plain(text):
    text = re.sub(r"<script>.*?</script>|<style>.*?</style>|sha256-[\w+/=]+", "", text, flags=re.DOTALL)
    text = re.sub(r"iVBORw0KGgo[\w+/=]+", lambda match: hashlib.sha256(pixels(base64.b64decode(match[0]))).hexdigest(), text)
    text = re.sub(r"\d+ of \d+: .*\n", "", text)  # progress: in the order of whoever is first
    text = re.sub(r"\b\d+\.\d+\.\d+\b", "", text)  # the program's version
    return re.sub(r"-?\d+\.\d+(?:[eE][-+]?\d+)?|-?\d+[eE][-+]?\d+", lambda match: rounded(match[0]), text)


def digest(content, name=""):
    if name.endswith(".png"):
        content = pixels(content)
    elif not name.endswith((".raw", ".pgm", ".dng")):
        content = plain(content.decode()).encode()
    return hashlib.sha256(content).hexdigest()[:12]


def digests_of_files(scene, folder):
    """One for each kind of file, but those of captures together, and results by their members."""
    kinds = {}
    for parent, _, names in os.walk(folder):
        for name in names:
            with open(os.path.join(parent, name), "rb") as file:
                content = file.read()
            if name in ("results.json", "r.json"):
                for member, value in json.loads(content).items():
                    if member not in ("schema", "cali_version"):
                        kinds.setdefault(f"{name} {member}", []).append(digest(json.dumps(value, sort_keys=True).encode()))
            else:
                kinds.setdefault("*" + os.path.splitext(name)[1], []).append(name + digest(content, name))
    for kind, found in sorted(kinds.items()):
        yield f"{scene} {kind}", digest(" ".join(sorted(found)).encode(), ".raw")


def scenes(program, folder):
    """The digests of one after the other."""
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(WRONG, os.path.join(folder, "wrong"))
    for scene, commands in SCENES.items():
        found, said = {}, []
        for command in commands:
            run = subprocess.run([program, *command.split()], cwd=folder, capture_output=True, text=True)
            said.append(f"$ {command}\n{run.stdout}{run.stderr}status {run.returncode}\n")
        with open(os.path.join(folder, f"{scene}.txt"), "w", encoding="utf-8") as file:
            file.writelines(said)
        for command, text in zip(commands, said):
            name = f"{scene}: {' '.join(word for word in command.split() if not word.startswith('--'))[:60]}"
            found[name] = digest((found.get(name, "") + text).encode())
        found.update(digests_of_files(scene, os.path.join(folder, scene)))
        yield found


def main():
    program, folder = map(os.path.abspath, sys.argv[1:3])
    if sys.argv[3:] == ["--update"]:
        with open(DIGESTS, "w", encoding="utf-8") as file:
            for found in scenes(program, folder):
                file.writelines(f"{value} {name}\n" for name, value in found.items())
        return 0
    with open(DIGESTS, encoding="utf-8") as file:
        expected = {name: value for value, name in (line.rstrip("\n").split(" ", 1) for line in file)}
    every, differ = {}, []
    for found in scenes(program, folder):
        every.update(found)
        differ += [name for name in found if expected.get(name) != found[name]]
        if differ and sys.argv[3:] == ["--first"]:
            break
    else:
        differ += [name for name in expected if name not in every]
    print(*(f"differs: {name}" for name in differ), f"{len(every)} digests, {len(differ)} differ; all is in {folder}", sep="\n")
    return 1 if differ else 0


sys.exit(main())
