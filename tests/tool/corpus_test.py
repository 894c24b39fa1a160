"""Takes the tool through a folder of real TIFF files: what it opens it must read, convert without
loss in every lossless compression, and find equal and sound again; what it refuses it must refuse
in one line.

Usage: corpus_test.py PATH_OF_QUIVO FOLDER"""
import concurrent.futures, json, os, subprocess, sys, tempfile
from pathlib import Path

QUIVO, FOLDER = os.path.abspath(sys.argv[1]), Path(sys.argv[2])
LOSSLESS = ["none", "lzw", "deflate", "zstd"]
MOST_VALUES = 30_000_000  # of a file that is converted, so that the whole takes minutes

def call(findings, statuses, *args):
    """The finished command; what is wrong with how it ended goes to `findings`."""
    try:
        done = subprocess.run([QUIVO, *map(str, args)], capture_output=True, timeout=120)
    except subprocess.TimeoutExpired:
        findings.append(f"{args[0]}: no answer")
        return None
    errors = [line for line in done.stderr.decode("utf-8", "replace").splitlines()
              if line and not line.startswith("quivo: warning: ")]
    if done.returncode not in statuses:
        findings.append(f"{' '.join(map(str, args))}: status {done.returncode}: {errors[:2]}")
    elif done.returncode == 1 and args[0] == "info" and len(errors) != 1:
        findings.append(f"info: {len(errors)} lines of errors")
    return done

def check(path):
    """What is wrong with how the tool treats a file."""
    findings = []
    info = call(findings, (0, 1), "info", path, "--json")
    if info is None or info.returncode != 0:
        return findings
    known = json.loads(info.stdout)
    width, height, depth = known["extent"]
    if width * height * depth * known["channels"] > MOST_VALUES:
        return findings
    with tempfile.TemporaryDirectory() as folder:
        # What opens may still have damaged tiles: then nothing is written at all.
        damaged = False
        for compression in LOSSLESS:
            target = Path(folder, f"{compression}.tif")
            done = call(findings, (0, 1), "convert", path, target, "--compression", compression)
            if done is None or done.returncode == 1:
                damaged = True
                if os.listdir(folder):
                    findings.append(f"a failed convert leaves {os.listdir(folder)}")
                break
            call(findings, (0,), "compare", path, target)
            if compression == LOSSLESS[-1]:
                call(findings, (0,), "verify", target, "--against", path)
            target.unlink(missing_ok=True)
        if damaged:  # then reading it fails as well, and in one line
            call(findings, (1,), "read", path, "--all-slices", "--output", Path(folder, "x.npy"))
    return findings

def main():
    paths = sorted(path for path in FOLDER.rglob("*") if path.is_file())
    if not paths:
        sys.exit(f"{FOLDER}: no files")
    bad = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for path, findings in zip(paths, pool.map(check, paths)):
            bad += bool(findings)
            for finding in findings:
                print(f"{path.name}: {finding}")
    print(f"{len(paths)} files, {bad} with findings")
    return 1 if bad else 0

sys.exit(main())
