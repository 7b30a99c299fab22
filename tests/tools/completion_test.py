#!/usr/bin/env python3
"""What shells offer behind the command, held against what --help tells.

Environment: KXCMS (the command).
"""

import os
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest

import surroundings

KXCMS = os.environ["KXCMS"]
INTENTS = ["perceptual", "relative", "saturation", "absolute"]


def run(*arguments):
    return subprocess.run([KXCMS, *arguments], check=True, capture_output=True, text=True,
                          stdin=subprocess.DEVNULL, timeout=60).stdout


def options_in(help_text):
    """@return {names: description}"""
    found = {}
    for names, description in re.findall(r"^  (-\S+)(?: [A-Z:]+)?(?: \.\.\.)? +(.*)$", help_text,
                                         re.MULTILINE):
        found[tuple(names.split(","))] = description
    return found


def commands_in(help_text):
    _, _, rest = help_text.partition("Subcommands:\n")
    return re.findall(r"^  ([a-z]+) ", rest, re.MULTILINE)


def every_command(path=()):
    """@return [(path, help)], from the command itself on."""
    text = run(*path, "--help")
    found = [(path, text)]
    for name in commands_in(text):
        found += every_command((*path, name))
    return found


class Help(unittest.TestCase):
    def test_every_command_has_one(self):
        commands = every_command()
        self.assertGreaterEqual(len(commands), 10)
        for path, text in commands:
            with self.subTest(path):
                self.assertIn("Exit status: 0 done", text)
                if path:
                    self.assertIn(f"More, with examples: man kxcms-{path[0]}\n", text)
                self.assertIn(("-h", "--help"), options_in(text))
                self.assertIn(" ".join(("Usage: kxcms", *path)) + " ", text)

    # The groups of each command, with what each begins with. Outside of them is only --help.
    GROUPS = [
        (["convert"], {"Colours": "--to", "File": "--format", "Running": "--exists"}),
        (["batch"], {"Files": "--from", "Colours": "--to", "File": "--format",
                     "Running": "--exists"}),
        (["verify"], {"Running": "--rehash"}),
        (["journal"], {"Contents": "--as"}),
        (["check"], {"Running": "--json"}),
        (["info"], {"Running": "--json"}),
        (["selftest"], {"Running": "--threads"}),
        (["report"], {"Contents": "--image", "Colours": "--to", "File": "--output",
                      "Running": "--fail-below"}),
        (["probe"], {"Colours": "--image", "Running": "--json"}),
        (["compare"], {"Colours": "--assume", "File": "--difference", "Running": "--limit"}),
        (["certificate"], {"Colours": "--to", "File": "--output", "Running": "--verify"}),
        (["profile", "extract"], {"Running": "--exists"}),
        (["profile", "embed"], {"Running": "--exists"}),
        (["profile", "remove"], {"Running": "--exists"}),
        (["profile", "make"], {"File": "--version", "Running": "--exists"}),
    ]

    def test_groups(self):
        paths = [path for path, text in every_command() if "Subcommands:" not in text]
        self.assertEqual({tuple(path) for path, _ in self.GROUPS}, set(paths))
        for path, expected in self.GROUPS:
            with self.subTest(path):
                parts = re.split(r"^([A-Z][a-z]+):\n", run(*path, "--help"), flags=re.MULTILINE)
                groups = {name: list(options_in(text)) for name, text in
                          zip(parts[1::2], parts[2::2]) if name != "Positionals"}
                self.assertEqual(groups.pop("Options"), [("-h", "--help")])
                self.assertEqual({name: options[0][-1] for name, options in groups.items()}, expected)

    def test_no_colours(self):
        self.assertNotIn("\33", run("convert", "--help"))


