"""Charts over time as one SVG file."""

import dataclasses
import math
from html import escape

WIDTH, HEIGHT = 900, 260  # of a panel
LEFT, RIGHT, TOP, BOTTOM = 80, 20, 58, 46
COLOURS = ("#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#17becf", "#8c564b")


@dataclasses.dataclass
class Series:
    """Points (x, y), joined by a line or shown as dots."""
    name: str
    points: list
    dots: bool = False


@dataclasses.dataclass
class Panel:
    title: str
    unit: str  # of the vertical axis
    series: list
    logarithmic: bool = False


def ticks(highest):
    """Round numbers from 0 to at least `highest`."""
    if highest <= 0:
        return [0, 1]
    step = 10 ** math.floor(math.log10(highest))
    step = next(step * factor for factor in (0.2, 0.5, 1, 2) if highest / (step * factor) <= 6)
    return [index * step for index in range(math.ceil(highest / step) + 1)]


def label(number):
    return f"{number:,.10g}"


def text(x, y, words, anchor="middle", size=12, extra=""):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" {extra}>'
            f"{escape(words)}</text>")


def line(x1, y1, x2, y2, colour):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


class _Scale:
    def __init__(self, marks, begin, end, logarithmic=False):
        self.marks = marks
        self.begin, self.end = begin, end
        self.value = math.log10 if logarithmic else float

    def __call__(self, number):
        low, high = self.value(self.marks[0]), self.value(self.marks[-1])
        number = max(number, self.marks[0])
        return self.begin + (self.value(number) - low) / (high - low) * (self.end - self.begin)


def _vertical(panel):
    values = [y for series in panel.series for _, y in series.points if y > 0] or [1]
    if not panel.logarithmic:
        return _Scale(ticks(max(values)), HEIGHT - BOTTOM, TOP)
    low = math.floor(math.log10(min(values)))
    high = max(math.ceil(math.log10(max(values))), low + 1)
    return _Scale([10.0 ** power for power in range(low, high + 1)], HEIGHT - BOTTOM, TOP, True)


def _panel(panel, horizontal, x_name):
    vertical = _vertical(panel)
    bottom = HEIGHT - BOTTOM
    parts = [text(WIDTH / 2, 20, panel.title, size=15, extra='font-weight="bold"')]
    for mark in vertical.marks:
        y = vertical(mark)
        parts += [line(LEFT, y, WIDTH - RIGHT, y, "#dddddd"),
                  text(LEFT - 6, y + 4, label(mark), "end")]
    for mark in horizontal.marks:
        x = horizontal(mark)
        parts += [line(x, bottom, x, bottom + 5, "black"), text(x, bottom + 18, label(mark))]
    parts += [line(LEFT, TOP, LEFT, bottom, "black"), line(LEFT, bottom, WIDTH - RIGHT, bottom, "black"),
              text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 10, x_name),
              text(0, 0, panel.unit,
                   extra=f'transform="translate(16 {(TOP + bottom) / 2:.0f}) rotate(-90)"')]
    x = LEFT
    for colour, series in zip(COLOURS, panel.series):
        places = [(horizontal(at), vertical(value)) for at, value in series.points]
        if series.dots:
            parts += [f'<circle cx="{at:.1f}" cy="{value:.1f}" r="1.6" fill="{colour}" '
                      f'fill-opacity="0.6"/>' for at, value in places]
        elif places:
            joined = " ".join(f"{at:.1f},{value:.1f}" for at, value in places)
            parts.append(f'<polyline points="{joined}" fill="none" stroke="{colour}" '
                         'stroke-width="1.5"/>')
        parts += [f'<rect x="{x}" y="34" width="12" height="12" fill="{colour}"/>',
                  text(x + 17, 44, series.name, "start")]
        x += 34 + 7 * len(series.name)
    return parts


def svg(title, panels, end, x_name):
    """The panels below each other. `end`: the highest x."""
    horizontal = _Scale(ticks(end), LEFT, WIDTH - RIGHT)
    height = 40 + HEIGHT * len(panels)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="sans-serif">',
             f"<title>{escape(title)}</title>",
             f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
             text(WIDTH / 2, 26, title, size=17, extra='font-weight="bold"')]
    for index, panel in enumerate(panels):
        parts += [f'<g transform="translate(0 {40 + index * HEIGHT})">',
                  *_panel(panel, horizontal, x_name), "</g>"]
    return "\n".join(parts) + "\n</svg>\n"
