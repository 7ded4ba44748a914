"""A session of a simulated sensor that the program has calibrated: CALI_PROGRAM names it."""
import os
import subprocess
import sys
from pathlib import Path
from types import SimpleNamespace

import pytest

import cali

EXAMPLES = Path(__file__).parents[1] / "examples"
sys.path.insert(0, str(EXAMPLES))
import calibrate_session  # noqa: E402


@pytest.fixture(scope="session")
def demo(tmp_path_factory):
    folder = tmp_path_factory.mktemp("session") / "demo"
    folder.mkdir()

    def program(line):
        subprocess.run([os.environ["CALI_PROGRAM"], *line.split()], cwd=folder, check=True, capture_output=True)

    program("simulate . --size 640x480 --illuminants 2850 5000 6500 --series-levels 4")
    program("calibrate session.toml --corrected")
    program("blc dark_1.raw --session session.toml --blocks 4 --results blocks.json")
    for method in ("optimised", "joint"):
        program(f"ccm chart_5000K.raw --session session.toml --values results.json --method {method} "
                f"--results {method}.json --illuminant 5000")
    session = calibrate_session.Session(folder / "session.toml")
    black = calibrate_session.black_level(session)
    return SimpleNamespace(
        folder=folder, session=session, pattern=session.pattern, read=session.read, black=black,
        lights=[calibrate_session.calibrate_light(session, black, kelvin) for kelvin in (2850, 5000, 6500)],
        results=cali.read_results(folder / "results.json"))
