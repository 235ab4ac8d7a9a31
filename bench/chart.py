"""A chart of the ratios: a line for each measure, a dot for each client, on a scale of powers of ten. SVG as text."""
import math
from xml.sax.saxutils import escape

import results

colours = {"library": "#0a5fb4", "curl": "#c8501e", "sushy": "#3c8c3c", "redfishtool": "#8c3c96"}
left, width, line, top = 400, 520, 22, 64  # room for the names, for the scale, a measure's height, room for the legend


def text(x, y, words, anchor="start", colour="#222"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{escape(words)}</text>'


def legend():
    for i, (client, colour) in enumerate(colours.items()):
        x = left + i * 120
        yield f'<circle cx="{x}" cy="20" r="5" fill="{colour}"/>'
        yield text(x + 10, 24, client, colour=colour)
    yield text(20, 24, "cost as a multiple of libcurl alone; left is better")


def ticks(low, high, place, bottom):
    for exponent in range(math.floor(low), math.ceil(high) + 1):
        for step in (1, 2, 5):
            value = step * 10.0**exponent
            if not low <= math.log10(value) <= high:
                continue
            x = place(value)
            strength = ' stroke-width="2"' if value == 1 else ""
            yield f'<line x1="{x:.1f}" y1="{top - 12}" x2="{x:.1f}" y2="{bottom}" stroke="#bbb"{strength}/>'
            yield text(x, top - 18, f"{value:g}", "middle")


def drawn(rows):
    shown = [(row, {client: row.cost(client) for client in colours if row.cost(client)}) for row in rows]
    shown = [(row, costs) for row, costs in shown if costs]
    values = [cost for _, costs in shown for cost in costs.values()] or [1.0]
    low, high = math.log10(min(0.9, *values, 0.9)) - 0.03, math.log10(max(*values, 1.2)) + 0.03
    bottom = top + line * len(shown)

    def place(value):
        return left + width * (math.log10(value) - low) / (high - low)

    parts = [*legend(), *ticks(low, high, place, bottom)]
    for i, (row, costs) in enumerate(shown):
        y = top + line * i + line / 2
        parts.append(text(left - 12, y + 4, row.measure, "end"))
        for client in reversed(results.others):  # the library's on top
            if client in costs:
                title = f"<title>{escape(f'{row.measure}: {client} {costs[client]:.3g}')}</title>"
                parts.append(f'<circle cx="{place(costs[client]):.1f}" cy="{y:.1f}" r="5" '
                             f'fill="{colours[client]}" fill-opacity="0.85">{title}</circle>')
    size = f'width="{left + width + 20}" height="{bottom + 12}"'
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" {size} font-family="sans-serif" font-size="12">',
                      '<rect width="100%" height="100%" fill="white"/>', *parts, "</svg>"]) + "\n"
