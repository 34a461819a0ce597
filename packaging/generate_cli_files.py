#!/usr/bin/env python3
"""Writes the man page moxley(1) and the bash, zsh and fish completions from the built tool itself.

    generate_cli_files.py MOXLEY OUTDIR

The commands, their synopses, summaries and options come from the tool's hidden listings
(`moxley --list-commands`, `moxley --list-options COMMAND`) and the longer texts from
`moxley COMMAND --help`, so a command added to the tool appears in all four files at the next build.
"""

import gzip
import os
import re
import subprocess
import sys

HELP = ("--help", "", "Show this help.")
PATH_VALUES = {"FILE": "file", "DIR": "dir"}


def run(moxley, *args):
    result = subprocess.run([moxley, *args], capture_output=True, text=True, check=False,
                            env={**os.environ, "LC_ALL": "C.UTF-8"})
    if result.returncode != 0:
        sys.exit(f"generate_cli_files: '{moxley} {' '.join(args)}' failed: {result.stderr.strip()}")
    return result.stdout


def fields(line, count):
    parts = line.split("\t")
    if len(parts) != count:
        sys.exit(f"generate_cli_files: expected {count} tab-separated fields in {line!r}")
    return parts


def positionals(name, synopsis):
    """The kinds of a command's positional arguments, read from its synopsis: "task", "file", "dir",
    "word:A B" (literal words) or "" (free text), and whether the last one repeats ("TASK...").
    Alternatives ("template shortcut NAME | template gmail ...") offer their leading words together."""
    alternatives = [_alternative(part, name) for part in _top_level_split(synopsis)]
    if len(alternatives) > 1 and all(kinds and kinds[0].startswith("word:") for kinds, _ in alternatives):
        words = " ".join(kinds[0][5:] for kinds, _ in alternatives)
        return ["word:" + words] + alternatives[0][0][1:], False
    return alternatives[0]


def _top_level_split(synopsis):
    parts, depth, current = [], 0, ""
    for char in synopsis:
        depth += {"[": 1, "]": -1}.get(char, 0)
        if char == "|" and depth == 0:
            parts.append(current)
            current = ""
        else:
            current += char
    return parts + [current]


def _alternative(text, name):
    tokens = text.split()
    if tokens and tokens[0] == name:
        tokens = tokens[1:]
    kinds, repeat, depth, after_option = [], False, 0, False
    for raw in tokens:
        depth += raw.count("[")
        in_brackets = depth > 0
        depth -= raw.count("]")
        token = raw.strip("[]")
        if token in ("", "|"):
            continue
        if token.startswith("-"):
            after_option = True
            continue
        if after_option and token.isupper():
            after_option = False
            continue
        after_option = False
        repeat = token.endswith("...")
        word = token.rstrip(".")
        if word == "TASK":
            kinds.append("task")
        elif word in PATH_VALUES:
            kinds.append(PATH_VALUES[word])
        elif word.islower():
            # A literal word; in brackets a lowercase word stands for options ("[schedule]").
            if not in_brackets:
                kinds.append("word:" + word)
        elif word:
            kinds.append("")
    return kinds, repeat


def value_kind(names, value):
    if not value:
        return None
    if value in PATH_VALUES:
        return PATH_VALUES[value]
    if any(n.endswith("-file") for n in names):
        return "file"
    if any(n == "--dir" or n.endswith("-dir") for n in names):
        return "dir"
    return "text"


def read_tool(moxley):
    top = run(moxley, "--help")
    commands = []
    for line in run(moxley, "--list-commands").splitlines():
        name, synopsis, summary = fields(line, 3)
        options = []
        for option_line in run(moxley, "--list-options", name).splitlines():
            names, value, description = fields(option_line, 3)
            options.append((names.split(","), value, description))
        options.append(([HELP[0]], HELP[1], HELP[2]))
        help_text = run(moxley, name, "--help")
        prefix = f"Usage: moxley {synopsis}\n\n{summary}\n"
        if not help_text.startswith(prefix):
            sys.exit(f"generate_cli_files: 'moxley {name} --help' does not start with its synopsis and summary")
        details = help_text[len(prefix):].split("\nOptions:\n")[0].strip("\n")
        kinds, repeat = positionals(name, synopsis)
        commands.append({"name": name, "synopsis": synopsis, "summary": summary, "details": details,
                         "options": options, "positionals": kinds, "repeat": repeat})
    version = run(moxley, "--version").split()[-1]
    return top, commands, version


