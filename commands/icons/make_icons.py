#!/usr/bin/env python3
"""Draws the five 32x32 toolbar pictures and their masks as PNG files (standard library only),
and each again at 64x64 for screens of twice the density ("name@2x.png", "namemask@2x.png").

Each picture is an opaque RGB image; its mask is greyscale, black where the picture shows and
white where it is transparent. Shapes are given in the 32-pixel grid and sampled 4x4 per output
pixel, so the 64-pixel drawing is rendered from the shapes, not enlarged from the small one; there
its rims are thinner and a few details are added that would only blur at 32.

Run from this folder: python3 make_icons.py
"""
import math
import struct
import zlib

GRID = 32  # shapes are given in this grid whatever the output size
SS = 4  # samples per output pixel along each axis


def png(path, width, height, rows, colour_type):
    """rows: list of bytes, one per line, already in the layout of colour_type (0 grey, 2 RGB)."""
    raw = b"".join(b"\x00" + r for r in rows)

    def chunk(kind, data):
        c = struct.pack(">I", len(data)) + kind + data
        return c + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)

    header = struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9))
                + chunk(b"IEND", b""))


def hexrgb(h, a=1.0):
    return (int(h[0:2], 16) / 255, int(h[2:4], 16) / 255, int(h[4:6], 16) / 255, a)


def mix(c1, c2, t):
    return tuple(c1[i] + (c2[i] - c1[i]) * t for i in range(4))


