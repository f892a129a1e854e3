# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

"""What the project's image scripts share: pixels sampled from a shape function, and the PNG
file format written by hand, so that the same script gives the same bytes everywhere."""
import struct
import zlib


def sampled_pixel(shade, px, py, samples):
    """The colour of pixel (px, py) as 8-bit RGBA: the average of samples by samples points of
    shade(x, y), which returns (r, g, b, a) in 0..1; colours weighted by their coverage."""
    total = [0.0, 0.0, 0.0, 0.0]
    for sy in range(samples):
        for sx in range(samples):
            r, g, b, a = shade(px + (sx + 0.5) / samples, py + (sy + 0.5) / samples)
            total[0] += r * a
            total[1] += g * a
            total[2] += b * a
            total[3] += a
    alpha = total[3] / (samples * samples)
    if alpha == 0:
        return (0, 0, 0, 0)
    return tuple(round(255 * c / total[3]) for c in total[:3]) + (round(255 * alpha),)


def chunk(kind, data):
    body = kind + data
    return struct.pack('>I', len(data)) + body + struct.pack('>I', zlib.crc32(body) & 0xFFFFFFFF)


def paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    return a if pa <= pb and pa <= pc else b if pb <= pc else c


def filtered(rows):
    """Each row of RGBA bytes with the PNG filter that leaves the smallest sum of magnitudes."""
    out = bytearray()
    previous = bytes(len(rows[0]))
    for row in rows:
        candidates = []
        for kind in range(5):
            line = bytearray()
            for i, value in enumerate(row):
                left = row[i - 4] if i >= 4 else 0
                up = previous[i]
                upleft = previous[i - 4] if i >= 4 else 0
                predictor = (0, left, up, (left + up) // 2, paeth(left, up, upleft))[kind]
                line.append((value - predictor) & 0xFF)
            cost = sum(v if v < 128 else 256 - v for v in line)
            candidates.append((cost, kind, line))
        _, kind, line = min(candidates)
        out += bytes([kind]) + line
        previous = row
    return bytes(out)


def png_parts(rows):
    """The header and image chunks of a square RGBA picture given as rows of bytes."""
    size = len(rows)
    header = chunk(b'IHDR', struct.pack('>IIBBBBB', size, size, 8, 6, 0, 0, 0))
    image = chunk(b'IDAT', zlib.compress(filtered(rows), 9))
    return header, image


def png(rows, title):
    """A whole PNG file: the picture and a text chunk that names it."""
    header, image = png_parts(rows)
    return (b'\x89PNG\r\n\x1a\n' + header + chunk(b'tEXt', b'Title\0' + title) + image
            + chunk(b'IEND', b''))
