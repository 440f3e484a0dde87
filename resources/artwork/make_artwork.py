#!/usr/bin/env python3
"""Draws the application icon and the eight product banners.

    make_artwork.py [folder of the resources [folder of the desktop's icons]]

Each picture is composed as SVG here and rendered by rsvg-convert (package librsvg2-bin). The icon
is 1024 by 1024. A banner is 1920 by 105: its motif stands in the left 150 pixels, which the window
keeps clear, and what lies to the right stays calm, because text is painted over it.
"""

import math
import random
import struct
import subprocess
import sys
from pathlib import Path

BANNER_WIDTH, BANNER_HEIGHT = 1920, 105
ICON_SIZE = 1024
# What a desktop and an installer want of the icon, beside the drawing itself.
DESKTOP_ICON_SIZES = (16, 24, 32, 48, 64, 128, 256, 512)
WINDOWS_ICON_SIZES = (16, 24, 32, 48, 64, 128, 256)
ICO_HEAD, ICO_ENTRY = struct.Struct("<3H"), struct.Struct("<4B2H2I")


def polyline(points, colour, width, opacity=1.0, extra=""):
    """A line through the points, with round ends."""
    path = " ".join(f"{x:.2f},{y:.2f}" for x, y in points)
    return (
        f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="{width}" '
        f'stroke-opacity="{opacity}" stroke-linecap="round" stroke-linejoin="round" {extra}/>'
    )


def circle(x, y, radius, fill="none", stroke="none", width=1.0, opacity=1.0):
    return (
        f'<circle cx="{x:.2f}" cy="{y:.2f}" r="{radius:.2f}" fill="{fill}" stroke="{stroke}" '
        f'stroke-width="{width}" opacity="{opacity}"/>'
    )


def rect(x, y, width, height, fill="none", radius=0.0, stroke="none", line=1.0, opacity=1.0):
    return (
        f'<rect x="{x:.2f}" y="{y:.2f}" width="{width:.2f}" height="{height:.2f}" rx="{radius}" '
        f'fill="{fill}" stroke="{stroke}" stroke-width="{line}" opacity="{opacity}"/>'
    )


def path(data, fill="none", stroke="none", width=1.0, opacity=1.0):
    return (
        f'<path d="{data}" fill="{fill}" stroke="{stroke}" stroke-width="{width}" opacity="{opacity}" '
        f'stroke-linecap="round" stroke-linejoin="round"/>'
    )


def curve(function, start, end, step=2.0):
    """The points of a function of x."""
    count = int((end - start) / step) + 1
    return [(start + i * step, function(start + i * step)) for i in range(count)]


def banner(accent, glow, motif, far):
    """A banner: its ground with a glow behind the motif, the faint pattern far right, the motif."""
    return f"""<svg xmlns="http://www.w3.org/2000/svg" width="{BANNER_WIDTH}" height="{BANNER_HEIGHT}"
     viewBox="0 0 {BANNER_WIDTH} {BANNER_HEIGHT}">
  <defs>
    <linearGradient id="ground" x1="0" y1="0" x2="1" y2="0">
      <stop offset="0" stop-color="{glow}"/>
      <stop offset="0.16" stop-color="#14233a"/>
      <stop offset="0.6" stop-color="#101a2b"/>
      <stop offset="1" stop-color="#16263f"/>
    </linearGradient>
    <radialGradient id="glow" gradientUnits="userSpaceOnUse" cx="76" cy="52" r="170">
      <stop offset="0" stop-color="{accent}" stop-opacity="0.42"/>
      <stop offset="1" stop-color="{accent}" stop-opacity="0"/>
    </radialGradient>
    <linearGradient id="fade" x1="0" y1="0" x2="1" y2="0">
      <stop offset="0.10" stop-color="white" stop-opacity="0"/>
      <stop offset="0.55" stop-color="white" stop-opacity="0.55"/>
      <stop offset="1" stop-color="white" stop-opacity="1"/>
    </linearGradient>
    <mask id="calm"><rect width="{BANNER_WIDTH}" height="{BANNER_HEIGHT}" fill="url(#fade)"/></mask>
  </defs>
  <rect width="{BANNER_WIDTH}" height="{BANNER_HEIGHT}" fill="url(#ground)"/>
  <rect width="{BANNER_WIDTH}" height="{BANNER_HEIGHT}" fill="url(#glow)"/>
  <g mask="url(#calm)" opacity="0.34">{far}</g>
  {motif}
</svg>
"""