class Canvas:
    """Straight-alpha RGBA samples, painted with 'over'. Coordinates are in the grid (0..32)."""

    def __init__(self, size):
        self.size = size
        self.n = size * SS
        self.k = size / GRID
        self.px = [(0.0, 0.0, 0.0, 0.0)] * (self.n * self.n)

    def fill(self, inside, colour):
        """inside(x, y) -> bool; colour is an RGBA tuple or a function (x, y) -> RGBA."""
        N = self.n
        for sy in range(N):
            y = (sy + 0.5) / SS / self.k
            for sx in range(N):
                x = (sx + 0.5) / SS / self.k
                if not inside(x, y):
                    continue
                src = colour(x, y) if callable(colour) else colour
                dst = self.px[sy * N + sx]
                a = src[3] + dst[3] * (1 - src[3])
                if a <= 0:
                    continue
                rgb = tuple((src[i] * src[3] + dst[i] * dst[3] * (1 - src[3])) / a for i in range(3))
                self.px[sy * N + sx] = rgb + (a,)

    def save(self, name):
        """Writes name.png and namemask.png, with "@2x" before the suffix at 64 pixels."""
        N, SIZE = self.n, self.size
        icon_rows, mask_rows = [], []
        for y in range(SIZE):
            irow, mrow = bytearray(), bytearray()
            for x in range(SIZE):
                r = g = b = a = 0.0
                for sy in range(SS):
                    for sx in range(SS):
                        p = self.px[(y * SS + sy) * N + x * SS + sx]
                        r += p[0] * p[3]
                        g += p[1] * p[3]
                        b += p[2] * p[3]
                        a += p[3]
                if a > 0:
                    rgb = (r / a, g / a, b / a)
                else:
                    rgb = (1.0, 1.0, 1.0)
                a /= SS * SS
                irow += bytes(int(round(max(0, min(1, c)) * 255)) for c in rgb)
                mrow.append(int(round((1 - a) * 255)))
            icon_rows.append(bytes(irow))
            mask_rows.append(bytes(mrow))
        suffix = "" if SIZE == GRID else "@%dx" % (SIZE // GRID)
        png(name + suffix + ".png", SIZE, SIZE, icon_rows, 2)
        png(name + "mask" + suffix + ".png", SIZE, SIZE, mask_rows, 0)


# ---- shapes: each returns inside(x, y)

def rrect(x0, y0, x1, y1, r):
    def inside(x, y):
        if x < x0 or x > x1 or y < y0 or y > y1:
            return False
        cx = min(max(x, x0 + r), x1 - r)
        cy = min(max(y, y0 + r), y1 - r)
        return (x - cx) ** 2 + (y - cy) ** 2 <= r * r
    return inside


def ellipse(cx, cy, rx, ry):
    return lambda x, y: ((x - cx) / rx) ** 2 + ((y - cy) / ry) ** 2 <= 1


def polygon(points):
    def inside(x, y):
        c = False
        j = len(points) - 1
        for i in range(len(points)):
            xi, yi = points[i]
            xj, yj = points[j]
            if (yi > y) != (yj > y) and x < (xj - xi) * (y - yi) / (yj - yi) + xi:
                c = not c
            j = i
        return c
    return inside


def stroke(points, width, closed=False):
    segs = list(zip(points, points[1:] + (points[:1] if closed else [])))
    h = width / 2

    def dist(x, y, a, b):
        ax, ay = a
        bx, by = b
        dx, dy = bx - ax, by - ay
        t = max(0, min(1, ((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy)))
        return math.hypot(x - ax - t * dx, y - ay - t * dy)

    return lambda x, y: any(dist(x, y, a, b) <= h for a, b in segs)


def minus(a, b):
    return lambda x, y: a(x, y) and not b(x, y)


def union(*shapes):
    return lambda x, y: any(s(x, y) for s in shapes)


def outlined(c, shape, grow, fill, line):
    """A shape with a darker rim: the rim is the shape grown by `grow`."""
    c.fill(grow, line)
    c.fill(shape, fill)


def vgrad(top, bottom, y0, y1):
    return lambda x, y: mix(top, bottom, max(0, min(1, (y - y0) / (y1 - y0))))


def rim_width(size):
    """One pixel at 32; at 64 one and a half pixels, so that rims read as fine lines, not borders."""
    return 1.0 if size == GRID else 1.5 * GRID / size


# The set shares one blue, one rim tone per hue and white inner details, so it reads on light and
# dark toolbars alike.
BLUE_T, BLUE_B, BLUE_RIM = hexrgb("5AA0F0"), hexrgb("2F6FC9"), hexrgb("1E4F96")
PAPER, PAPER_RIM = hexrgb("FFFFFF"), hexrgb("9AA7B8")
GREEN, GREEN_RIM = hexrgb("3DB36B"), hexrgb("23804A")
GREY_LINE = hexrgb("8E9AAB")
SHINE = (1, 1, 1, 0.35)


def projetos(size):
    c, R, fine = Canvas(size), rim_width(size), size > GRID
    outlined(c, rrect(6, 4, 26, 30, 3), rrect(6 - R, 4 - R, 26 + R, 30 + R, 3 + R), vgrad(BLUE_T, BLUE_B, 4, 30),
             BLUE_RIM)
    c.fill(rrect(8.5, 7.5, 23.5, 27.5, 1), PAPER)
    outlined(c, rrect(11.5, 2, 20.5, 7, 1.5), rrect(11.5 - R, 2 - R, 20.5 + R, 7 + R, 1.5 + R / 2),
             vgrad(hexrgb("E8ECF2"), hexrgb("B7C1CE"), 2, 7), hexrgb("5E6B7D"))
    if fine:
        c.fill(ellipse(16, 3.7, 1.5, 0.9), hexrgb("5E6B7D"))
    for row, done in ((11.5, True), (16.5, True), (21.5, False)):
        if done:
            c.fill(stroke([(10.5, row), (12, row + 1.6), (14.8, row - 1.6)], 1.5 if not fine else 1.25), GREEN)
        else:
            c.fill(rrect(10.5, row - 1.5, 13.5, row + 1.5, 0.6), PAPER_RIM)
            c.fill(rrect(11.3, row - 0.7, 12.7, row + 0.7, 0.2), PAPER)
        if fine:
            # Two lines of writing per task where there is room for them.
            c.fill(rrect(16.5, row - 1.2, 21.5, row - 0.2, 0.5), GREY_LINE)
            c.fill(rrect(16.5, row + 0.4, 20, row + 1.4, 0.5), GREY_LINE)
        else:
            c.fill(rrect(16.5, row - 0.8, 21.5, row + 0.8, 0.8), GREY_LINE)
    c.save("icone_projetos32x32")


def person(c, R, fine, cx, top, scale, body, rim):
    head_r = 4.2 * scale
    head = ellipse(cx, top + head_r, head_r, head_r)
    head_rim = ellipse(cx, top + head_r, head_r + R, head_r + R)
    sh_top = top + 2 * head_r + 1.2 * scale
    shoulders = rrect(cx - 8 * scale, sh_top, cx + 8 * scale, sh_top + 12 * scale, 6 * scale)
    shoulders_rim = rrect(cx - 8 * scale - R, sh_top - R, cx + 8 * scale + R, sh_top + 12 * scale + R, 6 * scale + R)
    clip = lambda x, y: y <= 29.5
    c.fill(lambda x, y: clip(x, y) and (shoulders_rim(x, y) or head_rim(x, y)), rim)
    c.fill(lambda x, y: clip(x, y) and shoulders(x, y), body)
    c.fill(head, body)
    if fine:
        c.fill(ellipse(cx - head_r * 0.35, top + head_r * 0.6, head_r * 0.35, head_r * 0.25), SHINE)


def clientes(size):
    c, R, fine = Canvas(size), rim_width(size), size > GRID
    person(c, R, fine, 21, 3.5, 0.85, vgrad(hexrgb("9CC7F5"), hexrgb("5C93D6"), 3, 30), hexrgb("3A679F"))
    person(c, R, fine, 12.5, 7, 1.0, vgrad(BLUE_T, BLUE_B, 7, 30), BLUE_RIM)
    c.save("icone_clientes32x32")


def tag(c, R, dx, dy, fill_top, fill_bottom, rim):
    body_points = [(3, 12), (10, 5), (22, 5), (22, 19), (10, 19)]
    grown_points = [(1.6, 12), (9.6, 4), (23, 4), (23, 20), (9.6, 20)]

    def moved(points):
        return [(x + dx, y + dy) for x, y in points]
    if R != 1:
        grown_points = [(bx + (gx - bx) * R, by + (gy - by) * R) for (bx, by), (gx, gy) in zip(body_points, grown_points)]
    body = polygon(moved(body_points))
    grown = polygon(moved(grown_points))
    hole = ellipse(9.5 + dx, 12 + dy, 1.9, 1.9)
    c.fill(minus(grown, hole), rim)
    c.fill(minus(body, ellipse(9.5 + dx, 12 + dy, 2.9, 2.9)), vgrad(fill_top, fill_bottom, 5 + dy, 19 + dy))
    c.fill(minus(ellipse(9.5 + dx, 12 + dy, 2.9, 2.9), hole), mix(rim, (1, 1, 1, 1), 0.35))
    c.fill(rrect(13.5 + dx, 10.7 + dy, 19.5 + dx, 13.3 + dy, 1.2), (1, 1, 1, 0.85))


def labels(size):
    c, R = Canvas(size), rim_width(size)
    tag(c, R, 7, 1, hexrgb("FFD45C"), hexrgb("F2A516"), hexrgb("A86A00"))
    tag(c, R, 2, 9, hexrgb("FF7A6B"), hexrgb("E0403A"), hexrgb("9A2220"))
    if size > GRID:
        # The string through the front tag's hole.
        c.fill(stroke([(11.5, 21), (8, 25.5), (4.5, 27.5), (2.5, 29.5)], 0.7), hexrgb("5E6B7D"))
    c.save("icone_labels32x32")


def mailing(size):
    c, R, fine = Canvas(size), rim_width(size), size > GRID
    line = 1.0 if fine else 1.2
    outlined(c, rrect(3, 7, 29, 26, 2.5), rrect(3 - R, 7 - R, 29 + R, 26 + R, 2.5 + R),
             vgrad(hexrgb("FFFFFF"), hexrgb("E6ECF4"), 7, 26), BLUE_RIM)
    c.fill(polygon([(3.5, 25.5), (13.2, 16.5), (18.8, 16.5), (28.5, 25.5)]), hexrgb("D5DEEA"))
    c.fill(stroke([(4, 25.2), (13.5, 16.8)], line), hexrgb("9FB0C6"))
    c.fill(stroke([(28, 25.2), (18.5, 16.8)], line), hexrgb("9FB0C6"))
    c.fill(polygon([(3.5, 8), (28.5, 8), (16, 19.2)]), vgrad(BLUE_T, BLUE_B, 8, 19))
    c.fill(stroke([(4, 8.6), (16, 19.2), (28, 8.6)], 1.3 if not fine else 1.0), BLUE_RIM)
    if fine:
        c.fill(polygon([(7, 9), (25, 9), (16, 17)]), (1, 1, 1, 0.12))
    c.save("icone_mailing32x32")


def backup(size):
    c, R, fine = Canvas(size), rim_width(size), size > GRID
    rim = hexrgb("3E4A5C")
    top, bottom = hexrgb("C9D3E0"), hexrgb("8795A8")
    body = union(rrect(4, 6, 22, 25, 0.01), ellipse(13, 25, 9, 3.2))
    body_rim = union(rrect(4 - R, 6, 22 + R, 25, 0.01), ellipse(13, 25, 9 + R, 3.2 + R), ellipse(13, 6, 9 + R, 3.2 + R))
    c.fill(body_rim, rim)
    c.fill(body, lambda x, y: mix(top, bottom, abs(x - 10) / 12))
    band = 1.1 if not fine else 0.8
    for b0 in (12.5, 18.8):
        c.fill(lambda x, y, b=b0: y > b and ((x - 13) / 9) ** 2 + ((y - b) / 3.2) ** 2 <= 1
               and ((x - 13) / 9) ** 2 + ((y - b - band) / 3.2) ** 2 > 1, rim)
    c.fill(ellipse(13, 6, 9, 3.2), hexrgb("E9EEF5"))
    if fine:
        c.fill(rrect(6, 8, 7.5, 24, 0.75), SHINE)
    # The green arrow badge: the copy going out.
    c.fill(ellipse(23, 23, 8, 8), (1, 1, 1, 1))
    c.fill(ellipse(23, 23, 6 + R, 6 + R), GREEN_RIM)
    c.fill(ellipse(23, 23, 6, 6), vgrad(hexrgb("5ED08A"), GREEN, 17, 29))
    c.fill(union(rrect(21.6, 18.5, 24.4, 24, 0.6), polygon([(18.6, 22.8), (27.4, 22.8), (23, 27.6)])), (1, 1, 1, 1))
    c.save("icone_backup32x32")


if __name__ == "__main__":
    for size in (GRID, 2 * GRID):
        for draw in (projetos, clientes, labels, mailing, backup):
            draw(size)
