"""Charts as SVG, from the standard library alone: text stays text, and the page follows the reader's light or dark."""

import math
from html import escape

WIDTH, HEIGHT = 880, 420
LEFT, RIGHT, TOP, BOTTOM = 70, 30, 84, 56

# Each holds on white and on near black. A subject has the same one in every plot.
STYLE = """
    .page { fill: #ffffff }
    text { font: 13px system-ui, sans-serif; fill: #1d2530 }
    .title { font-size: 16px; font-weight: 600 }
    .small { font-size: 12px; fill: #55606e }
    .grid { stroke: #dde2e9; stroke-width: 1 }
    .axis { stroke: #8a94a3; stroke-width: 1 }
    .line { fill: none; stroke-width: 2.5 }
    .dot { stroke: #ffffff; stroke-width: 1.5 }
    @media (prefers-color-scheme: dark) {
      .page { fill: #14181f }
      text { fill: #e6eaf0 }
      .small { fill: #a9b4c2 }
      .grid { stroke: #2b333f }
      .axis { stroke: #5a6675 }
      .dot { stroke: #14181f }
    }"""
COLOURS = {"ours": "#2b7de0", "ours2": "#12a3a3", "mosquitto": "#e0782b", "paho": "#b45bd6", "floor": "#7f8a99",
           "floor2": "#a08a5c"}


def text(x, y, words, anchor="start", kind=""):
    marks = f' class="{kind}"' if kind else ""
    return f'<text{marks} x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}">{escape(words)}</text>'


def page(title, description, body, height=HEIGHT):
    return "\n".join((
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" height="{height}" '
        'role="img" aria-labelledby="title what">',
        f'  <title id="title">{escape(title)}</title>',
        f'  <desc id="what">{escape(description)}</desc>',
        f"  <style>{STYLE}\n  </style>",
        f'  <rect class="page" width="{WIDTH}" height="{height}" rx="8"/>',
        "  " + text(24, 32, title, kind="title"),
        *("  " + element for element in body),
        "</svg>")) + "\n"


def short(value):
    """A figure beside a mark or on an axis."""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}"


class LogScale:
    """Puts a value between two powers of ten that hold them all."""

    def __init__(self, values, near, far):
        positive = [value for value in values if value > 0]
        self.low = math.floor(math.log10(min(positive)))
        self.high = max(math.ceil(math.log10(max(positive))), self.low + 1)
        self.near, self.far = near, far

    def place(self, value):
        share = (math.log10(value) - self.low) / (self.high - self.low)
        return self.near + share * (self.far - self.near)

    def ticks(self):
        return [10.0**power for power in range(self.low, self.high + 1)]


def line_chart(title, description, lines, x_ticks, x_words, y_words):
    """`lines`: (colour, words, [(x, y), ...]). Both axes are logarithmic, and each line is named at its end."""
    points = [point for _, _, line in lines for point in line]
    right = WIDTH - 210
    across = LogScale([x for x, _ in points], LEFT, right)
    across.low, across.high = (math.log10(limit(x for x, _ in points)) for limit in (min, max))
    up = LogScale([y for _, y in points], HEIGHT - BOTTOM, TOP)
    body = [text(24, 54, y_words, kind="small")]
    for tick in up.ticks():
        y = up.place(tick)
        body += [f'<path class="grid" d="M{LEFT} {y:.1f} H{right}"/>', text(LEFT - 8, y + 4, short(tick), "end", "small")]
    for tick in x_ticks:
        body.append(text(across.place(tick), HEIGHT - BOTTOM + 20, f"{tick:,}", "middle", "small"))
    body += [f'<path class="axis" d="M{LEFT} {HEIGHT - BOTTOM} H{right}"/>',
             text((LEFT + right) / 2, HEIGHT - 14, x_words, "middle", "small")]
    ends = apart([up.place(line[-1][1]) for _, _, line in lines], 18)
    for (colour, words, line), end in zip(lines, ends):
        drawn = " L".join(f"{across.place(x):.1f} {up.place(y):.1f}" for x, y in line)
        body.append(f'<path class="line" d="M{drawn}" stroke="{COLOURS[colour]}"/>')
        body += [f'<circle class="dot" cx="{across.place(x):.1f}" cy="{up.place(y):.1f}" r="4.5" '
                 f'fill="{COLOURS[colour]}"/>' for x, y in line]
        body.append(f'<rect x="{right + 14}" y="{end - 6:.1f}" width="10" height="10" rx="2" fill="{COLOURS[colour]}"/>')
        body.append(text(right + 30, end + 4, f"{words}, {short(line[-1][1])}"))
    return page(title, description, body)


def apart(places, least):
    """The places, moved as little as it takes for each to be at least so far from the next."""
    order = sorted(range(len(places)), key=places.__getitem__)
    moved = [places[i] for i in order]
    for _ in range(50):
        for i in range(len(moved) - 1):
            lack = least - (moved[i + 1] - moved[i])
            if lack > 0:
                moved[i] -= lack / 2
                moved[i + 1] += lack / 2
    result = [0.0] * len(places)
    for i, place in zip(order, moved):
        result[i] = place
    return result


def bar_chart(title, description, groups, words):
    """`groups`: (heading, [(colour, name, value), ...]), one below the other, each with a scale of its own."""
    name_width, bar_height, step = 270, 18, 25
    body = [text(24, 54, words, kind="small")]
    y = 70.0
    for heading, bars in groups:
        y += 22
        body.append(text(24, y, heading, kind="small"))
        y += 10
        most = max(value for _, _, value in bars)
        room = WIDTH - name_width - 24 - 100
        for colour, name, value in bars:
            length = max(room * value / most, 1.5)
            body += [text(name_width + 12, y + 14, name, "end"),
                     f'<rect x="{name_width + 24}" y="{y:.1f}" width="{length:.1f}" height="{bar_height}" rx="2" '
                     f'fill="{COLOURS[colour]}"/>',
                     text(name_width + 24 + length + 8, y + 14, short(value))]
            y += step
    return page(title, description, body, height=int(y + 20))
