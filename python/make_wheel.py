"""Makes the wheel around a library that CMake has built (target cali_python).

    python3 make_wheel.py LIBRARY OUTPUT_FOLDER [LICENCE...]

The tag says where the library runs: manylinux_2_36 where it needs glibc 2.36 or earlier and nothing else, or the later
version that it needs; plain linux where it needs other libraries. SOURCE_DATE_EPOCH dates the files.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
GLIBC = {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2"}
OLDEST_GLIBC = (2, 36)


def run(*command, **options):
    done = subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, text=True, **options)
    if done.returncode != 0:
        sys.exit(f"make_wheel: {' '.join(map(str, command))}: exit status {done.returncode}\n{done.stdout}")
    return done.stdout


def platform_of(library: Path) -> str:
    if library.suffix == ".dll":
        return "win_amd64"
    headers = run("objdump", "-p", library)
    if set(re.findall(r"NEEDED +(\S+)", headers)) - GLIBC:
        return "linux_x86_64"
    found = [tuple(map(int, version)) for version in re.findall(r"GLIBC_(\d+)\.(\d+)", headers)]
    return "manylinux_%d_%d_x86_64" % max([OLDEST_GLIBC, *found])


def main() -> None:
    library, output = Path(sys.argv[1]), Path(sys.argv[2]).resolve()
    root = HERE.parent
    with tempfile.TemporaryDirectory() as folder:
        stage = Path(folder) / "cali"
        shutil.copytree(HERE / "cali", stage / "cali", ignore=shutil.ignore_patterns("_native", "__pycache__", ".*"))
        for name in ("pyproject.toml", "setup.py"):
            shutil.copy(HERE / name, stage)
        shutil.copy(root / "docs/python.md", stage / "README.md")
        (stage / "licences").mkdir()
        for licence in sys.argv[3:]:
            shutil.copy(licence, stage / "licences")
        for name, source in (("_declarations", "include/cali/cali.h"), ("_results_types", "docs/results.schema.json")):
            text = run(sys.executable, HERE / f"generate_{name.split('_')[1]}.py", root / source)
            (stage / "cali" / f"{name}.py").write_text(text, encoding="utf-8")
        (stage / "cali/_native").mkdir()
        shutil.copy(library, stage / "cali/_native")
        for path in stage.rglob("*"):  # whoever builds it
            path.chmod(0o755 if path.is_dir() else 0o644)
        environment = os.environ | {"CALI_WHEEL_PLATFORM": platform_of(library)}
        run(sys.executable, "-m", "build", "--no-isolation", "--wheel", "--outdir", output, stage, env=environment,
            stderr=subprocess.STDOUT)
    print(*output.glob(f"cali-*-{environment['CALI_WHEEL_PLATFORM']}.whl"))


if __name__ == "__main__":
    main()