class Shell(unittest.TestCase):
    """Every test has a folder with some files, which is where the shell is."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        for name in ("scan.tif", "scanner.icc", "a photograph.jpg"):
            with open(os.path.join(self.folder, name), "wb"):
                pass
        os.mkdir(os.path.join(self.folder, "folder"))


class Bash(Shell):
    FILES = ["a photograph.jpg", "folder", "scan.tif", "scanner.icc"]

    def offered(self, *words):
        """What bash has to choose from at the last one."""
        script = ('source <("$KXCMS" --completion bash) || exit 1\nCOMP_WORDS=("$@") '
                  'COMP_CWORD=$(($# - 1))\n_kxcms\nprintf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "--norc", "-c", script, "bash", "kxcms", *words],
                              check=True, cwd=self.folder, capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual(done.stderr, "")
        return sorted(done.stdout.split("\n")[:-1]) if done.stdout != "\n" else []

    def test_every_option_of_every_command(self):
        for path, text in every_command():
            with self.subTest(path):
                told = sorted(name for names in options_in(text) for name in names)
                self.assertEqual(self.offered(*path, "-"), told)
                self.assertEqual(self.offered(*path, "--"),
                                 [name for name in told if name.startswith("--")])

    def test_every_command(self):
        for path, text in every_command():
            commands = commands_in(text)
            if commands:
                with self.subTest(path):
                    self.assertEqual(self.offered(*path, ""), sorted(commands))

    def test_words_that_help_tells(self):
        """Where the description of an option begins with the words that it takes, these are
        offered."""
        rows = 0
        for path, text in every_command():
            for names, description in options_in(text).items():
                words = re.match(r"(?:of ICC, )?((?:[\w-]+, )*[\w-]+),? or ([\w-]+)\b", description)
                # One of such words is the default.
                if words is None or "default: " not in description:
                    continue
                with self.subTest(path, option=names):
                    expected = sorted([*words[1].split(", "), words[2]])
                    self.assertEqual(self.offered(*path, names[-1], ""), expected)
                    rows += 1
        self.assertGreaterEqual(rows, 12)

    ROWS = [
        ("a command begun", ["con"], ["convert"]),
        ("one of profile", ["profile", "e"], ["embed", "extract"]),
        ("an intent", ["convert", "--intent", ""], sorted(INTENTS)),
        ("an intent begun", ["convert", "--intent", "re"], ["relative"]),
        ("behind =", ["convert", "--intent", "=", "re"], ["relative"]),
        ("right behind =", ["convert", "--intent", "="], sorted(INTENTS)),
        ("a compression", ["convert", "--compress", "z"], ["zstd"]),
        ("a space", ["convert", "in.tif", "--to", "display"], ["display-p3", "display-p3-linear"]),
        ("a space or a file", ["convert", "--to", "s"],
         ["scan.tif", "scanner.icc", "srgb", "srgb-220", "srgb-kodak-mix", "srgb-kodak-photo",
          "srgb-kodak-text", "srgb-linear"]),
        ("a space of the report, no file", ["report", "--to", "sr"], ["srgb", "srgb-linear"]),
        ("a tag", ["convert", "--tag", "no"], ["none"]),
        ("a number", ["convert", "--threads", ""], []),
        ("a file", ["convert", "scan"], ["scan.tif", "scanner.icc"]),
        ("any file", ["check", ""], FILES),
        ("a file behind an option", ["report", "-o", "sca"], ["scan.tif", "scanner.icc"]),
        ("a version of make", ["profile", "make", "--version", ""], ["2", "4"]),
        ("a space to make", ["profile", "make", "la"], ["lab"]),
        ("a file named like a command", ["convert", "check", "--in"], ["--intent"]),
        ("a shell", ["--completion", ""], ["bash", "zsh"]),
    ]

    def test_rows(self):
        for what, words, expected in self.ROWS:
            with self.subTest(what):
                self.assertEqual(self.offered(*words), expected)


class Zsh(Shell):
    """At a terminal, as a user has it."""

    @classmethod
    def setUpClass(cls):
        if shutil.which("zsh") is None:
            raise unittest.SkipTest("there is no zsh")

    def test_syntax(self):
        subprocess.run(["zsh", "-f", "-n"], check=True, input=run("--completion", "zsh"), text=True,
                       timeout=60)

    def completed(self, rows):
        """What stands on the line after a tab, for each of them."""
        with open(os.path.join(self.folder, "_kxcms"), "w", encoding="utf-8") as file:
            file.write(run("--completion", "zsh"))
        primary, secondary = surroundings.open_terminal()
        shell = subprocess.Popen(
            ["zsh", "-f", "-i"], stdin=secondary, stdout=secondary, stderr=secondary,
            cwd=self.folder, start_new_session=True,
            env={"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": self.folder, "PS1": ""})
        os.close(secondary)

        def send(text, end):
            """@return what the terminal shows up to the end that is waited for."""
            os.write(primary, text.encode())
            shown, limit = "", time.monotonic() + 60
            while not re.search(end, shown) and time.monotonic() < limit:
                if select.select([primary], [], [], 1)[0]:
                    shown += os.read(primary, 65536).decode(errors="replace")
            return shown
        try:
            send("fpath=($PWD $fpath); autoload -Uz compinit; compinit -u -D; "
                 "line() { print -r -- \"<$BUFFER>\"; zle kill-buffer; }; zle -N line; "
                 "bindkey '^X' line; setopt no_beep no_list_beep; print rea''dy\n", r"ready\r?\n")
            found = []
            for row in rows:
                shown = send(row + "\t\x18", r"<kxcms[^>]*>\r?\n")
                found.append(re.findall(r"<(kxcms[^>]*)>\r?\n", shown)[-1:])
            return [line[0] if line else None for line in found]
        finally:
            shell.kill()
            shell.wait()
            os.close(primary)

    def test_rows(self):
        rows = [
            ("kxcms conv", "kxcms convert "),
            ("kxcms profile em", "kxcms profile embed "),
            ("kxcms convert --int", "kxcms convert --intent="),
            ("kxcms convert --intent rel", "kxcms convert --intent relative "),
            ("kxcms convert --intent=abs", "kxcms convert --intent=absolute "),
            ("kxcms convert --to disp", "kxcms convert --to display-p3"),
            ("kxcms convert --to scann", "kxcms convert --to scanner.icc "),
            ("kxcms convert scan.", "kxcms convert scan.tif "),
            ("kxcms profile make --version 2 prophoto-l", "kxcms profile make --version 2 "
                                                          "prophoto-linear "),
            ("kxcms report --ou", "kxcms report --output="),
        ]
        for (line, expected), found in zip(rows, self.completed([line for line, _ in rows])):
            with self.subTest(line):
                self.assertEqual((found or "").rstrip(), expected.rstrip())

    def test_every_option_is_there(self):
        text = run("--completion", "zsh")
        for path, help_text in every_command():
            function = "_".join(("_kxcms", *path))
            body = re.search(rf"^{function}\(\) {{\n(.*?)^}}$", text, re.MULTILINE | re.DOTALL)[1]
            with self.subTest(path):
                self.assertEqual(
                    set(re.findall(r"^    '\([^)]*\)(-[\w-]+)", body, re.MULTILINE)),
                    {name for names in options_in(help_text) for name in names})


class Usage(unittest.TestCase):
    def test_other_shells(self):
        done = subprocess.run([KXCMS, "--completion", "fish"], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (2, "", "kxcms: unknown shell fish; known: bash, zsh\n"))


if __name__ == "__main__":
    surroundings.main()
