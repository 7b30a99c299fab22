"""RGB profiles of every form, made to measure (ICC.1:2010): colours of a plausible device, and grids
with noise so that no node may be taken for another."""

import random
import struct

# A plausible device: the primaries of sRGB adapted to D50, a gamma, and a black of its own.
COLORANTS = ((0.4361, 0.3851, 0.1431), (0.2225, 0.7169, 0.0606), (0.0139, 0.0971, 0.7141))
D50 = (0.9642, 1.0, 0.8249)
D65 = (0.9505, 1.0, 1.0891)
PAPER = (0.8252, 0.8611, 0.6957)


def device_xyz(rgb, gamma=2.2, black=0.0):
    """XYZ of the device, from `black` (of white) upward."""
    linear = [black + (1 - black) * v ** gamma for v in rgb]
    return [sum(m * v for m, v in zip(row, linear)) for row in COLORANTS]


def lab_of(xyz):
    """CIE Lab relative to D50."""
    fx, fy, fz = (t ** (1 / 3) if t > 216 / 24389 else t * 24389 / 27 / 116 + 4 / 29
                  for t in (v / w for v, w in zip(xyz, D50)))
    return [116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)]


# ---- Tags ---------------------------------------------------------------------------------------

def words(numbers):
    return struct.pack(f">{len(numbers)}i", *(round(n * 65536) for n in numbers))


def xyz_tag(xyz):
    return b"XYZ " + bytes(4) + words(xyz)


def curv(entries=()):
    """Entries as 16-bit numbers; one entry is a gamma times 256."""
    data = b"curv" + bytes(4) + struct.pack(f">I{len(entries)}H", len(entries), *entries)
    return data + bytes(-len(data) % 4)


def para(function, *parameters):
    return b"para" + bytes(4) + struct.pack(">2H", function, 0) + words(parameters)


def sampled(function, entries):
    """`function` over 0 to 1, as 16-bit numbers."""
    return [round(65535 * min(max(function(n / (entries - 1)), 0), 1)) for n in range(entries)]


def grid(points, colour, maximum=65535, noise=0.0, seed=1):
    """Values of `colour`, three fractions, at all points; the first input is the slowest. Noise only
    lowers them: in the encoding of lut16Type, L* may go beyond 100, where others do not clip."""
    dice = random.Random(seed)
    steps = [[n / (count - 1) for n in range(count)] for count in points]
    return [round(maximum * min(max(v - noise * dice.random(), 0), 1))
            for r in steps[0] for g in steps[1] for b in steps[2] for v in colour(r, g, b)]


def lut16(points, values, in_curves, out_curves, matrix=(1, 0, 0, 0, 1, 0, 0, 0, 1)):
    """in_curves, out_curves: three lists of equal lengths."""
    tables = [v for table in in_curves for v in table] + values + \
        [v for table in out_curves for v in table]
    return (b"mft2" + bytes(4) + bytes([3, 3, points, 0]) + words(matrix)
            + struct.pack(">2H", len(in_curves[0]), len(out_curves[0]))
            + struct.pack(f">{len(tables)}H", *tables))


def lut8(points, values, in_curves, out_curves):
    """All tables have 256 entries, all values 8 bits."""
    tables = [v for table in in_curves for v in table] + values + \
        [v for table in out_curves for v in table]
    return (b"mft1" + bytes(4) + bytes([3, 3, points, 0])
            + words((1, 0, 0, 0, 1, 0, 0, 0, 1)) + bytes(tables))


def lut_elements(kind, b, matrix=None, m=None, points=None, values=None, precision=2, a=None):
    """lutAToBType or lutBToAType. Curves are lists of three tags; `matrix` has twelve numbers."""
    data = b""
    offsets = []
    clut = None
    if points:
        packed = bytes(values) if precision == 1 else struct.pack(f">{len(values)}H", *values)
        clut = bytes(points) + bytes(13) + bytes([precision, 0, 0, 0]) + packed
    for part in (b and b"".join(b), matrix and words(matrix), m and b"".join(m), clut,
                 a and b"".join(a)):
        offsets.append(32 + len(data) if part else 0)
        if part:
            data += part + bytes(-len(part) % 4)
    return kind + bytes(4) + bytes([3, 3, 0, 0]) + struct.pack(">5I", *offsets) + data


