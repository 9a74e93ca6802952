#!/usr/bin/env python3
"""The manual pages and the completions for bash and zsh have the commands and options of the
program's --help, and no others; fenra_c(3) has the functions and statuses of the header; mandoc
finds no fault in the pages.
usage: check.py PROGRAM"""

import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PAGES = ROOT / "man"
faults = []


def output(*call):
    return subprocess.run(call, capture_output=True, text=True, check=True).stdout


def help_of(program, *command):
    """The options and the subcommands that --help tells."""
    text = output(program, *command, "--help")
    options = set(re.findall(r"^ +(?:-h,)?(--[a-z-]+)", text, re.M))
    listed = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    return options, set(re.findall(r"^  (\S+)", listed[1], re.M)) if listed else set()


def compare(what, wanted, found):
    for name in sorted(wanted - found):
        faults.append(f"{what}: {name} is missing")
    for name in sorted(found - wanted):
        faults.append(f"{what}: there is no {name}")


def flags(rows):
    return {"--" + name for row in rows for name in re.findall(r" -([a-z][a-z-]*)", row)}


def listed_options(page):
    """The options that have an entry, and all that are named."""
    macros = re.findall(r"^\.(?:It |Op )?Fl .*", page, re.M)
    listed = re.findall(r"^\.It Fl.*", page, re.M)
    return flags(listed), flags(macros)


def check_page(path, options, commands=frozenset()):
    page = path.read_text()
    entries, named = listed_options(page)
    compare(path.name, options, entries)
    compare(path.name, set(), named - options)
    compare(path.name, commands, set(re.findall(r"^\.(?:It Xr fenra-|Ss fst )(\S+)", page, re.M)))
    if path.name != "fenra.1":
        synopsis = page.split(".Sh SYNOPSIS")[1].split(".Sh ")[0]
        compare(path.name + ", synopsis", options - {"--help"},
                {"--" + name for name in re.findall(r"^\.Op Fl -([a-z-]+)", synopsis, re.M)})


def bash_completes(*words):
    script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _fenra; printf "%s\\n" "${COMPREPLY[@]}"'
    found = output("bash", "-c", script, "bash", ROOT / "completions/fenra.bash", *words).split()
    return set(found)


def zsh_completes(*words):
    """What the completion hands to zsh's own functions."""
    script = ('_arguments() { print -rl -- "$@" }; _describe() { print -rl -- "${(@P)2}" };'
              'file=$1; shift; words=("$@"); CURRENT=$#; set --; source $file')
    text = output("zsh", "-f", "-c", script, "zsh", ROOT / "completions/_fenra", *words)
    return set(re.findall(r"^(?:\(- \*\))?(--[a-z-]+|[a-z]+)(?=[\[:])", text, re.M))


def check_completions(command, options, commands=frozenset()):
    for shell, completes in ("bash", bash_completes), ("zsh", zsh_completes):
        what = f"{shell}: fenra {' '.join(command)}"
        found = completes("fenra", *command, "") | completes("fenra", *command, "--")
        compare(what, options | commands, found)


def check_c_interface():
    header = (ROOT / "capi/fenra_c.h").read_text()
    page = (PAGES / "fenra_c.3").read_text()
    declared = re.findall(r"FENRA_API\s+[^;(]*?(fenra_\w+)\(([^;]*)\);", header)
    arguments = {name: " ".join(text.split()) for name, text in declared}
    documented = {
        name: ", ".join(re.findall(r'^\.Fa "?(.*?)"?$', text, re.M))
        for name, text in re.findall(r"^\.Fo (\w+)\n(.*?)\.Fc", page, re.M | re.S)}
    compare("fenra_c.3", set(arguments.items()), set(documented.items()))
    statuses = re.search(r"typedef enum fenra_status \{(.*?)\}", header, re.S)[1]
    compare("fenra_c.3", set(re.findall(r"^ +(FENRA_\w+)", statuses, re.M)),
            set(re.findall(r"^\.It Dv (\w+)", page, re.M)))


def main():
    program = sys.argv[1]
    options, commands = help_of(program)
    check_page(PAGES / "fenra.1", options, commands)
    check_completions((), options, commands)
    for command in sorted(commands):
        options, parts = help_of(program, command)
        check_completions((command,), options, parts)
        for part in sorted(parts):
            of_part, _ = help_of(program, command, part)
            check_completions((command, part), of_part)
            options = options | of_part
        check_page(PAGES / f"fenra-{command}.1", options, parts)
    compare("man", {f"fenra-{command}.1" for command in commands} | {"fenra.1", "fenra_c.3"},
            {path.name for path in PAGES.iterdir()})
    check_c_interface()
    lint = subprocess.run(["mandoc", "-Tlint", "-Wwarning", *sorted(PAGES.iterdir())],
                          capture_output=True, text=True, check=False)
    faults.extend((lint.stdout + lint.stderr).splitlines())
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