def streamlark():
    """Live streaming: a bird that sings radio waves."""
    body = path(
        "M22 70 C34 66 44 60 52 50 C58 40 70 34 82 38 L94 36 L86 46 C84 62 72 76 54 80 "
        "C44 82 36 80 22 70 Z",
        fill="#f4f8ff",
    )
    wing = path("M46 66 C56 62 66 54 72 46 C74 60 64 72 48 74 Z", fill="#58b4ff")
    eye = circle(79, 44, 2.2, fill="#14233a")
    waves = "".join(
        path(
            f"M{98 + 0.5 * r:.1f} {42 - r:.1f} A{r * 1.15:.1f} {r * 1.15:.1f} 0 0 1 "
            f"{98 + 0.5 * r:.1f} {42 + r:.1f}",
            stroke="#7cc7ff",
            width=4,
            opacity=1.1 - r / 40,
        )
        for r in (8, 17, 26)
    )
    far = "".join(
        polyline(
            curve(lambda x, k=k: 52 + (10 + 4 * k) * math.sin(x / (90 + 14 * k) + k), 200, 1920, 6),
            "#58b4ff",
            1.6,
            0.9 - 0.14 * k,
        )
        for k in range(5)
    )
    return banner("#2f8fe8", "#12406e", body + wing + eye + waves, far)


def kodrane():
    """Transcoding: one film frame becomes renditions of three sizes."""
    frame = rect(14, 28, 50, 49, fill="#20324e", radius=5, stroke="#ffb454", line=2.5)
    holes = "".join(
        rect(19 + 10.5 * i, y, 6, 5, fill="#ffb454", radius=1) for i in range(4) for y in (32, 68)
    )
    play = path("M33 43 L48 52.5 L33 62 Z", fill="#fff3df")
    arrows = "".join(
        path(f"M70 52.5 C80 52.5 80 {y} 90 {y}", stroke="#ffcf8f", width=2.4) for y in (24, 53, 82)
    )
    renditions = (
        rect(93, 13, 40, 22, fill="#ffb454", radius=3)
        + rect(93, 44, 30, 18, fill="#ffb454", radius=3, opacity=0.8)
        + rect(93, 75, 20, 14, fill="#ffb454", radius=3, opacity=0.6)
    )
    source = random.Random(7)
    far = "".join(
        rect(260 + 26 * i, 52 - h / 2, 16, h, fill="#ffb454", radius=2, opacity=source.uniform(0.2, 0.7))
        for i in range(64)
        for h in [source.uniform(8, 70)]
    )
    return banner("#e08a1e", "#4a3212", frame + holes + play + arrows + renditions, far)


def pathveil():
    """Routing: inputs cross over to outputs through one veil of paths."""
    left, right = [18, 41, 64, 87], [18, 41, 64, 87]
    colours = ["#5ef0c0", "#39c8ff", "#9d8cff", "#ffd166"]
    routes = [(0, 2), (1, 0), (2, 3), (3, 1)]
    lines = "".join(
        path(
            f"M22 {left[a]} C70 {left[a]} 84 {right[b]} 130 {right[b]}",
            stroke=colours[a],
            width=3.2,
            opacity=0.95,
        )
        for a, b in routes
    )
    ends = "".join(circle(20, left[a], 6, fill=colours[a]) for a, _ in routes) + "".join(
        circle(132, right[b], 6, fill="#0f1b2d", stroke=colours[a], width=3) for a, b in routes
    )
    far = "".join(
        path(
            f"M{200 + 240 * k} {y1} C{330 + 240 * k} {y1} {330 + 240 * k} {y2} {460 + 240 * k} {y2}",
            stroke="#5ef0c0",
            width=1.5,
        )
        for k in range(7)
        for y1, y2 in ((18, 64), (41, 18), (64, 87), (87, 41))
    )
    return banner("#18b48a", "#0f4a44", lines + ends, far)


def fluxorin():
    """File support: documents of many kinds out of one camera."""
    sheets = "".join(
        f'<g transform="rotate({angle} {x + 20} 80)">'
        + path(
            f"M{x} 20 h28 l12 12 v54 a4 4 0 0 1 -4 4 h-36 a4 4 0 0 1 -4 -4 v-62 a4 4 0 0 1 4 -4 Z",
            fill=fill,
        )
        + path(f"M{x + 28} 20 v12 h12 Z", fill="#ffffff", opacity=0.55)
        + "</g>"
        for x, angle, fill in ((24, -14, "#7a5cff"), (48, 0, "#a78bfa"), (72, 14, "#d9ccff"))
    )
    lens = (
        circle(76, 62, 21, fill="#1b1740", stroke="#f3efff", width=3.5)
        + circle(76, 62, 12, fill="#4527c9")
        + circle(76, 62, 6, fill="#8f7bff")
        + circle(71, 57, 3, fill="#ffffff", opacity=0.9)
    )
    far = "".join(
        path(
            f"M{260 + 74 * i} {24 + 9 * (i % 3)} h26 l10 10 v38 h-36 Z",
            stroke="#a78bfa",
            width=1.6,
        )
        for i in range(23)
    )
    return banner("#6d4df2", "#2d2168", sheets + lens, far)