def profile(tags, version=2, device_class=b"scnr", pcs=b"Lab "):
    table = b""
    data = b""
    start = 132 + 12 * len(tags)
    for signature, content in tags:
        table += signature.encode() + struct.pack(">2I", start + len(data), len(content))
        data += content + bytes(-len(content) % 4)
    header = struct.pack(">I4x2B2x", start + len(data), version, 0x20 if version == 4 else 0x40)
    header += device_class + b"RGB " + pcs + struct.pack(">6H", 2024, 1, 1, 0, 0, 0) + b"acsp"
    header += bytes(28) + words(D50) + bytes(48)
    return header + struct.pack(">I", len(tags)) + table + data


def text_tags(version):
    """What every profile needs, though nobody looks into it."""
    if version == 4:
        text = b"mluc" + bytes(4) + struct.pack(">2I", 1, 12) + b"enUS" + \
            struct.pack(">2I", 8, 28) + "Made".encode("utf-16-be")
        return [("desc", text), ("cprt", text)]
    return [("desc", b"desc" + bytes(4) + struct.pack(">I", 5) + b"Made\0" + bytes(8 + 2 + 1 + 67)),
            ("cprt", b"text" + bytes(4) + b"None\0")]


# ---- Profiles -----------------------------------------------------------------------------------

def legacy_lab(black=0.0):
    """The device in the Lab encoding of lut16Type, over gamma-corrected inputs."""
    def colour(r, g, b):
        lightness, a, b = lab_of(device_xyz((r, g, b), 1, black))
        return lightness / 100 * 65280 / 65535, (a + 128) * 256 / 65535, (b + 128) * 256 / 65535
    return colour


def plain_lab(black=0.0):
    """The same in the encoding of lut8Type and lutAToBType."""
    def colour(r, g, b):
        lightness, a, b = lab_of(device_xyz((r, g, b), 1, black))
        return lightness / 100, (a + 128) / 255, (b + 128) / 255
    return colour


def encoded_xyz(black=0.0):
    return lambda r, g, b: [v * 32768 / 65535 for v in device_xyz((r, g, b), 1, black)]


def gammas(entries, *exponents):
    return [sampled(lambda x, e=e: x ** e, entries) for e in exponents]


# Components as sums of an offset and of weight * input ** exponent for each input; between 0 and 1.
SEPARATE = ((0.05, (0.7, 1.2), (0.2, 2), (0, 1)),
            (0.1, (0.7, 0.8), (-0.1, 1), (0.1, 2)),
            (0.1, (0.6, 2), (0.15, 2), (-0.1, 1)))


def separable_grid(points, maximum=65535):
    """Values in which the inputs only add up, also once they are rounded: interpolation in cubes,
    as many use it for Lab, and in tetrahedra give the same."""
    def share(component, axis, n):
        weight, exponent = SEPARATE[component][1 + axis]
        return round(maximum * weight * (n / (points[axis] - 1)) ** exponent)
    offsets = [round(maximum * component[0]) for component in SEPARATE]
    return [offsets[c] + share(c, 0, x) + share(c, 1, y) + share(c, 2, z)
            for x in range(points[0]) for y in range(points[1]) for z in range(points[2])
            for c in range(3)]


def a_to_b(b=None, **elements):
    return lut_elements(b"mAB ", b or [curv()] * 3, **elements)


def b_to_a(b=None, **elements):
    return lut_elements(b"mBA ", b or [curv()] * 3, **elements)


