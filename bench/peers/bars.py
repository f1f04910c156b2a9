"""Bars beside each other as a picture: plain SVG, readable by itself."""

from xml.sax.saxutils import escape

from measuring import Spread
from page import number

LABELS, BARS, VALUES = 330, 430, 150  # widths of the columns
ROW, GAP, TOP = 20, 30, 64
LONGEST = {"cpu": 8.0, "rate": 2.0}  # times the library's; what is longer is cut
LIBRARY, PEER, INK, LINE = "#1f6feb", "#b8c0cc", "#1b1f24", "#8a929c"


def text(x, y, words, **style):
    look = "".join(f' {name.replace("_", "-")}="{value}"' for name, value in style.items())
    return f'<text x="{x}" y="{y}"{look}>{escape(words)}</text>'


def bar(y, ratio, longest, colour):
    """A bar of `ratio` times the library's length; with a gap near its end where it is cut."""
    length = max(1.0, min(ratio, longest) * BARS / longest)
    shapes = [
        f'<rect x="{LABELS}" y="{y}" width="{length:.1f}" height="{ROW - 6}" fill="{colour}"/>'
    ]
    if ratio > longest:
        at = LABELS + length - 24
        shapes.append(
            f'<path d="M{at} {y + ROW - 4}l6 -{ROW - 2}" stroke="#ffffff" stroke-width="4"/>'
        )
    return shapes


def group(work, measure, y):
    """The bars of one work from `y` on, and where the next one begins; none without figures."""
    ours = work["library"][measure]
    sides = [("library", ours)] + [(peer["name"], peer[measure]) for peer in work["peers"]]
    sides = [(name, values) for name, values in sides if values and all(values)]
    if len(sides) < 2 or sides[0][0] != "library":
        return [], y
    shapes = [text(12, y + 13, work["title"].replace("`", ""), font_weight="bold")]
    y += ROW + 2
    longest = LONGEST[measure]
    mark = LABELS + BARS / longest  # where the library's bar ends
    line = f"M{mark} {y - 3}v{ROW * len(sides)}"
    shapes.append(f'<path d="{line}" stroke="{LINE}" stroke-dasharray="3 3"/>')
    for name, values in sides:
        own = name == "library"
        ratio = 1.0 if own else 1.0 / Spread.of_ratios(ours, values).middle
        shapes.append(text(LABELS - 10, y + 12, name, text_anchor="end"))
        shapes += bar(y, ratio, longest, LIBRARY if own else PEER)
        amount = number(Spread.of(values).middle) + (" ms" if measure == "cpu" else " a second")
        words = amount if own else f"{number(ratio)} x, {amount}"
        at = LABELS + min(max(ratio, 1.0), longest) * BARS / longest + 8
        shapes.append(text(f"{at:.1f}", y + 12, words))
        y += ROW
    return shapes, y + GAP - ROW


def draw(results, measure, title, remark):
    """All works; `measure` is "cpu" or "rate"."""
    shapes, y = [], TOP
    for work in results["works"]:
        more, y = group(work, measure, y)
        shapes += more
    width = LABELS + BARS + VALUES
    return "\n".join(
        [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{y}" '
            f'viewBox="0 0 {width} {y}" font-family="DejaVu Sans, sans-serif" font-size="12" '
            f'fill="{INK}">',
            f'<rect width="{width}" height="{y}" fill="#ffffff"/>',
            text(12, 26, title, font_size="17", font_weight="bold"),
            text(12, 46, remark),
            *shapes,
            "</svg>",
            "",
        ]
    )
