"""The plot for the documents: what a send takes, by the size of its payload."""

import subprocess

CURVES = (("agent", "agent, recording", "#c0392b", 7), ("floor", "the floor: a bare program that sends the message", "#e67e22", 5),
          ("unplugged", "agent, unplugged", "#2980b9", 9), ("bare", "no agent", "#2c3e50", 11))

SETTINGS = """
set terminal svg size 860,520 font "sans-serif,14" background "white"
set output "{file}"
set logscale xy
set xlabel "bytes sent"
set ylabel "time of one send, in microseconds"
set format x ""
set xtics ({tics})
set format y "%g"
set grid ytics lc rgb "#dddddd"
set key top left reverse Left
set xrange [0.7:{last}]
plot {curves}
"""


def write_plot(by_size, file):
    tics = ", ".join(f'"{label}" {size}' for label, size in (
        ("1", 1), ("64", 64), ("1 Ki", 1 << 10), ("16 Ki", 16 << 10), ("64 Ki", 64 << 10), ("1 Mi", 1 << 20),
        ("16 Mi", 16 << 20)))
    curves, data = [], []
    for name, title, colour, point in CURVES:
        curves.append(f"'-' using 1:2 with linespoints lw 2 pt {point} lc rgb '{colour}' title '{title}'")
        data += [f"{size} {times[name] / 1000:.3f}" for size, times in sorted(by_size.items())] + ["e"]
    script = SETTINGS.format(file=file, tics=tics, last=32 << 20, curves=", ".join(curves)) + "\n".join(data) + "\n"
    subprocess.run(["gnuplot"], input=script, check=True, text=True)
