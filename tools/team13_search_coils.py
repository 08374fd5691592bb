#!/usr/bin/env python3
# Mean normal flux density over the 25 search-coil sections of TEAM problem 13, from a finished job.
"""Averages B over the search-coil sections of TEAM problem 13 from a finished job folder.

    tools/team13_search_coils.py JOB_FOLDER [--csv FILE] [--mesh FILE] [--steel N]
    tools/team13_search_coils.py --self-check [--csv FILE] [--mesh FILE]

Reads the element values of data set 56 (B at element centres, last step) of the UNV file
`magnetic` in JOB_FOLDER, the hexahedra of the NASTRAN mesh (`pre_geom.nas` there by default) and
the sections of the measured table (by default ../shared/validation/team13_avgB_measured_1000AT.csv
beside the repository). Each row of the table names a rectangle in mm, flat in one coordinate, and
the component normal to it; the tool prints the mean of that component over the rectangle beside
the two measured columns.

How the mean is taken. The mesh of examples/team13 is a grid of hexahedra that are boxes along the
axes, and every section lies on or across grid planes. For the lowest-order edge element on such a
box, the normal component of B = curl A on a plane normal to an axis is constant over the
element's cut and linear along the axis, and its value at the centre is the mean of its values on
the two faces normal to the axis. The overlap-weighted means of the layers of steel elements along
the normal (each covering the section's rectangle) therefore give B_n along the normal, and the
tool reads it at the section: inside a layer, by linear interpolation between the centres of the
nearest layers either side; on a grid plane, by extrapolating each side's first two layers to the
plane and averaging the sides (one side where only one is steel). The grid planes that sections
lie on are those where the steel's shape changes (the flange's start, the channel's corner, the
flange's end), and there the slope of B_n jumps: a line across the plane would mix the two
slopes, while each side's extrapolation meets the same face value, the normal flux being
continuous. The element values also hold the coil's own field at the centre, which is smooth
there. The overlap areas are exact, so no sampling error enters. A mesh with elements other than
axis-aligned boxes is refused.

--self-check replaces the computed B by a linear field (its normal component linear in all three
coordinates) and compares each mean with the closed-form mean over the rectangle.
"""

import argparse
import os
import sys

from nastran_mesh import read_nastran_mesh

MM = 1.0e-3  # the table's unit, in the mesh's metres
AXES = {"x": 0, "y": 1, "z": 2}
SURFACE_TOL = 1.0e-7  # m: a box face closer than this to a section plane lies on it


def read_unv_element_values(path, data_set=56):
    """Element values of the last UNV data set `data_set` in the file: number -> (Bx, By, Bz)."""
    with open(path) as f:
        lines = f.read().split("\n")
    values = {}
    marker = "%6d" % data_set
    for k in range(1, len(lines)):
        if lines[k] != marker or lines[k - 1] != "    -1":
            continue
        values = {}  # a later step replaces an earlier one
        at = k + 9  # label, kind, three empty lines, three head lines
        while at + 1 < len(lines) and lines[at] != "    -1":
            number = int(lines[at][:10])
            row = [float(lines[at + 1][13 * v : 13 * v + 13]) for v in range(3)]
            values[number] = tuple(row)
            at += 2
    return values


def read_sections(path):
    """The rows of the measured table: point, bounds (mm), normal axis, the two measured columns."""
    sections = []
    with open(path) as f:
        head = f.readline().strip().split(",")
        for line in f:
            if not line.strip():
                continue
            row = dict(zip(head, line.strip().split(",")))
            lo = [float(row[a + "_min_mm"]) * MM for a in "xyz"]
            hi = [float(row[a + "_max_mm"]) * MM for a in "xyz"]
            sections.append(
                {
                    "point": int(row["point"]),
                    "lo": lo,
                    "hi": hi,
                    "normal": AXES[row["flux_normal"]],
                    "measured": (
                        float(row["B_avg_T_gap_0p52mm"]),
                        float(row["B_avg_T_gap_0p47mm"]),
                    ),
                }
            )
    return sections


