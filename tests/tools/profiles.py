"""ICC profiles made to measure (ICC.1:2010), sound ones and damaged ones."""

import struct

D50_XYZ = struct.pack(">3I", 0xF6D6, 0x10000, 0xD32D)


def lab16(lightness, a, b):
    """Lab as lut16Type stores it."""
    return round(lightness * 652.8), round((a + 128) * 256), round((b + 128) * 256)


def cube(points):
    """Grid coordinates 0..1, first input slowest."""
    steps = [i / (points - 1) for i in range(points)]
    return [(r, g, b) for r in steps for g in steps for b in steps]


def ramp(entries):
    return [round(i * 65535 / (entries - 1)) for i in range(entries)]


def grey_lab(r, g, b):
    """A device whose three channels carry the same lightness, one third each."""
    return lab16((r + g + b) / 3 * 100, 0, 0)


def lut16(points=9, lab=grey_lab, inputs=3, outputs=3, input_curve=None, output_curve=None):
    input_curve = ramp(256) if input_curve is None else input_curve
    output_curve = ramp(256) if output_curve is None else output_curve
    grid = [v for node in cube(points) for v in lab(*node)[:outputs] + (0,) * (outputs - 3)]
    values = list(input_curve) * inputs + grid + list(output_curve) * outputs
    return (
        b"mft2" + bytes(4) + bytes([inputs, outputs, points, 0])
        + struct.pack(">9i", 65536, 0, 0, 0, 65536, 0, 0, 0, 65536)
        + struct.pack(">2H", len(input_curve), len(output_curve))
        + struct.pack(f">{len(values)}H", *values)
    )


def curve(entries, kind=b"curv"):
    data = kind + bytes(4) + struct.pack(f">I{len(entries)}H", len(entries), *entries)
    return data + bytes(-len(data) % 4)


def lut_a_to_b(points=9, a_curve=None, b_curve=None, precision=2, sides=None, a_kind=b"curv",
               matrix=None):
    """'mAB ': A curves, colour grid, B curves, and a matrix where one is given."""
    a_curves = curve(ramp(255) if a_curve is None else a_curve, a_kind) * 3
    b_curves = curve(ramp(255) if b_curve is None else b_curve) * 3
    sides = sides or [points] * 3
    grid = [v for node in cube(points) for v in grey_lab(*node)]
    clut = bytes(sides) + bytes(16 - len(sides)) + bytes([precision, 0, 0, 0])
    clut += struct.pack(f">{len(grid)}H", *grid)
    clut += bytes(-len(clut) % 4)
    matrix_bytes = b"" if matrix is None else struct.pack(">12i", *matrix)
    b_at = 32
    matrix_at = b_at + len(b_curves)
    clut_at = matrix_at + len(matrix_bytes)
    a_at = clut_at + len(clut)
    offsets = struct.pack(">5I", b_at, 0 if matrix is None else matrix_at, 0, clut_at, a_at)
    return b"mAB " + bytes(4) + bytes([3, 3, 0, 0]) + offsets + b_curves + matrix_bytes + clut \
        + a_curves


WHITE_POINT = b"XYZ " + bytes(4) + D50_XYZ


def profile(tags, device_class=b"scnr", space=b"RGB ", pcs=b"Lab ", manufacturer=bytes(4)):
    table = b""
    data = b""
    start = 132 + 12 * len(tags)
    for signature, content in tags:
        table += signature + struct.pack(">2I", start + len(data), len(content))
        data += content + bytes(-len(content) % 4)
    header = struct.pack(">I4x", start + len(data)) + struct.pack(">I", 0x02400000)
    header += device_class + space + pcs + bytes(12) + b"acsp" + bytes(8) + manufacturer
    header += bytes(16) + D50_XYZ + bytes(48)
    return header + struct.pack(">I", len(tags)) + table + data


def scanner(**lut):
    """The usual sound profile."""
    return profile([(b"wtpt", WHITE_POINT), (b"A2B0", lut16(**lut))])
