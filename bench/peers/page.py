"""The table of a page, between two lines that mark it."""

from measuring import Spread

BEGIN = "<!-- peers: begin; written by `make peers` -->"
END = "<!-- peers: end -->"


def number(value):
    """With two or three digits that count."""
    if value >= 100:
        return f"{value:.0f}"
    if value >= 10:
        return f"{value:.1f}"
    return f"{value:.2f}" if value >= 0.1 else f"{value:.3f}"


def spread(values):
    if values.least == values.most:
        return number(values.middle)
    return f"{number(values.middle)} ({number(values.least)} to {number(values.most)})"


def rate(values):
    return number(Spread.of(values).middle) if all(values) else "in real time"


def rows(work):
    """The rows of one work: the library, then each peer beside it."""
    ours = work["library"]
    unit = "" if work["unit"] == "picture" else f" (of a {work['unit']})"
    first = [f"**{work['title']}**{unit}", "library", spread(Spread.of(ours["cpu"]))]
    yield first + [rate(ours["rate"]), "", ""]
    for peer in work["peers"]:
        if not peer["cpu"]:
            yield ["", peer["name"], peer["missing"], "", "", ""]
            continue
        cpu = spread(Spread.of_ratios(ours["cpu"], peer["cpu"]))
        both = bool(peer["rate"]) and all(ours["rate"]) and all(peer["rate"])
        speed = spread(Spread.of_ratios(ours["rate"], peer["rate"])) if both else ""
        rates = rate(peer["rate"]) if peer["rate"] else ""
        yield ["", peer["name"], spread(Spread.of(peer["cpu"])), rates, cpu, speed]


def table(results):
    """What stands between the marks."""
    about = results["about"]
    head = ["Work", "Program", "CPU ms", "a second", "CPU: library / it", "speed: library / it"]
    lines = [
        f"{about['rounds']} rounds on {about['date']}; {about['machine']}; "
        + ", ".join(about["versions"])
        + ".",
        "",
        "| " + " | ".join(head) + " |",
        "|" + "---|" * len(head),
    ]
    for work in results["works"]:
        lines += ["| " + " | ".join(cells) + " |" for cells in rows(work)]
    return "\n".join(lines)


def with_table(page, text):
    """The page with another text between its marks; ValueError when it has none."""
    begin, end = page.find(BEGIN), page.find(END)
    if begin < 0 or end < begin or page.count(BEGIN) != 1 or page.count(END) != 1:
        raise ValueError("the page has no place for the table")
    return page[: begin + len(BEGIN)] + "\n\n" + text + "\n\n" + page[end:]
