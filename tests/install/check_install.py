"""Installs a build, by component and whole, compares the files with the manifest, moves the prefix,
and there runs the tool and builds and runs consumers through CMake and, where it is, pkg-config.

Arguments: build folder, configuration where the build has several.
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

build = pathlib.Path(sys.argv[1])
here = pathlib.Path(__file__).resolve().parent
entries = [line.partition("=") for line in (build / "CMakeCache.txt").read_text().splitlines()]
cache = {name.partition(":")[0]: value for name, _, value in entries}
cmake, compiler, lib = (cache["CMAKE_" + name] for name in
                        ("COMMAND", "CXX_COMPILER", "INSTALL_LIBDIR"))
version = cache["CMAKE_PROJECT_VERSION"]
config = "".join(sys.argv[2:]) or cache.get("CMAKE_BUILD_TYPE", "")
yes = ("ON", "TRUE", "YES", "1")
tools = cache["QUIVO_WITH_TOOLS"].upper() in yes
tiff = tools or cache["QUIVO_WITH_TIFF"].upper() in yes
static = cache.get("BUILD_SHARED_LIBS", "ON").upper() not in yes


def run(*command, **environment):
    environment = {**os.environ, "LD_LIBRARY_PATH": "", **environment}
    result = subprocess.run([str(part) for part in command], text=True, env=environment,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit(f"{shlex.join(map(str, command))}\n{result.stdout}")
    return result.stdout


def read_manifest():
    """The files of every component that this build has."""
    text = (here / "manifest.txt").read_text().format(
        lib=lib, version=version, major=version.split(".")[0], config=config.lower() or "noconfig")
    # A library that was built left its package file in the build folder.
    built = {line.split("development")[0] for line in text.splitlines()
             for package in re.findall(r"/cmake/(\w+):", line)
             if (build / f"{package}Config.cmake").exists()}
    names = {prefix + kind: set() for prefix in built for kind in ("runtime", "development")}
    names |= {"tools": set()} if tools else {}
    for line in text.splitlines()[1:]:
        place, _, files = line.partition(": ")
        component, folder = place.split()
        if component in names:
            names[component] |= {f"{folder}/{name}" for name in files.split()}
    if static:
        names = {component: {name.replace(".so", ".a") for name in files if ".so." not in name}
                 for component, files in names.items()}
    return names


def install(prefix, expected, *options):
    run(cmake, "--install", build, "--prefix", prefix, *(["--config", config] if config else []),
        *options)
    found = {path.relative_to(prefix).as_posix() for path in prefix.rglob("*") if not path.is_dir()}
    if found != expected:
        sys.exit(f"{options}\nnot in the manifest: {found - expected}\n"
                 f"not installed: {expected - found}")


def check_prefix(prefix, work):
    for path in [*prefix.rglob("*.cmake"), *prefix.rglob("*.pc")]:
        if any(str(place) in path.read_text() for place in (work / "first", build, here.parents[1])):
            sys.exit(f"{path.name} knows where it was made")
    if tools:
        if not run(prefix / "bin/quivo", "--version").startswith(f"quivo {version}"):
            sys.exit("the installed tool is another one")
        loaded = [line for line in run("ldd", prefix / "bin/quivo").splitlines() if "Quivo" in line]
        if any(str(prefix) not in line for line in loaded):
            sys.exit("the installed tool loads other libraries:\n" + "\n".join(loaded))


def check_consumers(prefix, work):
    run(cmake, "-S", here / "consumer", "-B", work / "build", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_CXX_COMPILER={compiler}", f"-DWITH_TIFF={tiff}")
    run(cmake, "--build", work / "build")
    for package, source in {"QuivoCore": "main.cpp", "QuivoTiff": "tiff.cpp"}.items():
        if package == "QuivoTiff" and not tiff:
            continue
        run(work / "build" / f"{package}_consumer", work / "consumer.tif")
        if not shutil.which("pkg-config"):
            continue
        paths = {"PKG_CONFIG_PATH": str(prefix / lib / "pkgconfig")}
        run("pkg-config", "--exists", f"{package} >= 1.0", **paths)
        flags = run("pkg-config", "--cflags", "--libs", *(["--static"] if static else []), package,
                    **paths)
        run(compiler, "-std=c++20", here / "consumer" / source, "-o", work / "consumer",
            *shlex.split(flags))
        run(work / "consumer", work / "consumer.tif", LD_LIBRARY_PATH=str(prefix / lib))


with tempfile.TemporaryDirectory() as directory:
    folder = pathlib.Path(directory)
    components = read_manifest()
    for component, files in components.items():
        install(folder / component, files, "--component", component)
    install(folder / "first", set().union(*components.values()))
    (folder / "first").rename(folder / "moved here")
    check_prefix(folder / "moved here", folder)
    check_consumers(folder / "moved here", folder)
