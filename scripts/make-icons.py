#!/usr/bin/env python3
"""Writes resources/icons/*.svg: the symbols the interface names, drawn on a 24x24 grid.

Shapes are black; the app tints them at run time (Icons::symbol), so one shape serves as the
grey toolbar icon and the green or red status mark. Filled symbols cut their inner mark out
with the even-odd rule, so tinting keeps the mark visible.
"""
import argparse
import math
import os

RESOURCES = os.path.join(os.path.dirname(__file__), "..", "resources")
STROKE = 'fill="none" stroke="#000" stroke-width="1.8" stroke-linecap="round" stroke-linejoin="round"'


def svg(body):
    return ('<svg xmlns="http://www.w3.org/2000/svg" width="24" height="24" viewBox="0 0 24 24">'
            + body + "</svg>\n")


def stroke(d):
    return f'<path d="{d}" {STROKE}/>'


def fill(d):
    return f'<path d="{d}" fill="#000" fill-rule="evenodd"/>'


def circle_path(cx, cy, r):
    return f"M{cx - r:.2f} {cy:.2f}a{r} {r} 0 1 0 {2 * r} 0a{r} {r} 0 1 0 {-2 * r} 0Z"


def polygon(points):
    return "M" + "L".join(f"{x:.2f} {y:.2f}" for x, y in points) + "Z"


def thick_polyline(points, half):
    """The outline of a polyline drawn `half` wide on each side (mitred joints)."""
    def normal(a, b):
        dx, dy = b[0] - a[0], b[1] - a[1]
        length = math.hypot(dx, dy)
        return (-dy / length, dx / length)

    normals = [normal(points[i], points[i + 1]) for i in range(len(points) - 1)]
    left, right = [], []
    for i, p in enumerate(points):
        if i == 0:
            n = normals[0]
            scale = 1
        elif i == len(points) - 1:
            n = normals[-1]
            scale = 1
        else:
            a, b = normals[i - 1], normals[i]
            n = (a[0] + b[0], a[1] + b[1])
            ln = math.hypot(*n)
            n = (n[0] / ln, n[1] / ln)
            scale = 1 / max(0.3, n[0] * a[0] + n[1] * a[1])
        left.append((p[0] + n[0] * half * scale, p[1] + n[1] * half * scale))
        right.append((p[0] - n[0] * half * scale, p[1] - n[1] * half * scale))
    return polygon(left + right[::-1])


def cross(cx, cy, length, half, angle=0.0):
    base = [(-half, -length), (half, -length), (half, -half), (length, -half), (length, half), (half, half),
            (half, length), (-half, length), (-half, half), (-length, half), (-length, -half), (-half, -half)]
    c, s = math.cos(angle), math.sin(angle)
    return polygon([(cx + x * c - y * s, cy + x * s + y * c) for x, y in base])


def clock(cx, cy, r):
    return stroke(circle_path(cx, cy, r)) + stroke(f"M{cx} {cy - r * 0.55}V{cy}l{r * 0.4} {r * 0.3}")


def gear(cx, cy, r, teeth=8):
    """A solid gear with a round hole: teeth alternate between the outer and inner radius."""
    points = []
    inner = r * 0.72
    for i in range(teeth):
        base = 2 * math.pi * i / teeth
        half_tooth = math.pi / teeth * 0.5
        for a, radius in ((base - half_tooth * 1.3, inner), (base - half_tooth * 0.7, r),
                          (base + half_tooth * 0.7, r), (base + half_tooth * 1.3, inner)):
            points.append((cx + math.cos(a) * radius, cy + math.sin(a) * radius))
    return fill(polygon(points) + circle_path(cx, cy, r * 0.32))