def element_boxes(points, elements):
    """Each element as an axis-aligned box (lo, hi, property); any other shape is refused."""
    boxes = {}
    for number, (prop, nodes) in elements.items():
        xyz = [points[n] for n in nodes]
        lo = [min(p[d] for p in xyz) for d in range(3)]
        hi = [max(p[d] for p in xyz) for d in range(3)]
        if len(nodes) != 8 or any(
            min(abs(p[d] - lo[d]), abs(p[d] - hi[d])) > SURFACE_TOL for p in xyz for d in range(3)
        ):
            sys.exit("element %d is not a box along the axes; only such meshes are handled" % number)
        boxes[number] = (lo, hi, prop)
    return boxes


def overlap(a0, a1, b0, b1):
    return max(0.0, min(a1, b1) - max(a0, b0))


def layers_along_normal(section, boxes, values, steel):
    """The layers of steel elements that cover the section's rectangle and lie in one unbroken run
    along its normal through the section's plane: a sorted list of (start, end, overlap-weighted
    mean of B_n), the area of the rectangle, and the largest part of it that one layer covers. A
    layer is the set of elements with the same extent along the normal; one that covers only part
    of the rectangle (the steel ends there) is left out."""
    n = section["normal"]
    u, v = [d for d in range(3) if d != n]
    lo, hi = section["lo"], section["hi"]
    plane = lo[n]
    area = (hi[u] - lo[u]) * (hi[v] - lo[v])
    layers = {}
    for number, (blo, bhi, prop) in boxes.items():
        if prop != steel:
            continue
        w = overlap(blo[u], bhi[u], lo[u], hi[u]) * overlap(blo[v], bhi[v], lo[v], hi[v])
        if w == 0.0:
            continue
        key = (round(blo[n], 9), round(bhi[n], 9))
        layer = layers.setdefault(key, [0.0, 0.0])
        layer[0] += w * values[number][n]
        layer[1] += w
    best = max((sums[1] for sums in layers.values()), default=0.0)
    full = sorted((a, b, sums[0] / sums[1]) for (a, b), sums in layers.items() if sums[1] > 0.999 * area)
    # The run of layers, each starting where the one before ends, that reaches the plane.
    runs = []
    for layer in full:
        if runs and abs(layer[0] - runs[-1][-1][1]) < SURFACE_TOL:
            runs[-1].append(layer)
        else:
            runs.append([layer])
    for run in runs:
        if run[0][0] - SURFACE_TOL <= plane <= run[-1][1] + SURFACE_TOL:
            return run, area, best
    return [], area, best


def extrapolated(centres, plane):
    """B_n at `plane` on the line through the first two (centre, mean) pairs."""
    (z0, m0), (z1, m1) = centres[0], centres[1]
    return m0 + (m1 - m0) * (plane - z0) / (z1 - z0)


def section_mean(section, boxes, values, steel):
    """Mean of the normal component over the section, or None where steel does not cover it, and
    how it was taken. Along the normal B_n of an element is linear, and across a grid plane where
    the steel's shape changes (the flange's start, the channel's corner) its slope jumps: so on a
    grid plane each side's first two layers are extrapolated to the plane and the sides averaged;
    inside a layer B_n is interpolated between the centres of the nearest layers either side."""
    plane = section["lo"][section["normal"]]
    run, area, best = layers_along_normal(section, boxes, values, steel)
    if len(run) < 2:
        return None, "steel covers %.0f %%" % (100 * best / area)
    on_plane = any(abs(a - plane) < SURFACE_TOL or abs(b - plane) < SURFACE_TOL for a, b, _ in run)
    centres = [(0.5 * (a + b), mean) for a, b, mean in run]
    below = [c for c in centres if c[0] < plane][::-1]  # nearest first
    above = [c for c in centres if c[0] > plane]
    if on_plane:
        sides = [extrapolated(side, plane) if len(side) >= 2 else side[0][1] for side in (below, above) if side]
        return sum(sides) / len(sides), "face, %s" % ("both sides" if len(sides) == 2 else "one side")
    if below and above:
        return extrapolated([below[0], above[0]], plane), "interpolated"
    return extrapolated(below or above, plane), "extrapolated"


