"""Charts as SVG, with nothing but the standard library: curves over a growing number, and bars."""
import math

COLORS = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#666666"]
INK, GRID = "#333333", "#dddddd"
WIDTH, LEFT, RIGHT, TOP = 760, 70, 24, 20
PLOT_HEIGHT, LEGEND_LINE = 230, 18


def label(x, y, words, size=11, anchor="middle", extra=""):
    words = words.replace("&", "&amp;").replace("<", "&lt;")
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{INK}" {extra}>{words}</text>'


def short(value):
    if value == 0:
        return "0"
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def document(height, parts):
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" height="{height}" '
        'font-family="DejaVu Sans, Verdana, sans-serif">', f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
        *parts, "</svg>", ""])


def legend(names, top):
    parts = []
    for i, name in enumerate(names):
        y = top + i // 3 * LEGEND_LINE
        x = LEFT + i % 3 * 225
        parts += [f'<rect x="{x}" y="{y - 8}" width="14" height="8" fill="{COLORS[i % len(COLORS)]}"/>',
                  label(x + 20, y, name, 11, "start")]
    return parts, math.ceil(len(names) / 3) * LEGEND_LINE


def ticks_between(low, high):
    """1, 2 and 5 times the powers of ten; of many only the powers."""
    powers = range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)
    ticks = [step * 10.0 ** power for power in powers for step in ((1, 2, 5) if len(powers) < 4 else (1,))]
    return [tick for tick in ticks if low * 0.999 <= tick <= high * 1.001]


def curves(x_title, y_title, series, reference=None):
    """Both axes logarithmic. series: a name and its (x, y) each; reference: a value of y with a dashed line."""
    values = [y for _, points in series for _, y in points] + ([reference] if reference else [])
    low, high = min(values) / 1.3, max(values) * 1.3
    xs = sorted({x for _, points in series for x, _ in points})
    keys, key_height = legend([name for name, _ in series], TOP)
    top = TOP + key_height + 12
    span = max(math.log10(xs[-1] / xs[0]), 1e-9)

    def at_x(x):
        return LEFT + (WIDTH - LEFT - RIGHT) * math.log10(x / xs[0]) / span

    def at_y(y):
        return top + PLOT_HEIGHT * (1 - math.log10(y / low) / math.log10(high / low))

    parts = list(keys)
    for tick in ticks_between(low, high):
        parts += [f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{at_y(tick):.1f}" y2="{at_y(tick):.1f}" stroke="{GRID}"/>',
                  label(LEFT - 6, at_y(tick) + 4, short(tick), 10, "end")]
    parts += [label(at_x(x), top + PLOT_HEIGHT + 16, short(x), 10) for x in xs]
    if reference:
        parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{at_y(reference):.1f}" y2="{at_y(reference):.1f}" '
                     f'stroke="{INK}" stroke-dasharray="5 4"/>')
    for i, (_, points) in enumerate(series):
        color = COLORS[i % len(COLORS)]
        line = " ".join(f"{at_x(x):.1f},{at_y(y):.1f}" for x, y in points)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{color}" stroke-width="2"/>')
        parts += [f'<circle cx="{at_x(x):.1f}" cy="{at_y(y):.1f}" r="3" fill="{color}"/>' for x, y in points]
    bottom = top + PLOT_HEIGHT
    parts += [label((LEFT + WIDTH) / 2, bottom + 36, x_title),
              label(16, top + PLOT_HEIGHT / 2, y_title, 11, "middle",
                    f'transform="rotate(-90 16 {top + PLOT_HEIGHT / 2:.1f})"')]
    return document(bottom + 50, parts)


def bars(value_title, groups, limit=None):
    """Lying bars. groups: a title and its (name, value) each; limit: a value with a dashed line."""
    names = list(dict.fromkeys(name for _, rows in groups for name, _ in rows))
    left, bar, step = 210, 13, 18
    most = max(value for _, rows in groups for _, value in rows) * 1.12
    parts, y = [], TOP
    top = TOP
    for title, rows in groups:
        parts.append(label(left, y + 10, title, 11, "start", 'font-weight="bold"'))
        y += step
        for name, value in rows:
            width = (WIDTH - left - 60) * value / most
            parts += [label(left - 8, y + 11, name, 11, "end"),
                      f'<rect x="{left}" y="{y}" width="{max(width, 1):.1f}" height="{bar}" '
                      f'fill="{COLORS[names.index(name) % len(COLORS)]}"/>',
                      label(left + width + 5, y + 11, f"{value:.2f}" if value < 10 else short(value), 10, "start")]
            y += step
        y += 8
    if limit:
        x = left + (WIDTH - left - 60) * limit / most
        parts.append(f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top}" y2="{y}" stroke="{INK}" stroke-dasharray="5 4"/>')
    parts.append(label(left, y + 12, value_title, 11, "start"))
    return document(y + 26, parts)