def scanners():
    """{name: profile}: sources with lookup tags."""
    in16 = gammas(1024, 2.2, 1.8, 2.4)
    in8 = [[v * 255 // 65535 for v in table] for table in gammas(256, 1.1, 0.9, 1.3)]
    out16 = [sampled(lambda x: x, 256), sampled(lambda x: x + 0.02 * x * (1 - x), 256),
             sampled(lambda x: x - 0.03 * x * (1 - x), 256)]
    out8 = [list(range(256)), [max(v - 1, 0) for v in range(256)], list(range(256))]
    noise = 0.02

    def tag16(points, seed, black=0.0):
        return lut16(points, grid([points] * 3, legacy_lab(black), 65535, noise, seed), in16, out16)

    made = {}
    made["lut16-lab-3-intents"] = profile(
        text_tags(2) + [("wtpt", xyz_tag(PAPER)), ("A2B0", tag16(17, 1)),
                        ("A2B1", tag16(9, 2, 0.05)), ("A2B2", tag16(6, 3))], 2, b"prtr")
    made["lut16-lab-scanner"] = profile(
        text_tags(2) + [("wtpt", xyz_tag(PAPER)), ("A2B0", tag16(33, 4, 0.02))])
    made["lut16-lab-small-tables"] = profile(
        text_tags(2) + [("wtpt", xyz_tag(D50)),
                        ("A2B0", lut16(2, grid([2] * 3, legacy_lab(), 65535, noise, 5),
                                       gammas(2, 1, 1, 1), gammas(2, 1, 1, 1)))])
    to_xyz = lut16(13, grid([13] * 3, encoded_xyz(0.04), 65535, 0.002, 6), in16,
                   gammas(256, 1, 1.02, 0.99))
    made["lut16-xyz"] = profile(
        text_tags(2) + [("wtpt", xyz_tag(PAPER)), ("A2B0", to_xyz), ("A2B1", to_xyz)],
        pcs=b"XYZ ")
    made["lut8-lab"] = profile(
        text_tags(2) + [("wtpt", xyz_tag(PAPER)),
                        ("A2B0", lut8(11, grid([11] * 3, plain_lab(), 255, noise, 7), in8, out8))])
    made["lut16-lab-v4"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)), ("A2B0", tag16(17, 8, 0.01))], 4)

    curves = [para(0, 2.2), para(3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045),
              curv(sampled(lambda x: x ** 1.8, 512))]
    level = [curv(), curv(sampled(lambda x: x + 0.02 * x * (1 - x), 100)), para(0, 1.02)]
    mixed = (0.9, 0.05, 0.02, -0.03, 1.02, 0.01, 0.02, -0.02, 0.97, 0.01, 0.005, 0.02)
    made["mab-a-clut-b"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)),
                        ("A2B0", a_to_b(level, points=(9, 12, 5), a=curves,
                                        values=grid((9, 12, 5), plain_lab(), 65535, noise, 9)))], 4)
    made["mab-a-clut8-b"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(PAPER)),
                        ("A2B0", a_to_b(level, points=(5, 7, 11), a=curves, precision=1,
                                        values=grid((5, 7, 11), plain_lab(), 255, noise, 10)))],
        4, b"prtr")
    made["mab-a-clut-m-matrix-b"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)),
                        ("A2B0", a_to_b(level, matrix=mixed, m=[para(0, 1.1)] * 3, a=curves,
                                        points=(17, 9, 13),
                                        values=grid((17, 9, 13), plain_lab(), 65535, noise, 11))),
                        ("A2B1", a_to_b(level, points=(5, 5, 5), a=curves,
                                        values=grid((5, 5, 5), plain_lab(0.045), 65535, noise, 12)))
                        ], 4)
    to_xyz = a_to_b(level, matrix=mixed, m=[para(0, 1.1)] * 3, a=curves, points=(17, 9, 13),
                    values=grid((17, 9, 13), encoded_xyz(0.04), 65535, 0.002, 13))
    made["mab-a-clut-m-matrix-b-xyz"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)), ("A2B0", to_xyz), ("A2B1", to_xyz)], 4,
        pcs=b"XYZ ")
    half = 32768 / 65535
    made["mab-m-matrix-b-xyz"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)),
                        ("A2B0", a_to_b(m=curves, matrix=[half * v for row in COLORANTS for v in row]
                                        + [0, 0.001, 0.002]))], 4, pcs=b"XYZ ")
    made["mab-b"] = profile(
        text_tags(4) + [("wtpt", xyz_tag(D50)), ("A2B0", a_to_b(level))], 4, b"spac")
    return made


def screens():
    """{name: profile}: matrix and curves, every kind of curve; sources and destinations."""
    kinds = {
        "identity": curv(),
        "gamma": curv([int(1.8 * 256)]),
        "table-2": curv([0, 65535]),
        "table-5": curv([0, 4000, 17000, 38000, 65535]),
        "table-4096": curv(sampled(lambda x: x ** 2.2, 4096)),
        "black": curv(sampled(lambda x: 0.01 + 0.99 * x ** 2.2, 1024)),
        "flat-end": curv(sampled(lambda x: (x / 0.9) ** 2, 600)),
        "para-0": para(0, 2.4),
        "para-1": para(1, 2.2, 0.95, 0.05),
        "para-2": para(2, 2.2, 0.9, 0.05, 0.02),
        "para-3": para(3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045),
        # The two formulas meet at 0.04, where the power is 0.0876 ** 2.4 + 0.003.
        "para-4": para(4, 2.4, 0.94, 0.05, 0.08, 0.04, 0.003, 0.0876 ** 2.4 - 0.0002),
    }
    made = {}
    for version in (2, 4):
        for name, trc in kinds.items():
            if version == 2 and name.startswith("para"):
                continue
            white = D65 if version == 2 else D50
            tags = text_tags(version) + [("wtpt", xyz_tag(white))]
            tags += [(key, xyz_tag(column))
                     for key, column in zip(("rXYZ", "gXYZ", "bXYZ"), zip(*COLORANTS))]
            tags += [(key, trc) for key in ("rTRC", "gTRC", "bTRC")]
            made[f"screen-v{version}-{name}"] = profile(tags, version, b"mntr", b"XYZ ")
    return made


