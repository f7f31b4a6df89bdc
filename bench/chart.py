"""A bar chart as SVG: groups of bars on one scale, each bar with its number."""

from xml.sax.saxutils import escape

COLOURS = ["#0b5cad", "#7fb2e5", "#5b6770", "#b3bcc4", "#c7702e", "#8d5aa8", "#3f8f5b", "#b8a12f"]
WIDTH, LEFT, TOP, BAR, GAP, HEIGHT = 960, 60, 70, 22, 40, 260


def bars(title, scale, groups, names):
    """SVG text. `groups`: (label, {name: value}). `scale` describes the unit."""
    highest = max(value for _, values in groups for value in values.values())
    top = min(highest, 6.0)
    width = max(WIDTH, LEFT + sum(len(names) * BAR + GAP for _ in groups) + 20)
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {TOP + HEIGHT + 70}" font-family="sans-serif">',
        f'<rect width="{width}" height="{TOP + HEIGHT + 70}" fill="white"/>',
        f'<text x="{LEFT}" y="24" font-size="16">{escape(title)}</text>',
        f'<text x="{LEFT}" y="44" font-size="12" fill="#555">{escape(scale)}</text>',
    ]
    base = TOP + HEIGHT
    for line in range(int(top) + 1):
        y = base - HEIGHT * line / top
        colour = "#888" if line == 1 else "#ddd"
        out.append(f'<line x1="{LEFT}" x2="{width - 20}" y1="{y:.1f}" y2="{y:.1f}" stroke="{colour}"/>')
        out.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" font-size="11" text-anchor="end">{line}</text>')
    x = LEFT + 10
    for label, values in groups:
        start = x
        for number, name in enumerate(names):
            if name in values:
                height = HEIGHT * min(values[name], top) / top
                out.append(f'<rect x="{x}" y="{base - height:.1f}" width="{BAR - 4}" height="{height:.1f}" '
                           f'fill="{COLOURS[number % len(COLOURS)]}"/>')
                if values[name] > top:
                    # A gap marks a bar that is cut.
                    out.append(f'<path d="M{x - 2} {TOP + 22} l{BAR} -8 v6 l-{BAR} 8 z" fill="white"/>')
                out.append(f'<text x="{x + BAR / 2 - 2:.1f}" y="{base - height - 4:.1f}" font-size="9" '
                           f'text-anchor="middle" stroke="white" stroke-width="3" paint-order="stroke">{values[name]:.2f}</text>')
            x += BAR
        out.append(f'<text x="{(start + x) / 2:.1f}" y="{base + 18}" font-size="12" text-anchor="middle">{escape(label)}</text>')
        x += GAP
    step = (width - LEFT - 20) / len(names)
    for number, name in enumerate(names):
        x = LEFT + number * step
        out.append(f'<rect x="{x:.1f}" y="{base + 38}" width="10" height="10" fill="{COLOURS[number % len(COLOURS)]}"/>')
        out.append(f'<text x="{x + 14:.1f}" y="{base + 47}" font-size="11">{escape(name)}</text>')
    return "\n".join([*out, "</svg>", ""])