# --- man page ---------------------------------------------------------------------------------

def roff(text):
    text = text.replace("\\", "\\e")
    lines = []
    for line in text.split("\n"):
        if line.startswith((".", "'")):
            line = "\\&" + line
        lines.append(line)
    return "\n".join(lines)


def roff_code(text):
    return roff(text).replace("-", "\\-")


def roff_paragraphs(text):
    out = []
    for paragraph in re.split(r"\n\s*\n", text.strip()):
        lines = paragraph.split("\n")
        if any(line.startswith(" ") for line in lines):
            out.append(".PP\n.nf\n" + roff(paragraph) + "\n.fi")
        else:
            out.append(".PP\n" + roff(" ".join(line.strip() for line in lines)))
    return "\n".join(out)


def man_page(top, commands, version):
    intro = top.split("\n\n")[1].strip()
    task_note = [p for p in top.split("\n\n") if p.startswith("TASK ")]
    about = intro.rstrip(".")
    # Left-aligned and unhyphenated: option names must read exactly as typed.
    out = [f'.TH MOXLEY 1 "" "moxley {version}" "User Commands"', ".ad l", ".nh",
           ".SH NAME", f"moxley \\- {roff(about[0].lower() + about[1:])}",
           ".SH SYNOPSIS",
           ".B moxley\n.I COMMAND\n.RI [ OPTIONS ]\n.RI [ ARGS ]",
           ".br\n.B moxley \\-\\-help\n.br\n.B moxley help\n.I COMMAND\n.br\n.B moxley \\-\\-version",
           ".SH DESCRIPTION", roff_paragraphs(intro),
           ".PP\nIt reads and writes the same tasks file, jobs, run history and logs as the Moxley app, "
           "and after each change it makes it tells an open app to reload.",
           ]
    if task_note:
        out.append(roff_paragraphs(task_note[0].split("\n")[0]))
    out.append(".SH COMMANDS")
    for command in commands:
        out.append(".SS " + roff_code(command["name"]))
        out.append(".B moxley " + roff_code(command["synopsis"]))
        out.append(".PP\n" + roff(command["summary"]))
        if command["details"]:
            out.append(roff_paragraphs(command["details"]))
        for names, value, description in command["options"]:
            label = ", ".join(f"\\fB{roff_code(n)}\\fR" for n in names)
            if value:
                label += f" \\fI{roff(value)}\\fR"
            out.append(f".TP\n{label}\n{roff(description)}")
    out += [".SH EXIT STATUS",
            ".TP\n.B 0\nSuccess.",
            ".TP\n.B 1\nThe operation failed; the message is on standard error as \\fBmoxley: \\fR\\fIMESSAGE\\fR.",
            ".TP\n.B 2\nA usage error: an unknown command or option, a missing or malformed value.",
            ".SH ENVIRONMENT",
            ".TP\n.B HOME\nThe home folder, under which the tasks, scripts, logs and jobs live.",
            ".TP\n.B XDG_DATA_HOME\nThe data folder on Linux (default \\fI~/.local/share\\fR); "
            "the tasks live in its \\fIMoxley\\fR folder.",
            ".TP\n.B MOXLEY_SCHEDULER\nOn Linux, \\fBsystemd\\fR or \\fBlaunchd\\fR: which scheduler installs the jobs.",
            ".TP\n.B MOXLEY_SYSROOT\nWhen set, every fixed system path the program uses is taken under this folder "
            "instead of under /; for tests and demonstrations with stand-in tools.",
            ".SH FILES",
            ".TP\n.I ~/.local/share/Moxley/tasks.json\nThe tasks (Linux; on macOS under "
            "\\fI~/Library/Application Support/Moxley\\fR).",
            ".TP\n.I ~/.local/share/Moxley/Scripts/\nThe wrapper script of each task.",
            ".TP\n.I ~/.local/share/Moxley/Logs/\nEach task's run history and its standard output and error logs.",
            ".TP\n.I ~/.config/systemd/user/com.moxley.task.*\nThe tasks' systemd units (Linux).",
            ".TP\n.I ~/Library/LaunchAgents/com.moxley.task.*.plist\nThe tasks' launchd jobs (macOS).",
            ".SH SEE ALSO",
            ".BR moxley\\-app (1),\n.BR systemctl (1),\n.BR systemd.timer (5),\n.BR launchctl (1)",
            ]
    return "\n".join(out) + "\n"


