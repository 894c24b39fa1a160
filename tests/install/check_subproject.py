"""Builds a project with QuivoCore as its subproject: it works, and nothing of it leaks.

Arguments: cmake, source folder, compiler, launcher of the compiler or nothing.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

cmake, source, compiler, launcher = sys.argv[1:5]
parent = pathlib.Path(source) / "tests/install/subproject"


def run(*command):
    result = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit(f"{command}\n{result.stdout}")


with tempfile.TemporaryDirectory() as directory:
    build, prefix = pathlib.Path(directory) / "build", pathlib.Path(directory) / "prefix"
    configure = [cmake, "-S", parent, "-B", build, f"-DQUIVO_SOURCE_DIR={source}",
                 f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}",
                 "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DCMAKE_CXX_FLAGS="]
    run(*configure)
    run(cmake, "--build", build, "-j2")
    run(build / "parent")
    run(cmake, "--install", build, "--prefix", prefix)
    installed = [path.name for path in prefix.rglob("*") if not path.is_dir()]
    if installed != ["parent"]:
        sys.exit(f"installed with the parent: {installed}")
    for entry in json.loads((build / "compile_commands.json").read_text()):
        flags = [flag for flag in entry["command"].split() if flag.startswith(("-W", "-f", "-D"))]
        if entry["file"].endswith("consumer/main.cpp") and flags:
            sys.exit(f"flags of the parent: {flags}")
    # What static libraries need is found from the parent, too. This shows when rules are generated.
    run(*configure, "-DBUILD_SHARED_LIBS=OFF", "-DQUIVO_WITH_TIFF=ON")
