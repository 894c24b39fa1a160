"""Compares what a shared library exports with the committed list of names.

Arguments: nm, library, list [--update]. With --update the list is rewritten. Names are demangled,
sorted and told once, however many constructors or destructors one source line becomes: the list is
the same for every compiler and optimisation. What is no interface is refused even with --update.
"""
import pathlib
import re
import shlex
import subprocess
import sys

nm, library, path = sys.argv[1:4]
listing = subprocess.run([nm, "-DC", "--defined-only", library], check=True, text=True,
                         stdout=subprocess.PIPE).stdout
exported = {line.split(" ", 2)[2] for line in listing.splitlines()}
interface = re.compile(r"((vtable|VTT|typeinfo|typeinfo name|guard variable) for |"
                       r"(non-)?virtual thunk to |covariant return thunk to )?Quivo::(?!detail::)")
errors = [f"no interface, yet exported: {name}" for name in sorted(exported)
          if not interface.match(name)]
if errors or not exported:
    sys.exit("\n".join(errors) or f"{library} exports nothing")

listed = pathlib.Path(path)
if sys.argv[4:] == ["--update"]:
    listed.write_text("\n".join(sorted(exported)) + "\n")
    sys.exit()
expected = set(listed.read_text().splitlines())
errors = [f"lost, programs that use it no longer start: {name}" for name in expected - exported]
errors += [f"new, a promise from now on: {name}" for name in exported - expected]
if errors:
    sys.exit("\n".join(sorted(errors)) + "\nWhere that is meant (docs/versions.md says what it "
             "takes): " + shlex.join(["python3", *sys.argv, "--update"]))
