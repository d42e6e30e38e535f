"""Draws SVG plots without a library: bars of figures beside their peers, and curves. Any Python program may use it."""
from html import escape

WIDTH = 860
FONT = 'font-family="sans-serif" font-size="13"'
OURS = "#2b6cb0"
PEER = "#a0aec0"
GOAL = "#c53030"
COLOURS = [OURS, "#c05621", "#2f855a", "#6b46c1", "#b83280", "#4a5568"]


def text(x, y, words, anchor="start", colour="#1a202c"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}" {FONT}>{escape(words)}</text>'


def line(x1, y1, x2, y2, colour, width=1):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" '
            f'stroke-width="{width}"/>')


def write(path, title, height, parts):
    with open(path, "w", encoding="utf-8") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}">\n'
                   f'<rect width="{WIDTH}" height="{height}" fill="white"/>\n'
                   + "\n".join([text(12, 22, title)] + parts) + "\n</svg>\n")


def bar(y, share, scale, colour, label):
    length = max(1.0, share * scale)
    return [f'<rect x="200" y="{y}" width="{length:.1f}" height="14" fill="{colour}"/>',
            text(206 + length, y + 12, label)]


def bars(path, title, rows):
    """Writes one group of bars a row. Each row has its own scale.

    rows: dictionaries with "name", "value" and "unit"; optional "peer", "peer_value", and "limit", which is the value
    that just meets the goal.
    """
    parts = []
    y = 40
    for row in rows:
        peer = row.get("peer_value")
        largest = max(row["value"], peer or 0, row.get("limit") or 0) or 1
        scale = (WIDTH - 420) / largest
        parts.append(text(12, y + 12, row["name"]))
        parts += bar(y, row["value"], scale, OURS, f'{row["value"]:.4g} {row["unit"]}')
        bottom = y + 14
        if peer is not None:
            parts += bar(y + 17, peer, scale, PEER, f'{peer:.4g} {row["unit"]}  {row["peer"]}')
            bottom += 17
        if row.get("limit"):
            x = 200 + row["limit"] * scale
            parts.append(line(x, y - 3, x, bottom + 3, GOAL, 2))
        y = bottom + 16
    parts.append(text(200, y + 8, "The red line is the goal.", colour=GOAL))
    write(path, title, y + 24, parts)


def ticks(largest):
    """Returns about five round numbers from 0 to the largest value."""
    if largest <= 0:
        return [0]
    power = 10.0 ** (len(f"{largest:.0f}") - 1) if largest >= 1 else 0.1
    while largest / power < 4:
        power /= 2
    return [i * power for i in range(int(largest / power) + 1)]


def curves(path, title, x_name, unit, series):
    """Writes one curve a series over a common horizontal axis. series: name -> list of (x, y) pairs."""
    points = [point for curve in series.values() for point in curve]
    if not points:
        return
    top, bottom, left, right = 40, 340, 70, WIDTH - 220
    largest_x = max(x for x, _ in points) or 1
    largest_y = max(y for _, y in points) or 1

    def place(x, y):
        return left + x / largest_x * (right - left), bottom - y / largest_y * (bottom - top)

    parts = [line(left, bottom, right, bottom, "#4a5568"), line(left, top, left, bottom, "#4a5568"),
             text((left + right) / 2, bottom + 38, x_name, "middle"), text(left, top - 6, unit, "middle")]
    for value in ticks(largest_x):
        x, _ = place(value, 0)
        parts += [line(x, bottom, x, bottom + 5, "#4a5568"), text(x, bottom + 20, f"{value:g}", "middle")]
    for value in ticks(largest_y):
        _, y = place(0, value)
        parts += [line(left - 5, y, left, y, "#4a5568"), text(left - 8, y + 4, f"{value:g}", "end")]
    for index, (name, curve) in enumerate(series.items()):
        colour = COLOURS[index % len(COLOURS)]
        path_points = " ".join("%.1f,%.1f" % place(x, y) for x, y in sorted(curve))
        parts.append(f'<polyline points="{path_points}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{place(x, y)[0]:.1f}" cy="{place(x, y)[1]:.1f}" r="3" fill="{colour}"/>'
                  for x, y in curve]
        parts += [line(right + 14, top + 20 * index, right + 34, top + 20 * index, colour, 3),
                  text(right + 40, top + 20 * index + 4, name)]
    write(path, title, 400, parts)
