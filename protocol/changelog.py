"""CHANGELOG.md as Debian has it: one entry for each version, with its date."""

import datetime
import pathlib
import re
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
SECTION = re.compile(r"^## (\S+) \((\S+)\)\n((?:(?!## ).*\n)*)", re.MULTILINE)
MAINTAINER = "trel-tool maintainers <trel-tool@example.org>"


def releases():
    """Version, date and text of each, the last one first. One without a date has the next one's."""
    sections = SECTION.findall((ROOT / "CHANGELOG.md").read_text())
    dates = [date for _, date, _ in sections if date != "unreleased"]
    return [(version, datetime.date.fromisoformat(dates[0] if date == "unreleased" else date),
             text) for version, date, text in sections]


def debian():
    entries = []
    for version, date, text in releases():
        lines = [f"trel-tool ({version}) unstable; urgency=medium", ""]
        for item in re.findall(r"^- ((?:.+\n)(?:  .+\n)*)", text, re.MULTILINE):
            lines += textwrap.wrap(" ".join(item.split()), 78, initial_indent="  * ",
                                   subsequent_indent="    ", break_on_hyphens=False)
        lines += ["", f" -- {MAINTAINER}  {date:%a, %d %b %Y} 00:00:00 +0000"]
        entries.append("\n".join(lines))
    return "\n\n".join(entries) + "\n"
