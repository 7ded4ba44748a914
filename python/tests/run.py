"""Tests a wheel, or the one that it makes around a library: installs it into an empty folder, checks its types with
mypy and runs pytest beside it, not on the source tree.

    python3 run.py PROGRAM WORK_FOLDER WHEEL_OR_LIBRARY

PROGRAM is what the package's results are held against. Status 77 where Debian's packages for it are not installed.
"""
import importlib.util
import os
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
NEEDED = ("build", "matplotlib", "mypy", "numpy", "pip", "pytest", "setuptools", "wheel")


def run(*command, **options):
    done = subprocess.run(list(map(str, command)), **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit status {done.returncode}")


missing = [name for name in NEEDED if importlib.util.find_spec(name) is None]
if missing:
    print(f"not installed for {sys.executable}: {', '.join(missing)}; scripts/bootstrap tests installs them")
    sys.exit(77)
program, work, wheel = (Path(argument).resolve() for argument in sys.argv[1:])
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)
if wheel.suffix != ".whl":
    run(sys.executable, HERE.parent / "make_wheel.py", wheel, work)
    [wheel] = work.glob("*.whl")
installed = work / "installed"
run(sys.executable, "-m", "pip", "install", "--quiet", "--no-index", "--no-deps", "--target", installed, wheel,
    env=os.environ | {"PIP_ROOT_USER_ACTION": "ignore", "PIP_DISABLE_PIP_VERSION_CHECK": "1"})
run(sys.executable, "-m", "mypy", "--strict", "--cache-dir", work / "mypy", installed / "cali")
run(sys.executable, "-m", "pytest", "-q", "-W", "error", "-p", "no:cacheprovider", "--basetemp", work / "pytest",
    HERE, cwd=work, env=os.environ | {"CALI_PROGRAM": str(program), "PYTHONPATH": str(installed),
                                      "PYTHONDONTWRITEBYTECODE": "1", "MPLCONFIGDIR": str(work)})