# --- completions ------------------------------------------------------------------------------

# Prints each task's short id and name, one a line, from `moxley list`: the id is the first 8
# characters; the name column starts after the state column (7 or 8 wide) and ends where every
# line has two spaces followed by the schedule column.
TASKS_AWK = r"""{ line[NR] = $0; if (substr($0, 11, 8) == "disabled") wide = 1
  if (NR == 1 || length($0) < shortest) shortest = length($0) }
END { if (NR == 0) exit
  start = wide ? 21 : 20
  for (p = shortest; p > start + 2; p--) {
    ok = 1
    for (i = 1; i <= NR; i++) if (substr(line[i], p - 2, 2) != "  " || substr(line[i], p, 1) == " ") { ok = 0; break }
    if (ok) break
  }
  for (i = 1; i <= NR; i++) {
    print substr(line[i], 1, 8)
    if (ok) { name = substr(line[i], start, p - 2 - start); sub(/ +$/, "", name); if (name != "") print name }
  }
}"""


def sh_quote(text):
    return "'" + text.replace("'", "'\\''") + "'"


def bash_completion(commands):
    names = " ".join(c["name"] for c in commands)
    out = ["# bash completion for moxley; generated from the tool's own help at build time.",
           "_moxley_tasks() {",
           f"  command moxley list 2>/dev/null | awk {sh_quote(TASKS_AWK)}",
           "}",
           "",
           "# Adds the candidates that start with the current word, quoted as the shell needs them.",
           "_moxley_add() {",
           "  local candidate quoted",
           "  while IFS= read -r candidate; do",
           "    printf -v quoted '%q' \"$candidate\"",
           "    [[ $candidate == \"$cur\"* || $quoted == \"$cur\"* ]] && COMPREPLY+=(\"$quoted\")",
           "  done",
           "}",
           "",
           "_moxley_paths() {",
           "  compopt -o filenames 2>/dev/null",
           "  local IFS=$'\\n'",
           "  COMPREPLY+=($(compgen \"$1\" -- \"$cur\"))",
           "}",
           "",
           "_moxley_kind() {",
           "  case $1 in",
           "    task) _moxley_add < <(_moxley_tasks) ;;",
           "    file) _moxley_paths -f ;;",
           "    dir) _moxley_paths -d ;;",
           "    command) _moxley_add < <(printf '%s\\n' $commands) ;;",
           "    word:*) _moxley_add < <(printf '%s\\n' ${1#word:}) ;;",
           "  esac",
           "}",
           "",
           "_moxley() {",
           "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}",
           f"  local commands='{names} help'",
           "  local command='' i=1",
           "  while ((i < COMP_CWORD)); do",
           "    [[ ${COMP_WORDS[i]} != -* ]] && { command=${COMP_WORDS[i]}; break; }",
           "    ((i++))",
           "  done",
           "  COMPREPLY=()",
           "  if [[ -z $command ]]; then",
           "    if [[ $cur == -* ]]; then _moxley_add < <(printf '%s\\n' --help --version)",
           "    else _moxley_kind command; fi",
           "    return 0",
           "  fi",
           "  # options: all of the command's; values: those that take a value, as OPTION=KIND;",
           "  # positionals: the kinds of its arguments in order; repeat: the last one repeats.",
           "  local options='' values='' positionals='' repeat=''",
           "  case $command in",
           ]
    for c in commands:
        options = " ".join(n for names, _, _ in c["options"] for n in names)
        values = " ".join(f"{n}={value_kind(names, v)}" for names, v, _ in c["options"] if v for n in names)
        kinds = " ".join(k.replace(" ", ",") if k else "-" for k in c["positionals"])
        out.append(f"    {c['name']}) options='{options}' values='{values}' positionals='{kinds}'"
                   f" repeat='{'1' if c['repeat'] else ''}' ;;")
    out += ["    help) positionals='command' ;;",
            "    *) return 0 ;;",
            "  esac",
            "  local pair",
            "  for pair in $values; do",
            "    if [[ $prev == \"${pair%%=*}\" ]]; then _moxley_kind \"${pair#*=}\"; return 0; fi",
            "  done",
            "  if [[ $cur == -* ]]; then _moxley_add < <(printf '%s\\n' $options); return 0; fi",
            "  # Which argument this is: the words after the command that are neither options nor their values.",
            "  local index=0 word skip=''",
            "  for ((i = i + 1; i < COMP_CWORD; i++)); do",
            "    word=${COMP_WORDS[i]}",
            "    if [[ -n $skip ]]; then skip=''; continue; fi",
            "    if [[ $word == -* ]]; then [[ \" $values \" == *\" $word=\"* ]] && skip=1; continue; fi",
            "    ((index++))",
            "  done",
            "  local -a kinds=($positionals)",
            "  ((${#kinds[@]})) || return 0",
            "  if ((index >= ${#kinds[@]})); then",
            "    [[ -n $repeat ]] || return 0",
            "    index=$((${#kinds[@]} - 1))",
            "  fi",
            "  local kind=${kinds[index]}",
            "  _moxley_kind \"${kind//,/ }\"",
            "  return 0",
            "}",
            "complete -F _moxley moxley",
            ]
    return "\n".join(out) + "\n"


