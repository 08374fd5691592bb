#!/usr/bin/env python3
# Bz of TEAM problem 7 on the measurement lines A1-B1 and A2-B2, from a finished AC job, beside the
# measured tables.
"""Sets the computed Bz of TEAM problem 7 on the lines A1-B1 and A2-B2 beside the measured values.

    tools/team7_bz.py POST --freq 50|200 [--mesh FILE] [--phase0 N] [--phase90 N] [--flip90]
                           [--a1 CSV] [--a2 CSV]
    tools/team7_bz.py POST --list
    tools/team7_bz.py --self-test

POST is the UNV post file of the flux density (`magnetic` in the job folder; a folder stands for
its `magnetic`). The mesh is the job's NASTRAN file (default `pre_geom.nas` beside POST). The
measured tables default to ../shared/validation/team07_bz_A1B1.csv and team07_bz_A2B2.csv beside
the repository.

The post file holds, for every output phase of the job, an element data set (56, B at element
centres) and a node data set (55, B averaged at the nodes: BX, BY, BZ, |B|, FLUX, in tesla), in
the order of the phases. --phase0 and --phase90 name the node data sets (1 = the first node data
set in the file) that hold the field at wt = 0 and wt = 90 degrees; by default the first and the
second. --list prints the node data sets with their label, step and time (in an AC job the
phase's number and the phase in degrees), to choose from; a chosen data set whose time is not
its phase is pointed out. With
--flip90 the second data set is negated: for a file that holds Im X of the phasor X rather than
the field at wt = 90 degrees, Re(X e^{j 90}) = -Im X.

The 34 measurement points (z = 34 mm, y = 72 and 144 mm, x = 0, 18, ..., 288 mm) are nodes of
the mesh of examples/team7; each is found by its coordinates within 1e-6 m. The tool prints,
per line, the measured and computed Bz (gauss, 1 T = 1e4 G) at both phases with their
differences, and the relative L2 deviation of the line with both phases together,

    sqrt( sum over the 17 points and both phases of (computed - measured)^2
          / sum over the same of measured^2 ),

then the value at x = 126 mm on A1-B1 at wt = 0 (the peak of the line) and its relative
deviation.

--self-test runs the reading, the node search and the deviation on a synthetic post file and
mesh built in memory, against numbers worked out by hand.
"""

import argparse
import math
import os
import sys

from nastran_mesh import nastran_real, read_grid_points

MM = 1.0e-3  # the tables' unit, in the mesh's metres
GAUSS_PER_TESLA = 1.0e4
NODE_TOL = 1.0e-6  # m: a node this close to a measurement point in every coordinate is the point
LINES = (("A1-B1", "team07_bz_A1B1.csv"), ("A2-B2", "team07_bz_A2B2.csv"))
PEAK_X_MM = 126.0  # the peak of A1-B1 at wt = 0
JY_TABLE = "team07_jy_amplitude_DERIVED.csv"
JY_Z_MM = 19.0  # the plate's top face, where the derived table (b) was measured
JY_FLOOR = 0.4  # A/mm^2: the deviation counts where the measured amplitude exceeds this
A_PER_MM2 = 1.0e-6  # A/m^2 to A/mm^2


def find_nodes(points, targets, tol=NODE_TOL):
    """The node at each target point (x, y, z): a list of node numbers in the targets' order.
    Exactly one node must lie within tol of each in every coordinate."""
    found = [[] for _ in targets]
    heights = sorted({t[2] for t in targets})
    for number, p in points.items():
        if not any(abs(p[2] - z) <= tol for z in heights):
            continue
        for k, t in enumerate(targets):
            if abs(p[0] - t[0]) <= tol and abs(p[1] - t[1]) <= tol and abs(p[2] - t[2]) <= tol:
                found[k].append(number)
    for t, nodes in zip(targets, found):
        if len(nodes) != 1:
            raise ValueError(
                "%d nodes of the mesh at (%g, %g, %g) m (within %g m)" % (len(nodes), t[0], t[1], t[2], tol)
            )
    return [nodes[0] for nodes in found]


# ---------------------------------------------------------------------------------------------
# UNV post file