CHECK = [(7, 12.5), (10.5, 16), (17, 8.5)]
ICONS = {
    "plus": stroke("M12 5v14M5 12h14"),
    "circle": stroke(circle_path(12, 12, 9)),
    "plus.circle": stroke(circle_path(12, 12, 9)) + stroke("M12 8v8M8 12h8"),
    "minus.circle": stroke(circle_path(12, 12, 9)) + stroke("M8 12h8"),
    "plus.circle.fill": fill(circle_path(12, 12, 10) + cross(12, 12, 5, 1.1)),
    "checkmark": stroke("M5 12.5l4.5 4.5L19 7"),
    "checkmark.circle": stroke(circle_path(12, 12, 9)) + stroke("M8 12.5l3 3 5-6"),
    "checkmark.circle.fill": fill(circle_path(12, 12, 10) + thick_polyline(CHECK, 1.15)),
    "xmark.circle": stroke(circle_path(12, 12, 9)) + stroke("M9 9l6 6M15 9l-6 6"),
    "xmark.circle.fill": fill(circle_path(12, 12, 10) + cross(12, 12, 5, 1.1, math.pi / 4)),
    "play.fill": fill("M7 4.5v15a.8.8 0 0 0 1.2.7l12-7.5a.8.8 0 0 0 0-1.4l-12-7.5A.8.8 0 0 0 7 4.5Z"),
    "play.circle": stroke(circle_path(12, 12, 9)) + stroke("M10 8.5v7l5.5-3.5Z"),
    "arrow.clockwise": stroke("M19 12a7 7 0 1 1-2.05-4.95") + stroke("M19 4v4h-4"),
    "arrow.clockwise.circle": stroke(circle_path(12, 12, 9.5))
    + stroke("M16 12a4 4 0 1 1-1.17-2.83") + stroke("M16 7.5v2.5h-2.5"),
    "trash": stroke("M4 7h16M9.5 7V4.5h5V7M6.5 7l1 12.5h9l1-12.5M10.5 11v5M13.5 11v5"),
    "pencil": stroke("M15.5 4.5l4 4L9 19H5v-4Z") + stroke("M13.5 6.5l4 4"),
    "doc.on.doc": stroke("M9 7V4.5h8L20 7.5V17h-3") + stroke("M5 7.5h8l3 3v9.5H5Z"),
    "doc.text": stroke("M6 3.5h8l4 4V20.5H6Z") + stroke("M14 3.5v4h4M9 12h6M9 15h6M9 18h4"),
    "doc.text.fill": fill("M6 3h8.5L19 7.5V21H5.5V3.5A.5.5 0 0 1 6 3Z"
                          "M8.5 11.2h7v1.6h-7ZM8.5 14.2h7v1.6h-7ZM8.5 17.2h4.5v1.6H8.5Z"),
    "terminal": stroke("M3.5 5h17v14h-17Z") + stroke("M7 9.5l3 2.5-3 2.5M12 15h5"),
    "folder": stroke("M3.5 6.5v12h17V8.5h-8.5L10 6H4Z"),
    "folder.badge.gearshape": stroke("M3.5 6.5v12h9M20.5 11V8.5h-8.5L10 6H4") + gear(18, 17, 4.6, 7),
    "envelope": stroke("M3.5 6h17v12h-17Z") + stroke("M4 6.5l8 6.5 8-6.5"),
    "sparkles.rectangle.stack": stroke("M5 9.5h14v10H5Z") + stroke("M7 6.5h10M9 3.5h6")
    + fill("M12 11l.9 2.6 2.6.9-2.6.9-.9 2.6-.9-2.6-2.6-.9 2.6-.9Z"),
    "square.and.arrow.up": stroke("M8.5 9.5H6v10.5h12V9.5h-2.5") + stroke("M12 3.5v11M8.5 7l3.5-3.5L15.5 7"),
    "power": stroke("M12 3.5v8") + stroke("M7.2 6.5a7.5 7.5 0 1 0 9.6 0"),
    "exclamationmark.triangle": stroke("M12 3.5l9.5 16.5h-19Z") + stroke("M12 10v4.5")
    + fill(circle_path(12, 17.3, 1.1)),
    "list.bullet.rectangle": stroke("M3.5 4.5h17v15h-17Z") + stroke("M10 9h7.5M10 12h7.5M10 15h7.5")
    + fill(circle_path(7, 9, 1) + circle_path(7, 12, 1) + circle_path(7, 15, 1)),
    "calendar.badge.clock": stroke("M3.5 5.5h15v6M3.5 5.5v14h8M3.5 9.5h15M7.5 3v4M14.5 3v4")
    + clock(17.5, 17.5, 4.5),
    "clock.badge.checkmark": clock(10.5, 11, 8) + fill(circle_path(18, 18, 5.5)
                                                        + thick_polyline([(15.6, 18.2), (17.4, 20), (20.4, 16.4)], 0.8)),
    "clock.badge.questionmark": clock(10.5, 11, 8) + fill(circle_path(18, 18, 5.5)
                                                           + thick_polyline([(16.4, 16.8), (16.6, 15.6), (18, 15), (19.4, 15.6),
                                                                             (19.4, 17), (18, 17.8), (18, 18.6)], 0.7)
                                                           + circle_path(18, 20.6, 0.75)),
    "gearshape.2": gear(9, 9.5, 7, 9) + gear(17.8, 17.6, 4.6, 7),
    "clock.badge.exclamationmark": '<path d="M16.2 4.2A9 9 0 1 0 20.5 13.2" fill="none" stroke="#000" stroke-width="2.6"'
    ' stroke-linecap="round"/>'
    '<path d="M12 7v5l3.5 2.2" fill="none" stroke="#000" stroke-width="2.6" stroke-linecap="round"'
    ' stroke-linejoin="round"/>'
    '<path d="M19.5 2.5v5.5" fill="none" stroke="#000" stroke-width="3" stroke-linecap="round"/>'
    f'<path d="{circle_path(19.5, 10.6, 1.2)}" fill="#000"/>',
    "tablecells.badge.clock": stroke("M3.5 4.5h16v6M3.5 4.5v14h7.5M3.5 9h16M3.5 13.5h7.5M9 4.5v14")
    + stroke("M13 17.5a4.5 4.5 0 1 0 9 0a4.5 4.5 0 1 0 -9 0Z") + stroke("M17.5 15v2.5l1.8 1.3"),
    "timer": stroke("M5 13.5a7 7 0 1 0 14 0a7 7 0 1 0 -14 0Z") + stroke("M10 3h4M12 3v3.5M12 13.5l3-3M18 6.5l1.3-1.3"),
    "xmark.octagon.fill": fill("M8.10 2.50h7.80l5.60 5.60v7.80l-5.60 5.60h-7.80l-5.60-5.60v-7.80Z"
                               + cross(12, 12, 5, 1.1, math.pi / 4)),
    # The toolbar's and menu bar's "more" buttons, for when they run out of room.
    "chevron.right.2": stroke("M6 7l5 5-5 5M13 7l5 5-5 5"),
    "chevron.down.2": stroke("M7 6l5 5 5-5M7 13l5 5 5-5"),
}