def vidruna():
    """File inspection: a lens over the frames of a film."""
    strip = rect(8, 30, 132, 45, fill="#1b2b3f", radius=4, stroke="#ff7a90", line=2)
    frames = "".join(rect(15 + 31 * i, 38, 25, 29, fill="#31465f", radius=2) for i in range(4))
    holes = "".join(
        rect(13 + 12.6 * i, y, 6, 3.4, fill="#ff7a90", radius=1, opacity=0.8)
        for i in range(10)
        for y in (32.2, 69.6)
    )
    lens = circle(74, 47, 29, fill="#0f1b2d") + circle(74, 47, 29, stroke="#ffe1e6", width=5)
    source = random.Random(11)
    bars = "".join(
        rect(56 + 5.2 * i, 62 - h, 3.6, h, fill="#ff7a90", radius=1)
        for i in range(7)
        for h in [8 + 24 * math.exp(-(((i - 3.2) / 2.0) ** 2)) + source.uniform(0, 3)]
    )
    handle = path("M95 68 L113 88", stroke="#ffe1e6", width=9)
    tick = path("M112 24 l8 8 l15 -17", stroke="#67e8a5", width=5)
    far = "".join(
        rect(240 + 66 * i, 34, 50, 38, radius=3, stroke="#ff7a90", line=1.5) for i in range(26)
    )
    return banner("#d83a5c", "#55202f", strip + frames + holes + lens + bars + handle + tick, far)


def graticule(x, y, width, height, colour, columns=6, rows=4):
    """The grid of a scope's screen."""
    lines = [
        polyline([(x + width * i / columns, y), (x + width * i / columns, y + height)], colour, 0.7, 0.5)
        for i in range(columns + 1)
    ]
    lines += [
        polyline([(x, y + height * i / rows), (x + width, y + height * i / rows)], colour, 0.7, 0.5)
        for i in range(rows + 1)
    ]
    return "".join(lines)


def waveform(x, y, width, height, seed, colour, strands=9):
    """The trace of a video waveform: strands that follow one picture line each."""
    source = random.Random(seed)
    traces = []
    for _ in range(strands):
        shift, lift = source.uniform(-0.25, 0.25), source.uniform(-0.07, 0.07)
        points = [
            (
                x + width * t / 40,
                y + height * (0.52 - lift - 0.30 * math.sin(t / 5.2 + shift) * math.cos(t / 13 + shift)),
            )
            for t in range(41)
        ]
        traces.append(polyline(points, colour, 0.9, 0.6))
    return "".join(traces)


def vectorscope(x, y, radius, colour, seed=3):
    """A vectorscope: its circle, the axes, the six targets and a cloud of chroma."""
    parts = [
        circle(x, y, radius, fill="#08131a", stroke=colour, width=1.6),
        polyline([(x - radius, y), (x + radius, y)], colour, 0.7, 0.6),
        polyline([(x, y - radius), (x, y + radius)], colour, 0.7, 0.6),
    ]
    hues = ["#ff5f5f", "#ff5fe0", "#6f7bff", "#5fe6ff", "#6bff7d", "#fff06b"]
    previous = None
    for i, hue in enumerate(hues):
        angle = math.radians(-104 + 60 * i)
        tx, ty = x + 0.72 * radius * math.cos(angle), y + 0.72 * radius * math.sin(angle)
        size = max(3.0, radius * 0.13)
        parts.append(rect(tx - size / 2, ty - size / 2, size, size, stroke=hue, line=1.3))
        if previous:
            parts.append(polyline([previous, (tx, ty)], "#8dffc0", 0.9, 0.75))
        parts.append(polyline([(x, y), (tx, ty)], "#8dffc0", 0.7, 0.55))
        previous = (tx, ty)
    source = random.Random(seed)
    for _ in range(46):
        angle, distance = source.uniform(0, 2 * math.pi), abs(source.gauss(0, 0.22)) * radius
        parts.append(
            circle(x + distance * math.cos(angle), y + distance * math.sin(angle), 0.8, "#c9ffe0", opacity=0.8)
        )
    return "".join(parts)


