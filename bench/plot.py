"""Plots of measured series as SVG files, with nothing but the standard library."""

from html import escape

WIDTH, HEIGHT, MARGIN = 720, 150, 50
COLOURS = ("#1f6feb", "#d1242f", "#1a7f37", "#9a6700")


def _panel(top, title, unit, points):
    xs, ys = [x for x, _ in points], [y for _, y in points]
    left, right = min(xs), max(max(xs), min(xs) + 1e-9)
    high = max(max(ys), 1e-9) * 1.1

    def place(x, y):
        return (f"{MARGIN + (x - left) / (right - left) * (WIDTH - 2 * MARGIN):.1f}",
                f"{top + HEIGHT - 30 - y / high * (HEIGHT - 60):.1f}")

    line = " ".join(",".join(place(x, y)) for x, y in points)
    base, ceiling = place(left, 0)[1], place(left, high)[1]
    return (f'<text x="{MARGIN}" y="{top + 18}" font-weight="bold">{escape(title)}</text>'
            f'<text x="{WIDTH - MARGIN}" y="{top + 18}" text-anchor="end">last {ys[-1]:g}, most {max(ys):g} {escape(unit)}</text>'
            f'<path d="M{MARGIN} {ceiling}V{base}H{WIDTH - MARGIN}" fill="none" stroke="#888"/>'
            f'<text x="{MARGIN - 4}" y="{base}" text-anchor="end">0</text>'
            f'<text x="{MARGIN - 4}" y="{float(ceiling) + 10:.1f}" text-anchor="end">{high:.3g}</text>'
            f'<polyline points="{line}" fill="none" stroke="{COLOURS[sum(map(ord, title)) % len(COLOURS)]}" stroke-width="1.5"/>')


def write(path, heading, abscissa, panels):
    """One panel below the other; each is a title, a unit and a list of (x, y)."""
    height = 40 + HEIGHT * len(panels) + 20
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" font-family="sans-serif" font-size="11">',
             '<rect width="100%" height="100%" fill="white"/>',
             f'<text x="{MARGIN}" y="24" font-size="15">{escape(heading)}</text>']
    parts += [_panel(40 + HEIGHT * i, *panel) for i, panel in enumerate(panels)]
    parts.append(f'<text x="{WIDTH / 2}" y="{height - 8}" text-anchor="middle">{escape(abscissa)}</text></svg>\n')
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(parts))
