#!/usr/bin/env python3
"""Manual page and completions hold every command and option that --help shows, groff reads the page without a word, and
the shells complete. Arguments: the program, and an empty folder to work in."""
import os
import pty
import re
import select
import subprocess
import sys
import time

program, folder = map(os.path.abspath, sys.argv[1:])
failures = []


def run(*arguments, text=None):
    done = subprocess.run(arguments, cwd=folder, input=text, capture_output=True, text=True)
    if done.returncode != 0 or done.stderr:
        failures.append(f"{' '.join(arguments)}: status {done.returncode}: {done.stderr}")
    return done.stdout


def hold(what, expected, found):
    if expected != found:
        failures.append(f"{what}: {found}, expected {expected}")


def contain(what, expected, text):
    if expected not in text:
        failures.append(f"{what}: no '{expected}'")


os.makedirs(f"{folder}/session folder", exist_ok=True)
open(f"{folder}/shot 1.raw", "w").close()
# As shells find the program.
os.environ["PATH"] = os.path.dirname(program) + os.pathsep + os.environ["PATH"]
texts = {"man": run(program, "help", "--man")}
for shell in ("bash", "zsh", "fish"):
    texts[shell] = run(program, "help", "--completion", shell)
    with open(f"{folder}/cali.{shell}", "w") as file:
        file.write(texts[shell])

# Every command's own part of each text.
commands = re.findall(r"^  ([a-z-]+) ", run(program, "--help").split("Subcommands:")[1].split("\n\n")[0], re.M)
if len(commands) < 10:
    failures.append(f"--help: {commands}, expected the program's commands")
page = texts["man"].replace("\\-", "-")
part = {
    "man": lambda name: re.search(rf"^\.SS {name}\n(.*?)^\.S[SH]", page, re.M | re.S),
    "bash": lambda name: re.search(rf"^        {name}\)\n(.*?)esac", texts["bash"], re.M | re.S),
    "zsh": lambda name: re.search(rf"^ +{name}\)\n(.*?);;$", texts["zsh"], re.M | re.S),
    "fish": lambda name: re.search(rf"((complete -c cali -n '__cali_runs {name}' .*\n)+)", texts["fish"]),
}
form = {
    "man": lambda option: rf"\\fB{option}\\fR",
    "bash": lambda option: rf"[' ]{option}[' ]",
    "zsh": lambda option: rf"\){option}[=[]|\*{option}[=[]",
    "fish": lambda option: " -l " + option[2:] + " " if option.startswith("--") else " -s " + option[1:] + " ",
}
for name in commands:
    names = r"^  (?:(-[a-z]),)?(--[a-z-]+)(?:\{false\})?(?:,(--[a-z-]+))?"
    listed = re.findall(names, run(program, name, "--help"), re.M)
    options = [option for group in listed for option in group if option]
    if len(options) < 2 and name != "help":
        failures.append(f"{name} --help: {options}, expected options")
    for kind, find in part.items():
        found = find(name)
        if not found:
            failures.append(f"{kind}: no {name}")
            continue
        for option in options:
            if not re.search(form[kind](option), found[1]):
                failures.append(f"{kind}: {name} has no {option}")

# The page: no warning, and what is typed comes out in characters that can be typed.
groff = ["groff", "-man", "-Tutf8", "-ww", "-P-cbou"]
shown = subprocess.run(groff, input=texts["man"], capture_output=True, text=True)
hold("groff -ww", (0, ""), (shown.returncode, shown.stderr))
plain = shown.stdout
for line in ("cali noise --level 'l1_*.pgm' --level 'l2_*.pgm' --pattern RGGB", "source <(cali help --completion bash)",
             "1st, by patch 1  +--------------------+ 2nd, by patch 6", "SEE ALSO", "EXIT STATUS", "ENVIRONMENT"):
    contain("the page", line, plain)
for line in plain.splitlines():
    if any(character in line for character in "\u2010\u2212\u2019\u2018"):
        failures.append(f"the page: '{line}' has a character that nobody types")

# bash, as readline calls it.
BASH = r"""
source cali.bash
line=$1 words=()
COMP_WORDS=($line)
[[ $line != *" " ]] || COMP_WORDS+=("")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_cali
printf '%s\n' "${COMPREPLY[@]}"
"""
CASES = [
    ("cali cal", ["calibrate"]),
    ("cali awb", ["awb", "awb-curve"]),
    ("cali clut --domain ", ["hsv", "rgb"]),
    ("cali clut --domain = h", ["hsv"]),
    ("cali calibrate --only blc,l", ["blc,lsc"]),
    ("cali calibrate --job", ["--jobs"]),
    ("cali blc shot", ["shot 1.raw"]),
    ("cali blc --log s", ["session folder", "shot 1.raw"]),
    ("cali init s", ["session folder"]),
    ("cali help ver", ["verdict"]),
    ("cali help --completion z", ["zsh"]),
    ("cali simulate x --seed ", [""]),
]
for line, expected in CASES:
    hold(f"bash: {line}", expected, sorted(run("bash", "-c", BASH, "bash", line).split("\n")[:-1]))

# fish: the first word of each line, without blanks escaped.
for line, expected in CASES:
    if " = " in line or line.endswith(" --seed "):
        continue
    found = run("fish", "--no-config", "-c", f"source cali.fish; complete -C '{line}'")
    words = [word.split("\t")[0].rstrip("/").replace("\\ ", " ") for word in found.splitlines()]
    hold(f"fish: {line}", expected, sorted(words))


def zsh(line, expected):
    """Types the line and a tabulator into a terminal and waits for the word."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.chdir(folder)
        os.environ.update(TERM="dumb", ZDOTDIR=folder)
        os.execvp("zsh", ["zsh", "-f", "-i"])
    screen = ""

    def wait_for(what):
        nonlocal screen
        until = time.monotonic() + 60
        while not re.search(what, screen) and time.monotonic() < until:
            if select.select([terminal], [], [], 0.2)[0]:
                try:
                    screen += os.read(terminal, 4096).decode(errors="replace")
                except OSError:
                    return

    os.write(terminal, b"PS1=; autoload -U compinit; compinit -u -D; source cali.zsh; print rea''dy\n")
    wait_for(r"ready")
    screen = ""
    os.write(terminal, line.encode() + b"\t")
    wait_for(re.escape(expected))
    if expected not in screen:
        failures.append(f"zsh: {line}: {screen!r}, expected {expected!r}")
    os.kill(pid, 9)
    os.waitpid(pid, 0)
    os.close(terminal)


run("zsh", "-n", "cali.zsh")
for line, expected in (("cali cal", "calibrate"), ("cali calibrate --job", "--jobs"), ("cali clut --domain h", "hsv"),
                       ("cali calibrate x --only blc,l", "blc,lsc"), ("cali blc shot", "shot\\ 1.raw"),
                       ("cali help verd", "verdict")):
    zsh(line, expected)

print("\n".join(failures) or f"{len(commands)} commands in four texts, completed by three shells")
sys.exit(bool(failures))