def read_unv_node_data_sets(lines):
    """The node data sets (55) of a UNV post file (a list of lines), in file order, each a dict:
    label, step, time, values (node number -> the six values of its row).

    The program writes each as: "    -1", "    55", the label, "Node Data", three empty lines,
    the layout line, "2 1 step step", the time, then per node a line "number 6" and a line of
    six values in 13 columns each, and "    -1" after the last node."""
    sets = []
    for k in range(1, len(lines)):
        if lines[k].strip() != "55" or lines[k - 1].strip() != "-1":
            continue
        if k + 8 >= len(lines):
            raise ValueError("node data set at line %d is cut short" % (k + 1))
        head = lines[k + 7].split()
        data = {
            "label": lines[k + 1].strip(),
            "step": int(head[2]) if len(head) > 2 else None,
            "time": float(lines[k + 8]),
            "line": k + 1,
            "values": {},
        }
        at = k + 9
        while at + 1 < len(lines) and lines[at].strip() != "-1":
            number = int(lines[at][:10])
            row = lines[at + 1].rstrip("\r\n")
            try:
                values = [float(row[13 * v : 13 * v + 13]) for v in range(len(row) // 13)]
            except ValueError:
                values = [float(v) for v in row.split()]
            data["values"][number] = values
            at += 2
        sets.append(data)
    return sets


def read_unv_file(path):
    with open(path) as f:
        return read_unv_node_data_sets(f.read().split("\n"))


# ---------------------------------------------------------------------------------------------
# Measured tables and the comparison


def read_table(path):
    """The rows of a CSV table with a heading line, each a dict by column name."""
    with open(path) as f:
        head = f.readline().strip().split(",")
        return [dict(zip(head, line.strip().split(","))) for line in f if line.strip()]


def read_measured(path, freq):
    """The rows of a measured Bz table for one frequency: list of (point, x, y, z in m, Bz at
    wt = 0 and at wt = 90 in gauss)."""
    return [(int(r["point"]), float(r["x_mm"]) * MM, float(r["y_mm"]) * MM, float(r["z_mm"]) * MM,
             float(r["Bz_%dHz_wt0_G" % freq]), float(r["Bz_%dHz_wt90_G" % freq])) for r in read_table(path)]


def relative_l2(computed0, computed90, measured0, measured90):
    """sqrt(sum (c - m)^2 / sum m^2) over the points of both phases together."""
    num = sum((c - m) ** 2 for c, m in zip(computed0, measured0))
    num += sum((c - m) ** 2 for c, m in zip(computed90, measured90))
    den = sum(m * m for m in measured0) + sum(m * m for m in measured90)
    return math.sqrt(num / den)


def bz_gauss(data_set, nodes):
    """Bz (the third value of the node rows) in gauss at the given nodes."""
    out = []
    for n in nodes:
        if n not in data_set["values"]:
            raise ValueError("node %d has no value in the data set at line %d" % (n, data_set["line"]))
        out.append(data_set["values"][n][2] * GAUSS_PER_TESLA)
    return out


def compare(points, sets, tables, phase0, phase90, flip90=False):
    """The comparison of each line: list of dicts (name, rows, nodes, computed0, computed90,
    l2). `sets` are the node data sets, phase0 and phase90 their 1-based indices, `tables` the
    (name, rows) of the lines."""
    for index in (phase0, phase90):
        if not 1 <= index <= len(sets):
            raise ValueError("no node data set %d: the file has %d" % (index, len(sets)))
    s0, s90 = sets[phase0 - 1], sets[phase90 - 1]
    results = []
    for name, rows in tables:
        nodes = find_nodes(points, [r[1:4] for r in rows])
        c0 = bz_gauss(s0, nodes)
        c90 = bz_gauss(s90, nodes)
        if flip90:
            c90 = [-v for v in c90]
        m0 = [r[4] for r in rows]
        m90 = [r[5] for r in rows]
        results.append(
            {
                "name": name,
                "rows": rows,
                "nodes": nodes,
                "computed0": c0,
                "computed90": c90,
                "l2": relative_l2(c0, c90, m0, m90),
            }
        )
    return results


def peak(results):
    """(computed, measured, relative deviation) at x = 126 mm of A1-B1, wt = 0."""
    line = results[0]
    for k, r in enumerate(line["rows"]):
        if abs(r[1] - PEAK_X_MM * MM) < NODE_TOL:
            c, m = line["computed0"][k], r[4]
            return c, m, (c - m) / m
    raise ValueError("no point at x = %g mm on %s" % (PEAK_X_MM, line["name"]))


def print_results(results, freq, sets, phase0, phase90, flip90):
    for label, index, angle in (("wt = 0", phase0, 0.0), ("wt = 90", phase90, 90.0)):
        s = sets[index - 1]
        print("%s: node data set %d (line %d of the file), step %s, time %g, \"%s\"%s" % (
            label, index, s["line"], s["step"], s["time"], s["label"],
            ", negated" if flip90 and index == phase90 else ""))
        if abs(s["time"] - angle) > 1e-6:
            print("  note: an AC job writes the phase (degrees) as the data set's time; this one's is %g" % s["time"])
    for line in results:
        print()
        print("%s, %d Hz, Bz in gauss" % (line["name"], freq))
        print("| point | x (mm) | node | measured 0 | computed 0 | difference 0 "
              "| measured 90 | computed 90 | difference 90 |")
        print("|---|---|---|---|---|---|---|---|---|")
        for k, r in enumerate(line["rows"]):
            c0, c90 = line["computed0"][k], line["computed90"][k]
            print("| %d | %g | %d | %.2f | %.2f | %+.2f | %.2f | %.2f | %+.2f |" % (
                r[0], r[1] / MM, line["nodes"][k], r[4], c0, c0 - r[4], r[5], c90, c90 - r[5]))
        print("relative L2 deviation over the 17 points, both phases: %.2f %%" % (100 * line["l2"]))
    c, m, rel = peak(results)
    print()
    print("%s x = %g mm, wt = 0: computed %.2f G, measured %.2f G, deviation %+.2f %%" % (
        results[0]["name"], PEAK_X_MM, c, m, 100 * rel))


def read_jy_measured(path, freq):
    """The rows of the derived |Jy| table (its table b, the top face) for one frequency: list of
    (point, x, y, z in m, |Jy| in A/mm^2)."""
    return [(int(r["point"]), float(r["x_mm"]) * MM, float(r["y_mm"]) * MM, JY_Z_MM * MM,
             float(r["absJy_%dHz_table_b_A_per_mm2" % freq])) for r in read_table(path)]


def compare_jy(points, sets, rows, phase0, phase90):
    """|Jy| = sqrt(Jy(0)^2 + Jy(90)^2) in A/mm^2 at the measurement nodes of the top face, from the
    node data sets (JX, JY, JZ, |J|, Q in A/m^2) of the two phases: a dict of rows, nodes,
    computed, deviations (relative, per point) and worst (the largest relative deviation where
    the measured value exceeds JY_FLOOR, and its point)."""
    for index in (phase0, phase90):
        if not 1 <= index <= len(sets):
            raise ValueError("no node data set %d: the file has %d" % (index, len(sets)))
    nodes = find_nodes(points, [r[1:4] for r in rows])
    computed = []
    for n in nodes:
        j = []
        for s in (sets[phase0 - 1], sets[phase90 - 1]):
            if n not in s["values"]:
                raise ValueError("node %d has no value in the data set at line %d" % (n, s["line"]))
            j.append(s["values"][n][1] * A_PER_MM2)
        computed.append(math.hypot(j[0], j[1]))
    deviations = [(c - r[4]) / r[4] for c, r in zip(computed, rows)]
    worst = (0.0, None)
    for r, d in zip(rows, deviations):
        if r[4] > JY_FLOOR and abs(d) > abs(worst[0]):
            worst = (d, r[0])
    return {"rows": rows, "nodes": nodes, "computed": computed, "deviations": deviations, "worst": worst}


def print_jy(result, freq):
    print()
    print("|Jy| on the top face (z = %g mm, y = 72 mm), %d Hz, A/mm^2" % (JY_Z_MM, freq))
    print("| point | x (mm) | node | measured | computed | deviation |")
    print("|---|---|---|---|---|---|")
    for r, n, c, d in zip(result["rows"], result["nodes"], result["computed"], result["deviations"]):
        print("| %d | %g | %d | %.3f | %.3f | %+.1f %%%s |" % (
            r[0], r[1] / MM, n, r[4], c, 100 * d, "" if r[4] > JY_FLOOR else " (below %g)" % JY_FLOOR))
    d, point = result["worst"]
    print("largest deviation where the measured value exceeds %g A/mm^2: %+.1f %% (point %s)" % (
        JY_FLOOR, 100 * d, point))


# ---------------------------------------------------------------------------------------------
# Self-test


def unv_node_set_text(label, step, time, rows):
    """A node data set laid out as the program writes it (rows: node number -> values)."""
    out = ["    -1", "    55", label, "Node Data", "", "", ""]
    out.append("         1         4         3         8         2  %8d" % 6)
    out.append("         2         1  %8d  %8d" % (step, step))
    out.append("%13.5e" % time)
    for number, values in rows:
        out.append("%10d%10d" % (number, 6))
        out.append("".join("%13.5e" % (values[j] if j < len(values) else 0.0) for j in range(6)))
    out.append("    -1")
    return out


def self_test():
    failures = []

    def check(what, got, want, tol=1e-9):
        ok = abs(got - want) <= tol
        print("%-58s %14.9f  expected %14.9f  %s" % (what, got, want, "ok" if ok else "FAILED"))
        if not ok:
            failures.append(what)

    # The deviation on hand-worked numbers: measured (3, 0) at wt = 0 and (0, 4) at wt = 90.
    check("L2: one point 1 G off, measured norm 5", relative_l2([4, 0], [0, 4], [3, 0], [0, 4]), 0.2)
    check("L2: two points 1 G off", relative_l2([3, 1], [1, 4], [3, 0], [0, 4]), math.sqrt(2) / 5)

    # NASTRAN numbers as Gmsh and others write them.
    check("NASTRAN real 0.00E+00", nastran_real("0.00E+00"), 0.0)
    check("NASTRAN real 1.5-3", nastran_real("1.5-3"), 1.5e-3)
    check("NASTRAN real -2.5+2", nastran_real("-2.5+2"), -250.0)

    # Two lines of three points each; measured values in gauss.
    table1 = [(1, 0.0, 0.072, 0.034, -4.90, -1.16), (2, 0.108, 0.072, 0.034, 43.64, 1.89),
              (3, 0.126, 0.072, 0.034, 78.11, 4.97)]
    table2 = [(1, 0.0, 0.144, 0.034, -1.83, -1.63), (2, 0.018, 0.144, 0.034, -8.50, -0.60),
              (3, 0.288, 0.144, 0.034, 26.56, 1.79)]
    # The mesh: the six points (numbered out of order, in free, small and large fields), decoys
    # 2e-6 m off them and one at z = 19 mm below a point.
    mesh = [
        "$ a synthetic mesh",
        "GRID,17,0,0.00E+00,0.072000,0.034000",
        "GRID,3,0,0.108000,0.072000,0.034000",
        "%-8s%-8s%-8s%-8s%-8s%-8s" % ("GRID", "9", "", "0.126", "0.072", "3.4-2"),
        "%-8s%-16s%-16s%-16s%-16s%-8s" % ("GRID*", "40", "", "0.0", "0.144", "*"),
        "%-8s%-16s" % ("*", "0.034"),
        "GRID,41,0,0.018000,0.144000,0.034000",
        "GRID,5,0,0.288000,0.144000,0.034000",
        "GRID,100,0,0.126002,0.072000,0.034000",
        "GRID,101,0,0.00E+00,0.144000,0.034002",
        "GRID,102,0,0.126000,0.072000,0.019000",
        "CTETRA,1,1,17,3,9,100",
        "ENDDATA",
    ]
    points = read_grid_points(mesh)
    nodes1 = find_nodes(points, [r[1:4] for r in table1])
    nodes2 = find_nodes(points, [r[1:4] for r in table2])
    check("nodes of line 1 (17, 3, 9)", float(nodes1 == [17, 3, 9]), 1.0)
    check("nodes of line 2 (40, 41, 5)", float(nodes2 == [40, 41, 5]), 1.0)

    # The post file: B in tesla at wt = 0 equal to 1.1 times the measured values of line 1 and
    # the measured values plus 1 G on line 2; at wt = 90 the measured values on line 1 and minus
    # 1 G on line 2; the decoys carry 1 T. An element data set and a geometry data set come
    # first, as in the program's files.
    def rows(phase):
        r = {}
        for node, m in zip(nodes1, table1):
            bz = 1.1 * m[4] if phase == 0 else m[5]
            r[node] = [0.25, -0.5, bz / GAUSS_PER_TESLA, 1.0, 0.0]
        for node, m in zip(nodes2, table2):
            bz = m[4] + 1.0 if phase == 0 else m[5] - 1.0
            r[node] = [0.25, -0.5, bz / GAUSS_PER_TESLA, 1.0, 0.0]
        for node in (100, 101, 102):
            r[node] = [0.0, 0.0, 1.0, 1.0, 0.0]
        return sorted(r.items())

    text = ["    -1", "  2411", "         1         0         0        15",
            "%25.12e%25.12e%25.12e" % (0.0, 0.072, 0.034), "    -1"]
    for phase, step in ((0, 1), (90, 2)):
        text += ["    -1", "    56", "ELEMENT - BX, BY, BZ, |B|", "Element Data ", "", "", "",
                 "         1         4         3         8         2         6",
                 "         2         1         %d         %d" % (step, step), "%13.5e" % 0.0,
                 "         1         6", "%13.5e" % 5.0 * 6, "    -1"]
        text += unv_node_set_text("NODE - BX, BY, BZ, |B|, FLUX", step, float(phase), rows(phase))
    sets = read_unv_node_data_sets("\n".join(text).split("\n"))
    check("node data sets read", len(sets), 2)
    check("step of the second", sets[1]["step"], 2)
    results = compare(points, sets, [("line 1", table1), ("line 2", table2)], 1, 2)
    check("line 1, x = 126 mm, wt = 0 (G)", results[0]["computed0"][2], 85.921, 1e-9)
    check("line 2, x = 18 mm, wt = 90 (G)", results[1]["computed90"][1], -1.60, 1e-9)
    # Line 1: c - m = 0.1 m at wt = 0 and 0 at wt = 90. The measured squares sum to
    # 24.01 + 1904.4496 + 6101.1721 = 8029.6317 at wt = 0 and 1.3456 + 3.5721 + 24.7009
    # = 29.6186 at wt = 90, 8059.2503 in all; the differences' squares to 0.01 * 8029.6317.
    check("line 1 L2 (hand: sqrt(80.296317 / 8059.2503))", results[0]["l2"], math.sqrt(80.296317 / 8059.2503))
    # Line 2: six differences of 1 G; sum of the measured squares 3.3489 + 72.25 + 705.4336
    # + 2.6569 + 0.36 + 3.2041 = 787.2535.
    check("line 2 L2 (hand: sqrt(6 / 787.2535))", results[1]["l2"], math.sqrt(6 / 787.2535))
    c, m, rel = peak(results)
    check("peak deviation", rel, 0.1)
    flipped = compare(points, sets, [("line 2", table2)], 1, 2, flip90=True)
    check("--flip90 negates wt = 90", flipped[0]["computed90"][1], 1.60)
    swapped = compare(points, sets, [("line 1", table1)], 2, 1)
    check("data sets swapped: x = 0, wt = 0 (G)", swapped[0]["computed0"][0], -1.16)
    try:
        find_nodes(points, [(0.2, 0.2, 0.034)])
        failures.append("a point that is no node was found")
    except ValueError as e:
        print("a point that is no node: %s  ok" % e)
    # |Jy|: two top-face points, Jy = (3, 4) A/mm^2 at the first (amplitude 5, measured 4: +25 %)
    # and (0.3, 0) at the second (measured 0.2, below the floor: +50 % that does not count).
    jy_rows = [(1, 0.0, 0.072, 0.019, 4.0), (2, 0.018, 0.072, 0.019, 0.2)]
    jy_points = {7: (0.0, 0.072, 0.019), 8: (0.018, 0.072, 0.019), 9: (0.0, 0.072, 0.034)}
    jy_text = []
    for step, jy in ((1, (3.0, 0.3)), (2, (4.0, 0.0))):
        jy_text += unv_node_set_text("NODE - JX, JY, JZ, |J|, Q", step, 90.0 * (step - 1), [
            (7, [1e6, jy[0] / A_PER_MM2, 0.0, 0.0, 0.0]), (8, [0.0, jy[1] / A_PER_MM2, 0.0, 0.0, 0.0]),
            (9, [0.0, 1e9, 0.0, 0.0, 0.0])])
    jy_result = compare_jy(jy_points, read_unv_node_data_sets(jy_text), jy_rows, 1, 2)
    check("|Jy| of (3, 4) A/mm^2", jy_result["computed"][0], 5.0)
    check("|Jy| deviation at the first point", jy_result["deviations"][0], 0.25)
    check("|Jy| deviation below the floor", jy_result["deviations"][1], 0.5)
    check("|Jy| largest counted deviation", jy_result["worst"][0], 0.25)
    print("self-test %s" % ("FAILED: " + ", ".join(failures) if failures else "passed"))
    return 1 if failures else 0


# ---------------------------------------------------------------------------------------------


def main(argv=None):
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    validation = os.path.join(root, "..", "shared", "validation")
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("post", nargs="?", help="the UNV post file of B (or a job folder: its magnetic)")
    parser.add_argument("--freq", type=int, choices=(50, 200), help="the job's frequency (Hz)")
    parser.add_argument("--mesh", help="the NASTRAN mesh (default: pre_geom.nas beside the post file)")
    parser.add_argument("--phase0", type=int, default=1, help="node data set (1-based) at wt = 0")
    parser.add_argument("--phase90", type=int, default=2, help="node data set (1-based) at wt = 90")
    parser.add_argument("--flip90", action="store_true", help="negate the wt = 90 data set")
    parser.add_argument("--a1", default=os.path.join(validation, LINES[0][1]), help="measured A1-B1")
    parser.add_argument("--a2", default=os.path.join(validation, LINES[1][1]), help="measured A2-B2")
    parser.add_argument("--jy", default=os.path.join(validation, JY_TABLE), help="derived |Jy| table")
    parser.add_argument("--current", help="the UNV post file of J (default: current beside POST)")
    parser.add_argument("--list", action="store_true", help="list the node data sets of the post file")
    parser.add_argument("--self-test", action="store_true", help="check the tool on synthetic data")
    args = parser.parse_args(argv)
    if args.self_test:
        return self_test()
    if not args.post:
        parser.error("give the post file, or --self-test")
    post = os.path.join(args.post, "magnetic") if os.path.isdir(args.post) else args.post
    sets = read_unv_file(post)
    if args.list:
        for k, s in enumerate(sets, 1):
            print("%d: line %d, step %s, time %g, %d nodes, \"%s\"" % (
                k, s["line"], s["step"], s["time"], len(s["values"]), s["label"]))
        return 0
    if args.freq is None:
        parser.error("give --freq 50 or 200")
    mesh = args.mesh or os.path.join(os.path.dirname(os.path.abspath(post)), "pre_geom.nas")
    with open(mesh) as f:
        points = read_grid_points(f)
    tables = [(LINES[0][0], read_measured(args.a1, args.freq)), (LINES[1][0], read_measured(args.a2, args.freq))]
    try:
        results = compare(points, sets, tables, args.phase0, args.phase90, args.flip90)
    except ValueError as e:
        sys.exit("team7_bz: %s" % e)
    print_results(results, args.freq, sets, args.phase0, args.phase90, args.flip90)
    current = args.current or os.path.join(os.path.dirname(os.path.abspath(post)), "current")
    if os.path.exists(current):
        try:
            jy = compare_jy(points, read_unv_file(current), read_jy_measured(args.jy, args.freq),
                            args.phase0, args.phase90)
        except ValueError as e:
            sys.exit("team7_bz: %s: %s" % (current, e))
        print_jy(jy, args.freq)
    return 0


if __name__ == "__main__":
    sys.exit(main())