def zsh_text(text):
    """Text inside an _arguments explanation "[...]"; the shell quoting comes after."""
    return text.replace("\\", "\\\\").replace("[", "\\[").replace("]", "\\]")


def zsh_action(kind):
    if kind == "task":
        return "_moxley_tasks"
    if kind == "file":
        return "_files"
    if kind == "dir":
        return "_files -/"
    if kind and kind.startswith("word:"):
        return "(" + kind[5:] + ")"
    return " "


def zsh_completion(commands):
    out = ["#compdef moxley",
           "# zsh completion for moxley; generated from the tool's own help at build time.",
           "",
           "_moxley_tasks() {",
           "  local -a tasks",
           f"  tasks=(${{(f)\"$(command moxley list 2>/dev/null | awk {sh_quote(TASKS_AWK)})\"}})",
           "  compadd -a tasks",
           "}",
           "",
           "_moxley() {",
           "  local -a commands",
           "  commands=("]
    for c in commands:
        out.append("    " + sh_quote(c["name"].replace(":", "\\:") + ":" + c["summary"]))
    out += ["    'help:Show the help of a command.'",
            "  )",
            "  if (( CURRENT == 2 )); then",
            "    if [[ $PREFIX == -* ]]; then compadd -- --help --version",
            "    else _describe -t commands 'moxley command' commands; fi",
            "    return",
            "  fi",
            "  local command=${words[2]}",
            "  shift words",
            "  (( CURRENT-- ))",
            "  case $command in"]
    for c in commands:
        entries = []
        for names, value, description in c["options"]:
            for n in names:
                entry = f"{n}[{zsh_text(description)}]"
                if value:
                    entry += f":{zsh_text(value.lower())}:{zsh_action(value_kind(names, value))}"
                entries.append(sh_quote(entry))
        for index, kind in enumerate(c["positionals"]):
            last = index == len(c["positionals"]) - 1
            position = "*" if last and c["repeat"] else str(index + 1)
            label = kind.split(":")[0] if kind else "argument"
            entries.append(sh_quote(f"{position}:{label}:{zsh_action(kind)}"))
        out.append(f"    {c['name']}) _arguments -s " + " ".join(entries) + " ;;")
    out += ["    help) _describe -t commands 'moxley command' commands ;;",
            "  esac",
            "}",
            "",
            "_moxley \"$@\""]
    return "\n".join(out) + "\n"