def corvanescope():
    """A waveform monitor beside a vectorscope."""
    screen = rect(8, 14, 74, 77, fill="#08131a", radius=5, stroke="#36d399", line=2)
    motif = (
        screen
        + graticule(13, 20, 64, 65, "#36d399")
        + waveform(13, 20, 64, 65, 5, "#7dffc4", 11)
        + vectorscope(116, 52, 29, "#36d399")
    )
    far = "".join(
        polyline(
            curve(
                lambda x, k=k: 52 + (26 - 2 * k) * math.sin(x / 70 + k / 9) * math.cos(x / 330 + k / 5),
                200,
                1920,
                5,
            ),
            "#36d399",
            1.1,
            0.6,
        )
        for k in range(7)
    )
    return banner("#1c9c6b", "#0d3f36", motif, far)


def scopelune():
    """Several scopes at once, under a crescent moon."""
    tiles = "".join(
        rect(x, y, 46, 37, fill="#0a1524", radius=4, stroke="#8fb8ff", line=1.5)
        for x in (8, 60)
        for y in (12, 56)
    )
    histogram = "".join(
        rect(64 + 3.8 * i, 89 - h, 2.6, h, fill="#8fb8ff")
        for i in range(10)
        for h in [5 + 20 * math.exp(-(((i - 5.5) / 2.4) ** 2))]
    )
    parade = "".join(
        waveform(10 + 14.4 * i, 58, 13, 33, 20 + i, colour, 4)
        for i, colour in enumerate(("#ff8f8f", "#8fffae", "#8fb8ff"))
    )
    motif = (
        tiles
        + waveform(11, 14, 40, 33, 9, "#bcd4ff", 7)
        + vectorscope(83, 30.5, 15.5, "#8fb8ff", 4)
        + parade
        + histogram
        + path("M139 26 a27 27 0 1 0 0 53 a34 34 0 0 1 0 -53 Z", fill="#ffe9a8")
    )
    far = "".join(
        rect(260 + 88 * i, 14 + 42 * row, 74, 34, radius=4, stroke="#8fb8ff", line=1.3)
        for i in range(19)
        for row in range(2)
    )
    return banner("#3f6fd8", "#1c2f66", motif, far)


def testcardia():
    """A test card: colour bars, castellations and the circle."""
    bars = ["#c8c8c8", "#c8c800", "#00c8c8", "#00c800", "#c800c8", "#c80000", "#0000c8"]
    width = 130 / len(bars)
    field = rect(8, 10, 134, 85, fill="#0b0f16", radius=4, stroke="#f5f7fa", line=2)
    stripes = "".join(
        rect(10 + width * i, 12, width + 0.3, 53, fill=colour) for i, colour in enumerate(bars)
    )
    steps = "".join(
        rect(10 + 13 * i, 65, 13.2, 15, fill=f"rgb({v},{v},{v})")
        for i in range(10)
        for v in [int(255 * i / 9)]
    )
    castle = "".join(
        rect(10 + 10 * i, 80, 10, 13, fill="#f5f7fa" if i % 2 == 0 else "#0b0f16") for i in range(13)
    )
    ring = (
        circle(75, 52, 36, stroke="#ffffff", width=2.6)
        + polyline([(39, 52), (111, 52)], "#ffffff", 1.6)
        + polyline([(75, 16), (75, 88)], "#ffffff", 1.6)
    )
    far = "".join(
        rect(240 + 120 * i, 0, 120, 105, fill=bars[i % len(bars)], opacity=0.28) for i in range(14)
    )
    return banner("#4a6a8f", "#22344c", field + stripes + steps + castle + ring, far)


