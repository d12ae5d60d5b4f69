#!/usr/bin/env python3
"""Writes icons/icon00.ico to icon14.ico, the server's icons: 16x16 32-bit squares, one colour
each, with a darker border. Index 1 is the gallery folder's; 8 to 14 are the overlays', drawn
as a small coloured corner mark (EXIF blue, IPTC green, XMP orange, mixed for combinations).
Run from this folder: python3 make-icons.py"""
import struct

def ico(fill, corner_only=False):
    size = 16
    pixels = []
    for y in range(size):          # bottom-up rows
        for x in range(size):
            inside = x >= 8 and y < 8 if corner_only else True
            border = x in (0, size - 1) or y in (0, size - 1)
            if corner_only:
                border = inside and (x in (8, size - 1) or y in (0, 7))
            if not inside:
                pixels.append((0, 0, 0, 0))
            elif border:
                pixels.append(tuple(c // 2 for c in fill) + (255,))
            else:
                pixels.append(fill + (255,))
    bgra = b''.join(struct.pack('BBBB', b, g, r, a) for (r, g, b, a) in pixels)
    mask = b'\x00' * (4 * size)    # 1-bit AND mask, rows padded to 32 bits
    header = struct.pack('<IiiHHIIiiII', 40, size, size * 2, 1, 32, 0, len(bgra) + len(mask), 0, 0, 0, 0)
    image = header + bgra + mask
    return struct.pack('<HHH', 0, 1, 1) + struct.pack('<BBBBHHII', size, size, 0, 0, 1, 32, len(image), 22) + image

colours = {
    0: (90, 90, 90), 1: (200, 160, 60), 2: (120, 120, 120), 3: (120, 120, 120), 4: (120, 120, 120),
    5: (120, 120, 120), 6: (120, 120, 120), 7: (120, 120, 120),
    8: (40, 160, 60),    # IPTC
    9: (40, 90, 200),    # EXIF
    10: (200, 160, 40),  # XMP & IPTC
    11: (230, 120, 20),  # XMP
    12: (40, 150, 150),  # EXIF & IPTC
    13: (150, 90, 170),  # EXIF & XMP
    14: (200, 60, 60),   # EXIF & XMP & IPTC
}
for index, fill in colours.items():
    with open(f'icon{index:02d}.ico', 'wb') as f:
        f.write(ico(fill, corner_only=index >= 8))
for index in range(15):
    if index not in colours:
        raise SystemExit('missing icon')
