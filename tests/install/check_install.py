"""Installs a build, compares the files with the manifest, and builds and runs a consumer twice:
once through the CMake package, once through pkg-config where that exists.

Arguments: cmake, build folder, configuration, version, library folder, compiler.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

cmake, build, config, version, libdir, compiler = sys.argv[1:]
here = pathlib.Path(__file__).parent


def run(*command, **environment):
    return subprocess.run([str(part) for part in command], check=True, text=True,
                          stdout=subprocess.PIPE, env={**os.environ, **environment}).stdout


def compare_with_manifest(prefix):
    names = {path.relative_to(prefix).as_posix() for path in prefix.rglob("*") if not path.is_dir()}
    # The companions have their own tests.
    installed = {name for name in names if "tiff" not in name.lower() and name != "bin/quivo"}
    text = (here / "manifest.txt").read_text().format(
        lib=libdir, version=version, major=version.split(".")[0], config=config.lower())
    folders = [line.split(": ") for line in text.splitlines() if not line.startswith("#")]
    listed = {f"{folder}/{name}" for folder, files in folders for name in files.split()}
    if installed != listed:
        sys.exit(f"not in the manifest: {installed - listed}\nnot installed: {listed - installed}")


with tempfile.TemporaryDirectory() as directory:
    work = pathlib.Path(directory)
    prefix = work / "prefix"
    run(cmake, "--install", build, "--prefix", prefix)
    compare_with_manifest(prefix)

    run(cmake, "-S", here, "-B", work / "build", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_CXX_COMPILER={compiler}")
    run(cmake, "--build", work / "build")
    run(work / "build" / "consumer")

    if shutil.which("pkg-config"):
        flags = run("pkg-config", "--cflags", "--libs", "QuivoCore",
                    PKG_CONFIG_PATH=str(prefix / libdir / "pkgconfig")).split()
        run(compiler, "-std=c++20", here / "main.cpp", "-o", work / "consumer", *flags)
        run(work / "consumer", LD_LIBRARY_PATH=str(prefix / libdir))