def icon():
    """A radar screen that has found a camera, a speaker and a player."""
    centre = ICON_SIZE / 2
    rings = "".join(
        circle(centre, centre + 8, radius, stroke="#58a6ff", width=9, opacity=opacity)
        for radius, opacity in ((130, 0.9), (232, 0.65), (334, 0.45))
    )
    axes = polyline([(centre - 334, centre + 8), (centre + 334, centre + 8)], "#58a6ff", 5, 0.35) + polyline(
        [(centre, centre - 326), (centre, centre + 342)], "#58a6ff", 5, 0.35
    )
    steps = 60
    sweep = ""
    for i in range(steps):
        begin = math.radians(-46 - 80 * i / steps)
        end = math.radians(-46 - 80 * (i + 1.1) / steps)
        x1, y1 = centre + 334 * math.cos(begin), centre + 8 + 334 * math.sin(begin)
        x2, y2 = centre + 334 * math.cos(end), centre + 8 + 334 * math.sin(end)
        sweep += path(
            f"M{centre} {centre + 8} L{x1:.2f} {y1:.2f} A334 334 0 0 0 {x2:.2f} {y2:.2f} Z",
            fill="#4f9dff",
            opacity=round(0.62 * (1 - i / steps) ** 1.6, 4),
        )
    edge = math.radians(-46)
    beam = polyline(
        [(centre, centre + 8), (centre + 334 * math.cos(edge), centre + 8 + 334 * math.sin(edge))],
        "#cfe4ff",
        12,
    )

    def blip(x, y, colour, radius):
        return (
            circle(x, y, radius * 2.3, fill=colour, opacity=0.20)
            + circle(x, y, radius * 1.5, fill=colour, opacity=0.30)
            + circle(x, y, radius, fill=colour)
            + circle(x - radius * 0.3, y - radius * 0.3, radius * 0.32, fill="#ffffff", opacity=0.85)
        )

    blips = blip(628, 300, "#5ef0c0", 36) + blip(330, 420, "#ffd166", 30) + blip(640, 690, "#ff7a90", 32)
    core = circle(centre, centre + 8, 46, fill="#eaf3ff") + circle(centre, centre + 8, 22, fill="#1f6feb")
    return f"""<svg xmlns="http://www.w3.org/2000/svg" width="{ICON_SIZE}" height="{ICON_SIZE}"
     viewBox="0 0 {ICON_SIZE} {ICON_SIZE}">
  <defs>
    <linearGradient id="case" x1="0" y1="0" x2="0.35" y2="1">
      <stop offset="0" stop-color="#2a4a7f"/>
      <stop offset="0.5" stop-color="#182b4d"/>
      <stop offset="1" stop-color="#0e1a30"/>
    </linearGradient>
    <radialGradient id="screen" cx="0.5" cy="0.48" r="0.62">
      <stop offset="0" stop-color="#17407f"/>
      <stop offset="0.7" stop-color="#0d2247"/>
      <stop offset="1" stop-color="#081427"/>
    </radialGradient>
  </defs>
  <rect x="32" y="32" width="960" height="960" rx="216" fill="url(#case)"/>
  <rect x="38" y="38" width="948" height="948" rx="210" fill="none" stroke="#7fb2ff"
        stroke-opacity="0.35" stroke-width="10"/>
  <circle cx="{centre}" cy="{centre + 8}" r="386" fill="url(#screen)" stroke="#9cc5ff"
          stroke-opacity="0.55" stroke-width="12"/>
  {axes}{rings}{sweep}{beam}{blips}{core}
</svg>
"""


BANNERS = {
    "streamlark": streamlark,
    "kodrane": kodrane,
    "pathveil": pathveil,
    "fluxorin": fluxorin,
    "vidruna": vidruna,
    "corvanescope": corvanescope,
    "scopelune": scopelune,
    "testcardia": testcardia,
}


def render(svg, target, size=None):
    target.parent.mkdir(parents=True, exist_ok=True)
    scaled = ["--width", str(size), "--height", str(size)] if size else []
    subprocess.run(["rsvg-convert", *scaled, "--output", str(target)], input=svg.encode(), check=True)


def windows_icon(pictures):
    """An .ico of PNG pictures: a head, an entry for each picture, and the pictures one after the other."""
    entries, bodies = b"", b""
    offset = ICO_HEAD.size + ICO_ENTRY.size * len(pictures)
    for size, picture in pictures.items():
        # 256 pixels stand as 0 in a byte. Then: colours of a palette, planes, and bits of a pixel.
        entries += ICO_ENTRY.pack(size % 256, size % 256, 0, 0, 1, 32, len(picture), offset + len(bodies))
        bodies += picture
    return ICO_HEAD.pack(0, 1, len(pictures)) + entries + bodies


def main():
    resources = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parent.parent
    icons = Path(sys.argv[2]) if len(sys.argv) > 2 else resources.parent / "packaging" / "icons"
    render(icon(), resources / "sondrix" / "sondrix_icon_512x512.png")
    for name, draw in BANNERS.items():
        render(draw(), resources / "adbackgrounds" / f"adbackground_{name}.png")
    for size in DESKTOP_ICON_SIZES:
        render(icon(), icons / f"{size}.png", size)
    (icons / "scalable.svg").write_text(icon(), "utf-8")
    pictures = {size: (icons / f"{size}.png").read_bytes() for size in WINDOWS_ICON_SIZES}
    (icons / "CorvaneTVSondrix.ico").write_bytes(windows_icon(pictures))


if __name__ == "__main__":
    main()