def printers():
    """{name: profile}: destinations with lookup tags."""
    linear = [sampled(lambda x: x, 256)] * 3
    bent = [sampled(lambda x, n=n: x + 0.05 * n * x * (1 - x), 300) for n in (1, 2, -1)]
    forward = a_to_b(points=(9, 9, 9), a=[para(0, 2.2)] * 3,
                     values=grid((9, 9, 9), plain_lab(0.02)))
    forward_xyz = a_to_b(points=(9, 9, 9), a=[para(0, 2.2)] * 3,
                         values=grid((9, 9, 9), encoded_xyz(0.02)))
    legacy = lut16(9, grid([9] * 3, legacy_lab(0.02)), gammas(1024, 2.2, 2.2, 2.2), linear)
    narrow = (1.5, 0.1, 0, 0.05, 1.2, 0.05, 0, -0.1, 1.8)
    mixed = (0.8, 0.05, 0.02, 0.03, 0.7, 0.01, 0.02, 0.1, 0.75, 0.01, 0.05, 0.02)
    curves = [para(0, 1.3), curv(bent[0]), para(0, 0.9)]

    def backward16(points):
        return lut16(points, separable_grid([points] * 3), bent, linear)

    def eight_bits(tables):
        return [[v // 257 for v in table] for table in tables]

    def both(forward, backward, version, white, pcs=b"Lab "):
        """The same for perceptual and relative."""
        tags = [("wtpt", xyz_tag(white)), ("A2B0", forward), ("A2B1", forward), ("B2A0", backward),
                ("B2A1", backward)]
        return profile(text_tags(version) + tags, version, b"prtr", pcs)

    return {
        "print-lut16": profile(
            text_tags(2) + [("wtpt", xyz_tag(PAPER)), ("A2B0", legacy), ("A2B1", legacy),
                            ("B2A0", backward16(17)), ("B2A1", backward16(9)),
                            ("B2A2", backward16(5))], 2, b"prtr"),
        "print-lut8": both(legacy, lut8(9, separable_grid([9] * 3, 255),
                                        eight_bits(gammas(256, 1, 1, 1)),
                                        eight_bits(gammas(256, 1, 1.1, 0.9))), 2, PAPER),
        "print-lut16-xyz": both(forward_xyz, lut16(7, separable_grid([7] * 3), bent, linear, narrow),
                                4, PAPER, b"XYZ "),
        "print-mba-b-clut-a": both(forward, b_to_a(curves, points=(9, 5, 7), a=curves,
                                                   values=separable_grid((9, 5, 7))), 4, D50),
        "print-mba-b-matrix-m-clut-a": both(
            forward, b_to_a(curves, matrix=mixed, m=curves, a=curves, points=(4, 12, 6),
                            precision=1, values=separable_grid((4, 12, 6), 255)), 4, D50),
        "print-mba-b-matrix-m-xyz": both(forward_xyz, b_to_a(curves, matrix=mixed, m=curves), 4,
                                         D50, b"XYZ "),
    }


def black_points():
    """{name: profile}: destinations whose relative tables treat dark greys in different ways. Their
    three channels carry lightness, from L* 20 to 100."""
    def lab(x, y, z):
        return 0.2 + 0.8 * (x + y + z) / 3, 128 / 255, 128 / 255
    shapes = {
        "cut": lambda v: (v - 0.2) / 0.8,
        "line": lambda v: v,
        "parabola": lambda v: max(v - 0.1, 0) / 0.9 * (0.2 + max(v - 0.1, 0) / 0.9) / 1.2,
        "cubic": lambda v: (0.3 * max(v - 0.15, 0) + max(v - 0.15, 0) ** 3) / (0.255 + 0.85 ** 3),
        "wave": lambda v: v + 0.1 * (1 - v) ** 4,
    }
    forward = a_to_b(points=(2, 2, 2), a=[curv()] * 3, values=grid((2, 2, 2), lab))
    made = {}
    for name, shape in shapes.items():
        backward = b_to_a([curv(sampled(shape, 1024)), curv(), curv()], a=[curv()] * 3,
                          points=(2, 2, 2), values=grid((2, 2, 2), lambda x, y, z: (x, x, x)))
        made[f"black-{name}"] = profile(
            text_tags(4) + [("wtpt", xyz_tag(D50)), ("A2B0", forward), ("A2B1", forward),
                            ("B2A0", backward), ("B2A1", backward)], 4, b"prtr")
    return made
