#!/usr/bin/env python3
"""Draws a desk's zone map with `kolvo dock --svg`, renders the picture in headless Chromium
and reads its pixels back: a zone's colour inside it, the display and the page outside it, and
the Dock at the bottom of the picture, where a wrong flip of y would not put it.

    zone_map_pixels.py KOLVO_BINARY

Fails when Chromium is missing: scripts/setup installs it."""
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

# A desk drawn at one pixel per point (its union is under 1600 points): a 1000 x 640 display
# with a 60-point bottom Dock and, to its right and lower, a 560 x 400 display. Only the first
# reacts; its top-right corner holds a volume dial.
LAYOUT = {
    "screens": [
        {"name": "Main", "uuid": "MAIN", "frame": [0, 0, 1000, 640], "visibleFrame": [0, 60, 1000, 555]},
        {"name": "Side", "uuid": "SIDE", "frame": [1000, -120, 560, 400]},
    ],
    "dock": {"orientation": "bottom", "tilesize": 48, "show-recents": True,
             "persistent-apps": [{}, {}, {}, {}, {}], "persistent-others": [{}, {}]},
}
UNION = (0, -120, 1560, 760)  # x, y, width, height in the global space
TOLERANCE = 3


def fail(message):
    print("zone_map_pixels: " + message, file=sys.stderr)
    sys.exit(1)


def decode_png(data):
    """8-bit RGB or RGBA, not interlaced, as Chromium writes screenshots: (width, height, rows)."""
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        fail("the screenshot is not a PNG")
    at, idat, header = 8, [], None
    while at + 8 <= len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        at += 12 + length
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat.append(body)
        elif kind == b"IEND":
            break
    if header is None:
        fail("the PNG has no header")
    width, height, depth, colour, _, _, interlace = header
    if depth != 8 or colour not in (2, 6) or interlace != 0:
        fail("unexpected PNG format: depth %d, colour type %d, interlace %d" % (depth, colour, interlace))
    bpp = 3 if colour == 2 else 4
    raw = zlib.decompress(b"".join(idat))
    stride = width * bpp
    rows, previous = [], bytearray(stride)
    for y in range(height):
        start = y * (stride + 1)
        kind, line = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        for i in range(stride):
            a = line[i - bpp] if i >= bpp else 0
            b = previous[i]
            c = previous[i - bpp] if i >= bpp else 0
            if kind == 1:
                line[i] = (line[i] + a) & 0xFF
            elif kind == 2:
                line[i] = (line[i] + b) & 0xFF
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 0xFF
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 0xFF
            elif kind != 0:
                fail("unknown PNG filter %d" % kind)
        rows.append(line)
        previous = line
    return width, height, rows, bpp


def colour_of(svg, pattern):
    """The fill (and fill-opacity) of the first element the pattern finds."""
    element = re.search(pattern, svg)
    if not element:
        fail("no element matches " + pattern)
    tag = element.group(0)
    fill = re.search(r'fill="#([0-9A-F]{6})"', tag).group(1)
    opacity = re.search(r'fill-opacity="([0-9.]+)"', tag)
    return tuple(int(fill[i:i + 2], 16) for i in (0, 2, 4)), float(opacity.group(1)) if opacity else 1.0


def over(colour, alpha, background):
    return tuple(round(c * alpha + b * (1 - alpha)) for c, b in zip(colour, background))


def main():
    if len(sys.argv) != 2:
        fail("usage: zone_map_pixels.py KOLVO_BINARY")
    kolvo = sys.argv[1]
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if not chromium:
        fail("chromium is not installed; scripts/setup installs it")

    with tempfile.TemporaryDirectory(prefix="kolvo-zone-map-") as work:
        env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(work, "config"))
        layout, svg_path, png_path = (os.path.join(work, n) for n in ("desk.json", "zones.svg", "zones.png"))
        with open(layout, "w") as out:
            json.dump(LAYOUT, out)
        for command in (["prefs", "write", "com.kolvo.cornerTopRightMode", "volume"],
                        ["dock", "--svg", svg_path, "--sim", layout]):
            run = subprocess.run([kolvo] + command, env=env, capture_output=True, text=True, timeout=30)
            if run.returncode != 0:
                fail("kolvo %s failed: %s" % (" ".join(command), run.stderr))
        with open(svg_path) as svg_file:
            svg = svg_file.read()

        width = int(re.search(r'<svg[^>]* width="(\d+)"', svg).group(1))
        height = int(re.search(r'<svg[^>]* height="(\d+)"', svg).group(1))
        if (width, height) != (UNION[2], UNION[3]):
            fail("the picture is %d x %d, not the desk's %d x %d" % (width, height, UNION[2], UNION[3]))
        run = subprocess.run(
            [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--hide-scrollbars", "--force-device-scale-factor=1",
             "--user-data-dir=" + os.path.join(work, "chromium"), "--screenshot=" + png_path,
             "--window-size=%d,%d" % (width, height), "file://" + svg_path],
            capture_output=True, text=True, timeout=60)
        if run.returncode != 0 or not os.path.exists(png_path):
            fail("chromium did not render the picture: " + run.stderr[-2000:])
        with open(png_path, "rb") as png:
            png_width, png_height, rows, bpp = decode_png(png.read())

    if (png_width, png_height) != (width, height):
        fail("the screenshot is %d x %d, not %d x %d" % (png_width, png_height, width, height))

    page, _ = colour_of(svg, r'<rect id="page"[^>]*>')
    paper, _ = colour_of(svg, r'<rect data-kind="display"[^>]*>')
    dial, dial_alpha = colour_of(svg, r'<rect data-kind="dialZone"[^>]*>')
    dock, dock_alpha = colour_of(svg, r'<rect data-kind="dock"[^>]*>')

    # (what, point in the global space, the colour expected there)
    checks = [
        ("inside the top-right dial square (978, 618, 22, 22)", (989, 629), over(dial, dial_alpha, paper)),
        ("inside the Dock (180, 0, 640, 60), near the bottom", (500, 15), over(dock, dock_alpha, paper)),
        ("the same x near the top: the display, not the Dock", (500, 625), paper),
        ("an empty part of the first display", (150, 450), paper),
        ("the page above the second display", (1200, 500), page),
        ("the page below the first display", (200, -60), page),
    ]
    failures = []
    for what, (x, y), expected in checks:
        px, py = x - UNION[0], UNION[1] + UNION[3] - y  # y flipped: the top of the desk is row 0
        pixel = tuple(rows[py][px * bpp:px * bpp + 3])
        ok = all(abs(a - b) <= TOLERANCE for a, b in zip(pixel, expected))
        print("%s %s at pixel (%d, %d): %s, expected %s" % ("ok  " if ok else "FAIL", what, px, py, pixel, expected))
        if not ok:
            failures.append(what)
    if failures:
        fail("%d of %d pixels are wrong" % (len(failures), len(checks)))
    print("%d passed, 0 failed" % len(checks))


if __name__ == "__main__":
    main()