def fish_text(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_completion(commands):
    names = " ".join(c["name"] for c in commands) + " help"
    out = ["# fish completion for moxley; generated from the tool's own help at build time.",
           "function __moxley_tasks",
           f"    command moxley list 2>/dev/null | awk {fish_text(TASKS_AWK)}",
           "end",
           "",
           "# The command word: the first argument that is not an option.",
           "function __moxley_command",
           "    for word in (commandline -opc)[2..-1]",
           "        string match -q -- '-*' $word; and continue",
           "        echo $word",
           "        return 0",
           "    end",
           "    return 1",
           "end",
           "",
           "function __moxley_using",
           "    set -l command (__moxley_command); or return 1",
           "    test \"$command\" = \"$argv[1]\"",
           "end",
           "",
           "complete -c moxley -f",
           "complete -c moxley -n 'not __moxley_command' -l help -d 'Show the help.'",
           "complete -c moxley -n 'not __moxley_command' -l version -d 'Show the version.'",
           f"complete -c moxley -n 'not __moxley_command' -a 'help' -d 'Show the help of a command.'",
           f"complete -c moxley -n '__moxley_using help' -a '{names}'",
           ]
    for c in commands:
        out.append(f"complete -c moxley -n 'not __moxley_command' -a {fish_text(c['name'])} -d {fish_text(c['summary'])}")
        using = f"-n '__moxley_using {c['name']}'"
        for option_names, value, description in c["options"]:
            flags = " ".join(f"-s {n[1:]}" if len(n) == 2 else f"-l {n[2:]}" for n in option_names)
            kind = value_kind(option_names, value)
            extra = ""
            if kind == "file":
                extra = " -r -F"
            elif kind == "dir":
                extra = " -r -a '(__fish_complete_directories)'"
            elif kind:
                extra = " -r"
            out.append(f"complete -c moxley {using} {flags}{extra} -d {fish_text(description)}")
        kinds = set(c["positionals"])
        if "task" in kinds:
            out.append(f"complete -c moxley {using} -a '(__moxley_tasks)'")
        if "file" in kinds:
            out.append(f"complete -c moxley {using} -F")
        for kind in kinds:
            if kind.startswith("word:"):
                out.append(f"complete -c moxley {using} -a {fish_text(kind[5:])}")
    return "\n".join(out) + "\n"


def write(path, text):
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def write_gzip(path, data):
    # As gzip -9n: no name or time stamp inside, so the same page gives the same bytes.
    with open(path, "wb") as f:
        with gzip.GzipFile(filename="", mode="wb", compresslevel=9, fileobj=f, mtime=0) as z:
            z.write(data)


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: generate_cli_files.py MOXLEY OUTDIR [MAN_PAGE...]")
    moxley, outdir, extra_pages = sys.argv[1], sys.argv[2], sys.argv[3:]
    top, commands, version = read_tool(moxley)
    os.makedirs(outdir, exist_ok=True)
    page = man_page(top, commands, version)
    write(os.path.join(outdir, "moxley.1"), page)
    write_gzip(os.path.join(outdir, "moxley.1.gz"), page.encode("utf-8"))
    for extra in extra_pages:
        with open(extra, "rb") as f:
            write_gzip(os.path.join(outdir, os.path.basename(extra) + ".gz"), f.read())
    write(os.path.join(outdir, "moxley.bash"), bash_completion(commands))
    write(os.path.join(outdir, "_moxley"), zsh_completion(commands))
    write(os.path.join(outdir, "moxley.fish"), fish_completion(commands))


if __name__ == "__main__":
    main()
