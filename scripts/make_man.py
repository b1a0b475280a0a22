#!/usr/bin/env python3
"""Makes the manual page from the tables of README.md, which the tests hold equal to the program.

make_man.py [FILE]    writes the page to FILE, or to standard output
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def section(text, heading):
    """The lines below a heading, up to the next of its level or above."""
    level = heading.split(" ")[0]
    lines = text.split("\n")
    start = lines.index(heading) + 1
    for end in range(start, len(lines)):
        if re.match(r"#{1,%d} " % len(level), lines[end]):
            return lines[start:end]
    return lines[start:]


def rows(lines):
    """The rows of the first table, as lists of cells, without its head."""
    table = []
    for line in lines:
        if line.startswith("|"):
            table.append([cell.strip() for cell in line.strip().strip("|").split("|")])
        elif table:
            break
    return table[2:]


def escape(text):
    """Text as troff takes it: no character of it is a command."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text)


def markup(text):
    """Markdown of a cell or a paragraph: links lose their target, code is bold, stars are gone."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text)
    parts = text.replace("**", "").split("`")
    return "".join("\\fB" + escape(part) + "\\fR" if i % 2 else escape(part) for i, part in enumerate(parts))


def paragraphs(lines):
    """The plain paragraphs of a section; tables, code and lists are left out."""
    found, current, in_code = [], [], False
    for line in lines + [""]:
        if line.startswith("```"):
            in_code = not in_code
        elif in_code:
            continue
        elif line.strip() and not line.startswith(("|", "-", "#", " ")):
            current.append(line.strip())
        elif current:
            found.append(" ".join(current))
            current = []
    return found


def switch_items(readme):
    for names, values, meaning in rows(section(readme, "## Command line")):
        head = ", ".join("\\fB%s\\fR" % escape(name) for name in re.findall(r"`([^`]*)`", names))
        if values:
            head += " " + " ".join("\\fI%s\\fR" % escape(value) for value in values.split(", "))
        yield head, markup(meaning)


def option_items(readme):
    for name, kind, default, low, high, meaning in rows(section(readme, "## UCI options")):
        facts = [kind]
        if default:
            facts.append("default " + default)
        if low:
            facts.append("%s to %s" % (low, high))
        yield "\\fB%s\\fR" % escape(name.strip("`")), markup(meaning) + " (" + escape(", ".join(facts)) + ")"


def items(pairs):
    return "".join(".TP\n%s\n%s.\n" % (head, text) for head, text in pairs)


def page():
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    settings = (ROOT / "Source/base/settings.h").read_text(encoding="utf-8")
    name = re.search(r'PROGRAM_NAME = "([^"]*)"', settings).group(1)
    author = re.search(r'PROGRAM_AUTHOR = "([^"]*)"', settings).group(1)
    command_line = section(readme, "## Command line")
    first, status = paragraphs(command_line)[0], paragraphs(command_line)[-1]
    if not status.startswith("Exit status: "):
        raise SystemExit("README.md: the section on the command line does not end with the exit status")
    options = paragraphs(section(readme, "## UCI options"))[0]
    about = [text for text in paragraphs(readme.split("## ")[0].split("\n")) if text.startswith(name)][0]
    head = '.\\" Made from README.md by scripts/make_man.py.\n.TH TARN 6 "" "%s" "Games"\n' % name
    return head + (
        ".SH NAME\ntarn \\- chess engine for the UCI protocol\n"
        ".SH SYNOPSIS\n.B tarn\n[\\fIswitch\\fR ...]\n.br\n.B tarn bench\n[\\fIdepth\\fR]\n.br\n"
        ".B tarn \\-\\-help\n|\n.B \\-\\-version\n"
        ".SH DESCRIPTION\n" + markup(about) + "\n"
        ".SH SWITCHES\n" + markup(first) + "\n" + items(switch_items(readme)) +
        ".SH UCI OPTIONS\n" + markup(options) + "\n" + items(option_items(readme)) +
        ".SH EXIT STATUS\n" + markup(status[len("Exit status: "):]) + "\n"
        ".SH FILES\n.TP\n.I tarn.log\nthe log, in the working directory, when it is on.\n"
        ".TP\n.I tarn_book.bin\nthe first opening book, in the working directory.\n"
        ".SH SEE ALSO\nThe file README.md of the documentation describes the console, books, tablebases and tools.\n"
        ".SH AUTHOR\n" + escape(author) + "\n")


def main():
    if len(sys.argv) > 1:
        pathlib.Path(sys.argv[1]).write_text(page(), encoding="utf-8")
    else:
        sys.stdout.buffer.write(page().encode())


if __name__ == "__main__":
    main()
