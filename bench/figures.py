"""The measurements that run.py has written, and how a page of them shows numbers."""
import json
import pathlib
import statistics
import sys

from run import FORMAT, FROM_HTML
from workplace import FENRA, ONE_BY_ONE, SIDES, WEB


def number(value):
    """Three significant digits, without an exponent."""
    if value is None:
        return "-"
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.3g}" if value >= 0.001 else f"{value:.6f}"


def table(header, rows):
    """Markdown; all columns but the first are numbers."""
    lines = [header, ["---"] + ["---:"] * (len(header) - 1), *rows]
    return "\n".join("| " + " | ".join(map(str, line)) + " |" for line in lines) + "\n"


class Results:
    def __init__(self, raw):
        self.conditions = raw["conditions"]
        self.records = raw["records"]
        self.scale = self.conditions["scale"]

    def values(self, measure, side, field, **wanted):
        """The values of the repetitions, in their order."""
        found = [(record["repetition"], record[field]) for record in self.records
                 if record["measure"] == measure and record["side"] == side
                 and all(record[key] == value for key, value in wanted.items())]
        return [value for _, value in sorted(found)]

    def median(self, measure, side, field, unit=1.0, **wanted):
        values = self.values(measure, side, field, **wanted)
        return statistics.median(values) * unit if values else None

    def ratio(self, measure, side, field, base=FENRA, **wanted):
        """The median of fenra's values by the side's of the same repetition."""
        pairs = zip(self.values(measure, base, field, **wanted),
                    self.values(measure, side, field, **wanted))
        ratios = [ours / theirs for ours, theirs in pairs]
        return statistics.median(ratios) if ratios else None

    def sides(self, measure, **wanted):
        return [side for side in (*SIDES, *ONE_BY_ONE)
                if self.values(measure, side, "repetition", **wanted)]

    def cell(self, measure, side, field, base=FENRA, **wanted):
        """A median and, for other engines, fenra's ratio to it."""
        median = number(self.median(measure, side, field, **wanted))
        ratio = self.ratio(measure, side, field, base, **wanted)
        ours = side in (FENRA, WEB, *ONE_BY_ONE, *FROM_HTML)
        return median if ours or ratio is None else f"{median} ({number(ratio)})"


def read_results(file):
    raw = json.loads(pathlib.Path(file).read_text())
    found = raw["conditions"].get("format")
    if found != FORMAT:
        sys.exit(f"report.py: {file} is of format {found}, this reads {FORMAT} only: measure anew"
                 f" with scripts/bench, or take the report.py of {raw['conditions']['revision']}")
    return raw
