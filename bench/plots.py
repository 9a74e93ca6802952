"""Plots of the results."""
import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt

from workplace import ONE_BY_ONE, SIDES

COLOURS = dict(zip([*SIDES, *ONE_BY_ONE], ("#b2182b", "#762a83", "#08519c", "#3182bd", "#9ecae1",
                                           "#31a354", "#a1d99b", "#ef8a62", "#c2a5cf")))


def plot(file, lines, x_label, y_label, scale="log"):
    """Draws a line for each side. `lines` has each one's points (x, y); a y may be None."""
    matplotlib.rcParams["svg.hashsalt"] = "fenra"
    plt.figure(figsize=(7, 4.2))
    for side, points in lines.items():
        points = [point for point in points if point[1] is not None]
        if points:
            plt.plot(*zip(*points), marker="o", markersize=3, label=side, color=COLOURS[side])
    if scale == "log":
        plt.xscale("log")
        plt.yscale("log")
    else:
        plt.ylim(bottom=0)
    plt.xlabel(x_label)
    plt.ylabel(y_label)
    plt.grid(True, which="both", linewidth=0.3)
    plt.legend(fontsize="small")
    plt.tight_layout()
    plt.savefig(file, metadata={"Date": None})
    plt.close()
