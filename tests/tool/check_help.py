"""Holds the man page and the bash completion against what the tool says of itself.

Arguments: the tool, the folder of quivo.1 and quivo.bash.
"""
import pathlib
import re
import subprocess
import sys

tool, folder = sys.argv[1], pathlib.Path(sys.argv[2])
errors = []


def compare(what, found, expected):
    if found != expected:
        errors.append(f"{what}: {sorted(found)}, the help texts say {sorted(expected)}")


def complete(*words):
    script = 'source "$0"; COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _quivo; echo "${COMPREPLY[*]}"'
    return set(subprocess.run(["bash", "-uc", script, folder / "quivo.bash", "quivo", *words],
                              check=True, text=True, stdout=subprocess.PIPE).stdout.split())


def ask(*words):
    """The options, with the names of their values, and the arguments that a help text lists."""
    text = subprocess.run([tool, *words, "--help"], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    options = set(re.findall(r"^  (--[\w-]+(?: \S+)?)", text, re.M))
    return text, options, re.search(r"^Usage: [^[]*\[OPTIONS\] ?(.*)", text, re.M)[1]


page = (folder / "quivo.1").read_text().replace(r"\-", "-").replace(r"\ ", " ")
calls = {name.partition(" ")[2]: ({" ".join(option.split()) for option in
                                   re.findall(r"^\.OP (.*)", call, re.M)},
                                  re.findall(r"^\.I (.*)", call, re.M))
         for name, call in re.findall(r"^\.SY (quivo \w+)\n(.*?)^\.YS", page, re.M | re.S)}
described = {re.sub(r'^\.[BIR]+ |"', "", line) for line in
             re.findall(r"^\.TP\n(.*--.*)", page, re.M)}
described = {" ".join(line.split()) for line in described if not line.startswith("-h")}

main, main_options, _ = ask()
commands = set(re.findall(r"^  (\w+) ", main.partition("Subcommands:")[2], re.M))
compare("subcommands of the man page", set(calls), commands)
compare("completed subcommands", complete(""), commands)
known = main_options
for command in sorted(commands):
    _, options, arguments = ask(command)
    known = known | options
    compare(f"man page, {command}", *(calls.get(command, (set(), []))[0], options))
    compare(f"man page, arguments of {command}", calls.get(command, ((), []))[1], [arguments])
    compare(f"completion, {command}", complete(command, "--"),
            {option.split()[0] for option in options} | {"--help"})
    for name, _, value in (option.partition(" ") for option in options):
        if "|" in value:  # the names to choose from
            for words in ([name, ""], [name, "="], [name, "=", ""]):
                compare(f"completion, {command} {words}", complete(command, *words),
                        set(value.split("|")))
compare("options that the man page describes", described, known)
if errors:
    sys.exit("\n".join(errors))
