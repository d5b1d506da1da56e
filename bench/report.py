"""What bench/run makes of its results: tables in Markdown and a picture, which
docs/performance.md shows."""

import datetime
import io
import os

import measure

FIGURES = measure.ROOT / "docs" / "figures"

# Key of a row, heading, form.
COLUMNS = (
    ("case", "case", "{}"),
    ("program", "program", "{}"),
    ("wall", "wall", "{:.2f}"),
    ("low", "first quartile", "{:.2f}"),
    ("high", "third quartile", "{:.2f}"),
    ("processor", "processor", "{:.2f}"),
    ("memory", "memory KiB", "{:+d}"),
    ("faults", "page faults", "{:+.0f}"),
    ("instructions", "instructions", "{:.2f}"),
    ("calls", "system calls", "{:+d}"),
)


def _line(cells):
    return "| " + " | ".join(cells) + " |"


def tables(results):
    lines = [_line(heading for _, heading, _ in COLUMNS), "|---" * len(COLUMNS) + "|"]
    for row in results["rows"]:
        lines.append(_line(form.format(row[key]) if key in row else "-" for key, _, form in COLUMNS))
    lines += ["", "| build | bytes, stripped | bytes as linked |", "|---|---|---|"]
    lines += [_line(map(str, size)) for size in results["sizes"]]
    return "\n".join(lines) + "\n"


def draw(results, path):
    """One panel for each case: wall time of each program, with its quartiles."""
    import matplotlib  # only --update needs it

    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "trel-tool", "svg.fonttype": "none", "font.size": 8})
    from matplotlib import pyplot

    cases = {}
    for row in results["rows"]:
        cases.setdefault(row["case"], []).append(row)
    heights = [len(rows) + 1.5 for rows in cases.values()]
    figure, panels = pyplot.subplots(
        len(cases), 1, figsize=(8, sum(heights) * 0.2), sharex=True,
        gridspec_kw={"height_ratios": heights}, layout="constrained")
    for panel, (title, rows) in zip(panels, cases.items()):
        names = [row["program"] for row in rows]
        spread = [[row["wall"] - row["low"] for row in rows], [row["high"] - row["wall"] for row in rows]]
        colours = ["tab:orange" if name.startswith("trel-tool") else "lightsteelblue" for name in names]
        panel.barh(names, [row["wall"] for row in rows], xerr=spread, color=colours, ecolor="grey")
        panel.axvline(1, color="black", linewidth=0.8)
        panel.invert_yaxis()
        panel.set_title(title, loc="left", fontsize=9)
    panels[-1].set_xlabel("wall time, floor = 1")
    text = io.StringIO()
    figure.savefig(text, metadata={"Date": None})
    path.write_text(" ".join(text.getvalue().split()) + "\n")


def write(results):
    FIGURES.mkdir(exist_ok=True)
    date = datetime.date.today().isoformat()
    (FIGURES / "performance.md").write_text(
        "# What one run costs: the figures\n\n"
        "Written by `bench/run --update`, not by hand. "
        "[performance.md](../performance.md) says what the columns mean.\n\n"
        f"Measured on {date}, {os.cpu_count()} processors.\n\n" + tables(results))
    draw(results, FIGURES / "performance.svg")
