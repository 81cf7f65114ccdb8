"""Line charts as SVG, with no library: a few curves over a common axis."""
WIDTH, HEIGHT = 760, 330  # without the legend
LEFT, RIGHT, TOP, BOTTOM = 70, 20, 40, 45
LEGEND_LINE = 18
COLOURS = ("#0b6fa4", "#c8501e", "#3d8b37", "#7a4fa3", "#555555")
TICKS = 5


def nice_step(span):
    """A round number so that about five of it make the span."""
    step = 10.0 ** (len(str(int(span))) - 1) if span >= 1 else 0.1
    while span / step > 2 * TICKS:
        step *= 2
    while span / step < TICKS / 2:
        step /= 2
    return step


def label(value):
    return f"{value:,.0f}" if value == int(value) else f"{value:g}"


def write_chart(path, title, x_name, y_name, curves):
    """`curves` is a list of (name, points), points a list of (x, y)."""
    x_most = max(x for _, points in curves for x, _ in points)
    y_most = max(y for _, points in curves for _, y in points) * 1.05 or 1
    plot_width, plot_height = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM

    def place(x, y):
        return LEFT + x / x_most * plot_width, TOP + plot_height - y / y_most * plot_height

    whole_height = HEIGHT + LEGEND_LINE * len(curves) + 8
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {whole_height}" '
           'font-family="sans-serif" font-size="11">',
           f'<rect width="{WIDTH}" height="{whole_height}" fill="#ffffff"/>',
           f'<text x="{LEFT}" y="18" font-size="14">{title}</text>']
    for most, is_x in ((x_most, True), (y_most, False)):
        step = nice_step(most)
        for k in range(int(most / step) + 1):
            x, y = place(k * step, 0) if is_x else place(0, k * step)
            end = f'x2="{x:.1f}" y2="{TOP}"' if is_x else f'x2="{LEFT + plot_width}" y2="{y:.1f}"'
            out.append(f'<line x1="{x:.1f}" y1="{y:.1f}" {end} stroke="#e2e2e2"/>')
            anchor = f'x="{x:.1f}" y="{y + 15:.1f}" text-anchor="middle"' if is_x else \
                f'x="{x - 6:.1f}" y="{y + 4:.1f}" text-anchor="end"'
            out.append(f"<text {anchor}>{label(k * step)}</text>")
    out.append(f'<text x="{LEFT + plot_width / 2}" y="{HEIGHT - 8}" text-anchor="middle">{x_name}</text>')
    out.append(f'<text x="14" y="{TOP + plot_height / 2}" text-anchor="middle" '
               f'transform="rotate(-90 14 {TOP + plot_height / 2})">{y_name}</text>')
    for number, (name, points) in enumerate(curves):
        colour = COLOURS[number % len(COLOURS)]
        line = " ".join("{:.1f},{:.1f}".format(*place(x, y)) for x, y in points)
        out.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="1.5"/>')
        y = HEIGHT + LEGEND_LINE * (number + 1) - 6
        out.append(f'<line x1="{LEFT}" y1="{y - 4}" x2="{LEFT + 20}" y2="{y - 4}" stroke="{colour}" stroke-width="3"/>')
        out.append(f'<text x="{LEFT + 28}" y="{y}">{name}</text>')
    path.write_text("\n".join([*out, "</svg>", ""]))
