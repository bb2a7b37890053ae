# SPDX-License-Identifier: Apache-2.0
"""The table of a benchmark as a picture, by gnuplot: each figure as a share of its goal, all sizes of a measure in a line."""
import re
import subprocess

WIDTH, LINE_HEIGHT = 1200, 22
# What is measured without regard to a size is grey.
COLOURS = {"0": "#9ecae1", "1,000": "#4292c6", "10,000": "#08306b", None: "#707070"}

PLOT = """
set terminal svg size {width},{height} font "sans-serif,12" background "white"
set output "{path}"
set title "{title}" noenhanced
set lmargin at screen 0.36
set rmargin at screen 0.76
set logscale x 2
set xrange [{least}:{most}]
set xlabel "of what the goal allows; left of the line it is met"
set yrange [{lines}:-1]
set ytics () noenhanced
{tics}
{figures}
set grid x
set arrow from 1, graph 0 to 1, graph 1 nohead linewidth 2
set key outside top center horizontal maxrows 1
{blocks}
plot {points}
"""


def share(row):
    """Of the goal that is used up: 1 is just met, less is better."""
    return row["goal"] / row["figure"] if row["at_least"] else row["figure"] / row["goal"]


def number(figure):
    return f"{figure:.3g}" if figure < 1000 else f"{figure:.0f}"


def by_measure(rows):
    """The rows of each size, by their common name and goal."""
    measures = {}
    for row in rows:
        name, size = re.fullmatch(r"(.*?)(?:, ([\d,]+) schedules)?", row["name"]).groups()
        measures.setdefault((name, row["goal"]), {})[size] = row
    return measures


def as_plot(head, rows, path):
    measures = by_measure(rows)
    tics, figures, found = [], [], {size: [] for size in COLOURS}
    for place, ((name, goal), sizes) in enumerate(measures.items()):
        tics.append(f'set ytics add ("{name}" {place})')
        text = "  ".join(number(row["figure"]) for row in sizes.values())
        figures.append(f'set label "{text}  of {number(goal)}" at graph 1, first {place} offset 1,0 noenhanced')
        for size, row in sizes.items():
            found[size].append(f"{share(row):.4f} {place}")
    used = {size: points for size, points in found.items() if points}
    blocks = [f"$block{i} << EOD\n" + "\n".join(points) + "\nEOD" for i, points in enumerate(used.values())]
    points = [f'$block{i} using 1:2 with points pointtype 7 pointsize 0.8 linecolor rgb "{COLOURS[size]}" '
              f'title "{f"{size} schedules" if size else "other"}"' for i, size in enumerate(used)]
    shares = [share(row) for row in rows]
    return PLOT.format(width=WIDTH, height=150 + LINE_HEIGHT * len(measures), path=path,
                       title=f"{head['commit']}, {head['time']}, {head['cpu']}, {head['cores']} cores",
                       least=min(0.25, *shares) / 1.4, most=max(2, *shares) * 1.4, lines=len(measures), tics="\n".join(tics),
                       figures="\n".join(figures), blocks="\n".join(blocks), points=", ".join(points))


def write_picture(head, rows, path):
    with_goals = [row for row in rows if row["goal"] and row["figure"] > 0]
    if not with_goals:
        raise SystemExit(f"{path} is not written: none of these measures has a goal")
    subprocess.run(["gnuplot"], input=as_plot(head, with_goals, path), text=True, check=True)