APP_ICON = svg(
    '<defs><linearGradient id="g" x1="0" y1="0" x2="0" y2="1">'
    '<stop offset="0" stop-color="#5a8f6a"/><stop offset="1" stop-color="#3b6b4b"/></linearGradient></defs>'
    '<rect x="1" y="1" width="22" height="22" rx="5" fill="url(#g)"/>'
    '<circle cx="12" cy="12" r="7" fill="none" stroke="#fff" stroke-width="1.6"/>'
    '<path d="M12 7.5V12l3 2" fill="none" stroke="#fff" stroke-width="1.6" stroke-linecap="round"/>'
    '<path d="M4.5 19.5l2-1.5-2-1.5" fill="none" stroke="#ffd27a" stroke-width="1.3" stroke-linecap="round"/>'
)


def main():
    parser = argparse.ArgumentParser(description="Draws the symbols into FOLDER/icons and FOLDER/icons.qrc.")
    parser.add_argument("--out", metavar="FOLDER", default=RESOURCES, help="resources/ unless given")
    out = os.path.join(parser.parse_args().out, "icons")
    os.makedirs(out, exist_ok=True)
    for name, body in ICONS.items():
        with open(os.path.join(out, name + ".svg"), "w") as f:
            f.write(svg(body))
    with open(os.path.join(out, "moxley.svg"), "w") as f:
        f.write(APP_ICON)
    names = sorted(list(ICONS) + ["moxley"])
    qrc = ['<!DOCTYPE RCC>', '<RCC version="1.0">', '<qresource prefix="/icons">']
    qrc += [f'  <file alias="{n}.svg">icons/{n}.svg</file>' for n in names]
    qrc += ['</qresource>', '</RCC>', '']
    with open(os.path.join(out, "..", "icons.qrc"), "w") as f:
        f.write("\n".join(qrc))


if __name__ == "__main__":
    main()
