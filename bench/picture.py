# SPDX-License-Identifier: Apache-2.0
"""The table of a benchmark as a picture: each figure as a share of its goal, by gnuplot."""
import subprocess

PLOT = """
set terminal svg size 900,{height} font "sans-serif,12" background "white"
set output "{path}"
set title "{title}" noenhanced
set logscale x 2
set xrange [{least}:{most}]
set xlabel "of what the goal allows; left of the line it is met"
set yrange [{rows}:-1]
set ytics () noenhanced
{tics}
set grid x
set arrow from 1, graph 0 to 1, graph 1 nohead linewidth 2
unset key
$figures << EOD
{figures}
EOD
plot $figures using 1:0 with points pointtype 7 pointsize 0.9 linecolor rgb "{colour}", \\
     "" using 1:0:2 with labels left offset 1,0 noenhanced
"""


def share(row):
    """Of the goal that is used up: 1 is just met, less is better."""
    return row["goal"] / row["figure"] if row["at_least"] else row["figure"] / row["goal"]


def as_plot(head, rows, path):
    shares = [share(row) for row in rows]
    tics = [f'set ytics add ("{row["name"]}" {place})' for place, row in enumerate(rows)]
    figures = [f'{found:.4f} "{row["figure"]:.3g} of {row["goal"]:.4g}"' for found, row in zip(shares, rows)]
    return PLOT.format(height=120 + 24 * len(rows), path=path, title=f"{head['commit']}, {head['time']}, {head['cpu']}, {head['cores']} cores",
                       least=min(0.125, *shares) / 2, most=max(4, *shares) * 4, rows=len(rows), tics="\n".join(tics),
                       figures="\n".join(figures), colour="#2060a0")


def write_picture(head, rows, path):
    with_goals = [row for row in rows if row["goal"] and row["figure"] > 0]
    if not with_goals:
        raise SystemExit(f"{path} is not written: none of these measures has a goal")
    subprocess.run(["gnuplot"], input=as_plot(head, with_goals, path), text=True, check=True)