def check_field(point, n):
    """The field of --self-check: B_n = 1 + 2 p + 3 q + 5 r, with p < q the two coordinates in
    the section (m) and r the one along its normal: linear, so that both the overlap weighting
    and the interpolation along the normal must be exact."""
    p, q = [point[d] for d in range(3) if d != n]
    return 1.0 + 2.0 * p + 3.0 * q + 5.0 * point[n]


def self_check(sections, boxes, steel):
    worst = 0.0
    for s in sections:
        n = s["normal"]
        field = {}
        for number, (blo, bhi, _) in boxes.items():
            centre = [0.5 * (blo[d] + bhi[d]) for d in range(3)]
            row = [0.0, 0.0, 0.0]
            row[n] = check_field(centre, n)
            field[number] = row
        mean, _ = section_mean(s, boxes, field, steel)
        middle = [0.5 * (s["lo"][d] + s["hi"][d]) for d in range(3)]
        exact = check_field(middle, n)  # a linear field's mean over a rectangle: its middle value
        if mean is None:
            print("point %2d: the section is not covered by steel elements" % s["point"])
            return 1
        worst = max(worst, abs(mean - exact))
        print("point %2d: mean %.12f, closed form %.12f" % (s["point"], mean, exact))
    print("largest difference %.3e" % worst)
    return 0 if worst < 1e-12 else 1


def section_text(section):
    """The section's bounds in mm: "x 0..1.6 y -25..25 z 10"."""
    parts = []
    for a, d in AXES.items():
        lo, hi = section["lo"][d] / MM, section["hi"][d] / MM
        parts.append("%s %g" % (a, lo) if lo == hi else "%s %g..%g" % (a, lo, hi))
    return " ".join(parts)


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    validation = os.path.join(root, "..", "shared", "validation")
    default_csv = os.path.join(validation, "team13_avgB_measured_1000AT.csv")
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("job", nargs="?", help="a finished job folder (with magnetic and the mesh)")
    parser.add_argument("--csv", default=default_csv, help="the table of sections")
    parser.add_argument("--mesh", help="the NASTRAN mesh (default: JOB/pre_geom.nas)")
    parser.add_argument("--steel", type=int, default=1, help="the steel's property number")
    parser.add_argument(
        "--self-check", action="store_true", help="check the averaging on a linear field"
    )
    args = parser.parse_args()
    if not args.self_check and not args.job:
        parser.error("give a job folder, or --self-check")
    folder = args.job or os.path.join(root, "examples", "team13")
    mesh = args.mesh or os.path.join(folder, "pre_geom.nas")
    sections = read_sections(args.csv)
    points, elements = read_nastran_mesh(mesh)
    boxes = element_boxes(points, elements)
    if args.self_check:
        return self_check(sections, boxes, args.steel)
    values = read_unv_element_values(os.path.join(args.job, "magnetic"))
    missing = [k for k, box in boxes.items() if box[2] == args.steel and k not in values]
    if missing:
        sys.exit("%d steel elements have no value in magnetic (first %d)" % (len(missing), missing[0]))
    print("| point | section (mm) | component | measured 0.52 mm (T) | measured 0.47 mm (T) "
          "| computed (T) | how |")
    print("|---|---|---|---|---|---|---|")
    for s in sections:
        mean, how = section_mean(s, boxes, values, args.steel)
        text = "%+.4f" % mean if mean is not None else "-"
        print("| %d | %s | B%s | %.3f | %.3f | %s | %s |" % (
            s["point"], section_text(s), "xyz"[s["normal"]], s["measured"][0], s["measured"][1],
            text, how))
    return 0


if __name__ == "__main__":
    sys.exit(main())
